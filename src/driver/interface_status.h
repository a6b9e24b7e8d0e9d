// Tells whether a radio or VAP interface exists on the system and is administratively up, from the
// kernel's network device directory. Accepts the names of radios and VAPs; VAP 0 of a radio has the
// interface of the radio. Keeps no state; safe on any thread.
#pragma once

#include <string>

namespace rfcd {

bool is_if_exists(const char* ifname);

// Logs an error and returns false when the state cannot be read.
bool interface_is_up(const std::string& ifname);

}  // namespace rfcd
