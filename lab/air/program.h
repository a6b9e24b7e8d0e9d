// Runs a program to its end, as a person would in a terminal: the tools that set up the air and
// judge it. Used on the scenario's thread.
#pragma once

#include <string>
#include <vector>

#include "harness/wait.h"

namespace lab::air {

using words = std::vector<std::string>;

struct result {
    int status;
    std::string output;  // standard output and standard error
};

// Kills a program that takes longer than `limit`; its status is 137 then.
result run(const words& command, milliseconds limit = patience);

// Returns what the program printed; throws std::runtime_error when it does not end with 0.
std::string run_well(const words& command, milliseconds limit = patience);

// The command as it runs in a network namespace; in our own when `name` is empty.
words in_namespace(const std::string& name, const words& command);

}  // namespace lab::air
