#include "support/fake_log.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <utility>

#include "main/logging.h"
#include "platform/vnorda_log.h"

namespace {

std::mutex lock;
std::string written;

const char* level_name(int code) {
    switch (code) {
        case 8: return "error";
        case 16: return "warning";
        case 64: return "info";
        case 128: return "debug";
        default: return "WRONG CODE";
    }
}

}  // namespace

namespace fake_log {

void reset(unsigned mask) {
    take();
    rfcd::daemon_logger.mask = mask;
}

std::string take() {
    const std::lock_guard guard(lock);
    return std::exchange(written, {});
}

}  // namespace fake_log

void norda_log_set_daemonname(const char* /*name*/) {}
int logcycle_init(const char* /*identity*/) { return 0; }
void logcycle_set_file(const char* /*path*/) {}

void vnorda_log_msg_timed_new(int level_code, const char* format, va_list args) {
    std::array<char, 4096> text{};
    std::vsnprintf(text.data(), text.size(), format, args);
    const std::lock_guard guard(lock);
    written += level_name(level_code);
    written += ' ';
    written += text.data();
}
