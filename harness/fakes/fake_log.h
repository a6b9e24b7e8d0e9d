// The log library of the unit tests: keeps the lines that the daemon logs.
#pragma once

#include <string>

namespace fake_log {

// Forgets everything and sets the daemon's mask.
void reset(unsigned mask = 15);
// All messages since the last call, each after its level: "debug websock-rrm->Stopping\n".
std::string take();

}  // namespace fake_log
