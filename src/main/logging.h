// The daemon's diagnostic output: four log functions, one a level, that write through the log
// library when their level is switched on in the daemon-wide mask. Any thread may log at any time;
// one lock keeps the lines of different threads apart. The mask is written by start-up alone,
// before a second thread exists.
//
// Formats are constants and carry their own line end. A function whose level is off neither
// formats nor locks, so a caller that has to prepare its arguments asks `enabled` first.
#pragma once

#include <cstdint>

namespace rfcd {

enum log_mask : std::uint32_t {
    log_mask_none = 0,
    log_mask_error = 1,
    log_mask_warning = 2,
    log_mask_info = 4,
    log_mask_debug = 8,
    log_mask_all = 65535,
};

struct logger {
    const char* name;
    std::uint32_t mask;

    bool enabled(log_mask level) const { return (mask & level) != 0; }
};

// The one logger of the process. Its mask is 0 until start-up sets it.
extern logger daemon_logger;

// Each throws std::system_error when the log lock cannot be taken.
[[gnu::format(printf, 2, 3)]] void log_error(const logger& log, const char* format, ...);
[[gnu::format(printf, 2, 3)]] void log_warning(const logger& log, const char* format, ...);
[[gnu::format(printf, 2, 3)]] void log_info(const logger& log, const char* format, ...);
[[gnu::format(printf, 2, 3)]] void log_debug(const logger& log, const char* format, ...);

}  // namespace rfcd
