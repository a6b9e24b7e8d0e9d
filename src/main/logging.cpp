#include "main/logging.h"

#include <syslog.h>

#include <cstdarg>
#include <mutex>

#include "platform/vnorda_log.h"

namespace rfcd {

constinit logger daemon_logger{"rfcd", log_mask_none};

namespace {

constinit std::mutex log_lock;

[[gnu::format(printf, 2, 0)]] void write_line(int priority, const char* format, std::va_list args) {
    const std::lock_guard guard(log_lock);
    vnorda_log_msg_timed_new(LOG_MASK(priority), format, args);
}

}  // namespace

void log_error(const logger& log, const char* format, ...) {
    if (!log.enabled(log_mask_error)) return;
    std::va_list args;
    va_start(args, format);
    write_line(LOG_ERR, format, args);
    va_end(args);
}

void log_warning(const logger& log, const char* format, ...) {
    if (!log.enabled(log_mask_warning)) return;
    std::va_list args;
    va_start(args, format);
    write_line(LOG_WARNING, format, args);
    va_end(args);
}

void log_info(const logger& log, const char* format, ...) {
    if (!log.enabled(log_mask_info)) return;
    std::va_list args;
    va_start(args, format);
    write_line(LOG_INFO, format, args);
    va_end(args);
}

void log_debug(const logger& log, const char* format, ...) {
    if (!log.enabled(log_mask_debug)) return;
    std::va_list args;
    va_start(args, format);
    write_line(LOG_DEBUG, format, args);
    va_end(args);
}

}  // namespace rfcd
