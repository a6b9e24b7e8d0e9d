#include "workers/abstract_worker.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "base/monotonic_clock.h"
#include "workers/free_memory.h"

namespace rfcd {

abstract_worker::abstract_worker(const running_flag* running, std::string name,
                                 std::int32_t poll_timeout_us, std::uint32_t idle_pause_us)
    : running_(running),
      name_(std::move(name)),
      poll_timeout_us_(poll_timeout_us),
      idle_pause_us_(idle_pause_us),
      wake_fd_(eventfd(0, EFD_CLOEXEC)) {}

abstract_worker::~abstract_worker() {
    join();
    if (wake_fd_ != -1) close(wake_fd_);
}

void abstract_worker::start_thread() {
    if (thread_started_) throw std::logic_error("worker '" + name_ + "' has a thread already");

    // Set before the thread exists: its first pass may call end_process(), which reads this.
    thread_started_ = true;
    try {
        thread_ = std::thread([this] { run(); });
    } catch (...) {
        thread_started_ = false;
        end_process();
    }
}

void abstract_worker::join() {
    if (!thread_started_) return;
    thread_.join();
    thread_started_ = false;
}

void abstract_worker::run() {
    prctl(PR_SET_NAME, ("rfcd:" + name_).c_str());
    progress_.enter_loop();
    while (*running_) {
        active_ = was_active_ = start_check();
        make_passes();
        if (was_active_) {
            on_stop();
            was_active_ = false;
        }
        progress_.note_pause();
        if (*running_) pause_microseconds(idle_pause_us_);
        active_ = false;
    }
    progress_.leave_loop();
}

void abstract_worker::make_passes() {
    while (active_ && keep_running(running_)) {
        try {
            const bool is_idle = process();
            progress_.note_pass();
            if (!is_idle) continue;
            return_free_memory();
            wait_for_wake();
        } catch (...) {
            end_process();
        }
    }
}

void abstract_worker::end_process() const {
    std::printf("Unhandled exception at worker '%s'\n", name_.c_str());
    std::fflush(stdout);

    // The main thread may be using process-wide objects, so only that thread may destroy them.
    thread_started_ ? std::_Exit(-1) : std::exit(-1);
}

void abstract_worker::wait_for_wake() {
    if (poll_timeout_us_ < 1 || wake_fd_ == -1) return;
    pollfd wake{wake_fd_, POLLIN, 0};
    if (poll(&wake, 1, poll_timeout_us_ / 1000) > 0 && (wake.revents & POLLIN) != 0) reset_wake();
}

void abstract_worker::wake() const {
    const std::uint64_t one = 1;
    // The write can only fail when the counter is full, and then the wait ends anyway.
    [[maybe_unused]] const auto written = write(wake_fd_, &one, sizeof one);
}

void abstract_worker::reset_wake() const {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto taken = read(wake_fd_, &count, sizeof count);
}

}  // namespace rfcd
