// Whether a radio or VAP interface exists on the system and is administratively up, from the
// kernel's network device directory. Keeps no state; safe on any thread. Takes VAP and radio names;
// looks VAP 0 of a radio up as the radio.
#pragma once

#include <string>

namespace rfcd {

bool is_if_exists(const char* ifname);

// Logs an error and returns false when the state cannot be read.
bool interface_is_up(const std::string& ifname);

}  // namespace rfcd
