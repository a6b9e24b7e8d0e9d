// What the kernel says about the daemon's process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string_view>

namespace ctl {

enum class process_life {
    running,
    stopped,   // by a signal or a debugger
    frozen,    // no thread of it ran while we watched
    ended,     // no such process
    replaced,  // the number belongs to another process now
    hidden,    // it exists, but we may not look at it
};

// The fields of /proc/PID/stat that matter here.
struct process_stat {
    std::string_view name;  // points into the text
    char state = ' ';
    std::uint64_t start_ticks = 0;  // since the start of the machine
};
process_stat parse_process_stat(std::string_view text);

// Looks at process `pid`, which has started at second `started` of the monotonic clock if it still
// is the daemon. Takes up to 0.7 s: a daemon that is well wakes up ten times a second.
process_life look_at_process(pid_t pid, std::uint64_t started);

}  // namespace ctl
