// An observation as text: for a person, and as JSON for a program.
#pragma once

#include <string>
#include <vector>

#include "ctl/observation.h"

namespace ctl {

// A headline and a line for each thing that the record tells, the last with its line end. Bytes
// that could steer a terminal are replaced.
std::string person_report(const observation& seen);

// One JSON object on one line, with its line end. ASCII only.
std::string json_report(const observation& seen);

}  // namespace ctl
