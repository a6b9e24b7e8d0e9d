// Waits for descriptors and timers, and calls back whoever asked for them. All of aplocald runs on
// one loop and one thread. The loop sleeps in poll() until something happens, so an idle process
// does not wake up. Only stop() may be called from elsewhere.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace aplocal {

class event_loop {
  public:
    using callback = std::function<void()>;
    using timer = std::uint64_t;

    // Throws std::system_error when the process has no descriptor left.
    event_loop();
    event_loop(const event_loop&) = delete;
    event_loop& operator=(const event_loop&) = delete;
    ~event_loop();

    // Calls back as long as the descriptor is readable or at its end. Replaces an earlier watch of
    // the same descriptor. Forget a descriptor before closing it. Callbacks may watch and forget
    // any descriptor, their own included.
    void watch(int descriptor, callback when_readable);
    void forget(int descriptor);

    // Calls back once. Cancelling a timer that is over has no effect. Callbacks may start and
    // cancel timers.
    timer after(std::chrono::milliseconds delay, callback when_due);
    void cancel(timer t);

    // Runs until stop(); returns at once when stop() was called before. Exceptions of callbacks
    // pass through.
    void run();
    // From any thread and from signal handlers.
    void stop();

  private:
    using clock = std::chrono::steady_clock;
    struct watched {
        std::uint64_t number;  // tells a descriptor from a later one of the same number
        std::shared_ptr<callback> when_readable;
    };

    void wait_and_call();
    int milliseconds_to_wait() const;
    void call_due_timers();

    int stop_event_;
    std::uint64_t next_number_ = 1;
    std::map<int, watched> watched_;
    std::map<std::pair<clock::time_point, timer>, callback> timers_;
    std::map<timer, clock::time_point> due_times_;
};

}  // namespace aplocal
