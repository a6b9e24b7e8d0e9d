#include "harness/fakes/fake_log.h"

#include <array>
#include <cstdio>
#include <map>
#include <mutex>
#include <utility>

#include "main/logging.h"
#include "platform/vnorda_log.h"

namespace {

std::mutex lock;
std::string written;

const std::map<int, const char*> level_names{
    {8, "error"}, {16, "warning"}, {64, "info"}, {128, "debug"}};

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
    written += level_names.at(level_code);
    written += ' ';
    written += text.data();
}
