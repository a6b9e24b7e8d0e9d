#include "aplocald/event_loop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>
#include <vector>

namespace aplocal {

event_loop::event_loop() : stop_event_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (stop_event_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

event_loop::~event_loop() { close(stop_event_); }

void event_loop::watch(int descriptor, callback when_readable) {
    watched_[descriptor] = {next_number_++, std::make_shared<callback>(std::move(when_readable))};
}

void event_loop::forget(int descriptor) { watched_.erase(descriptor); }

event_loop::timer event_loop::after(std::chrono::milliseconds delay, callback when_due) {
    const timer number = next_number_++;
    const auto due = clock::now() + delay;
    timers_.emplace(std::pair(due, number), std::move(when_due));
    due_times_.emplace(number, due);
    return number;
}

void event_loop::cancel(timer t) {
    const auto found = due_times_.find(t);
    if (found == due_times_.end()) return;
    timers_.erase({found->second, t});
    due_times_.erase(found);
}

void event_loop::run() {
    for (;;) {
        std::uint64_t stops = 0;
        if (read(stop_event_, &stops, sizeof stops) > 0) return;
        wait_and_call();
        call_due_timers();
    }
}

void event_loop::stop() {
    const int saved = errno;
    const std::uint64_t once = 1;
    // The write fails only when stops are already waiting by the billion.
    [[maybe_unused]] const auto written = write(stop_event_, &once, sizeof once);
    errno = saved;
}

void event_loop::wait_and_call() {
    std::vector<pollfd> polled{{.fd = stop_event_, .events = POLLIN, .revents = 0}};
    std::vector<std::uint64_t> numbers{0};
    for (const auto& [descriptor, entry] : watched_) {
        polled.push_back({.fd = descriptor, .events = POLLIN, .revents = 0});
        numbers.push_back(entry.number);
    }

    if (poll(polled.data(), polled.size(), milliseconds_to_wait()) <= 0) return;

    for (std::size_t i = 1; i < polled.size(); ++i) {
        if (polled[i].revents == 0) continue;
        // An earlier callback may have forgotten it, or watched another descriptor in its place.
        const auto found = watched_.find(polled[i].fd);
        if (found == watched_.end() || found->second.number != numbers[i]) continue;

        // A descriptor that is not open would be reported for ever.
        if ((polled[i].revents & POLLNVAL) != 0) {
            watched_.erase(found);
            continue;
        }
        // The callback may forget its descriptor, and must outlive that.
        const auto call = found->second.when_readable;
        (*call)();
    }
}

// Rounded up, so that the loop does not wake up just before a timer is due.
int event_loop::milliseconds_to_wait() const {
    if (timers_.empty()) return -1;
    const auto left = timers_.begin()->first.first - clock::now();
    const auto whole = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    return static_cast<int>(std::clamp<std::int64_t>(whole, 0, INT_MAX));
}

void event_loop::call_due_timers() {
    const auto now = clock::now();
    while (!timers_.empty() && timers_.begin()->first.first <= now) {
        auto due = timers_.extract(timers_.begin());
        due_times_.erase(due.key().second);
        due.mapped()();
    }
}

}  // namespace aplocal
