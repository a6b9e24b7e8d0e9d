// The daemon's diagnostic output: four log functions, one for each level, which write through the
// log library when the daemon-wide mask has their level. Any thread may log at any time; one lock
// keeps the lines of different threads apart. Only start-up writes the mask, before a second thread
// exists.
//
// Formats are constants and include their line end. A function whose level is off neither formats
// nor locks. A caller that must first prepare its arguments checks `enabled` before it does.
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
