// The log of aplocald: one line on standard error for each thing that the person who runs the
// access point should know. The journal of systemd gets the priority too. For the thread of the
// loop.
#pragma once

#include <string>

namespace aplocal {

// The numbers of syslog(3).
enum class severity { error = 3, warning = 4, notice = 5 };

// Control characters of `text`, which may come from outside, become "?".
void log(severity how_bad, std::string text);

}  // namespace aplocal
