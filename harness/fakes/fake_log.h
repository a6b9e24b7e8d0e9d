// The log library of the unit tests: keeps what is written.
#pragma once

#include <string>

namespace fake_log {

// Forgets everything and sets the daemon's mask.
void reset(unsigned mask = 15);
// Everything since the last call, each message behind its level: "debug websock-rrm->Stopping\n".
std::string take();

}  // namespace fake_log
