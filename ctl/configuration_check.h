// `rfcdctl check`: applies a configuration file line by line with the daemon's own code, and
// compares what the daemon has understood with what each line says.
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "base/services.h"
#include "main/configuration.h"

namespace ctl {

enum class severity {
    note,   // the daemon reads the line as it is written, but has another reason not to use it
    wrong,  // the daemon ignores the line, cuts it or reads something else
};

struct finding {
    std::size_t line;  // from 1
    severity weight;
    std::string message;
};

struct check_result {
    rfcd::configuration understood;              // what the daemon would run with
    std::optional<rfcd::service_index> service;  // that it would serve
    std::vector<finding> findings;               // by line

    // Whether the file chooses a service and nothing in it is wrong.
    bool fine() const;
};

// Reads `file` from its beginning to its end. The file must be seekable.
check_result check_configuration(std::FILE* file);

// Checks the file, prints what was found, and returns rfcdctl's exit status.
int run_check(const char* path);

}  // namespace ctl
