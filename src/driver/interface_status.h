// Whether a radio or VAP interface exists on the system, and whether it is administratively up, as
// the kernel's network device directory says. Nothing is kept; safe on any thread. Names are VAP or
// radio names: VAP 0 of a radio is looked up as the radio.
#pragma once

#include <string>

namespace rfcd {

bool is_if_exists(const char* ifname);

// False also when the state cannot be read, which is logged as an error.
bool interface_is_up(const std::string& ifname);

}  // namespace rfcd
