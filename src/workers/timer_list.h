// The one-shot timers of one worker. The worker owns the list and alone uses it, on its own thread;
// there is no lock. Resolution is one second: a deadline is a whole second of the monotonic clock,
// so a timer runs up to a second earlier than its delay.
//
// There are no periodic timers: a callback that wants to run again adds itself again. Adding never
// replaces; an owner that wants one pending timer per identifier cancels before it adds.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <list>

namespace rfcd {

class timer_list {
  public:
    timer_list();

    // `delay` is in seconds; 0 and negative delays run at the next `run_expired`. Timers with the
    // same deadline run in the order of adding.
    void add_timer(std::function<void()> callback, std::int32_t identifier, std::int32_t delay);

    // Runs every timer whose deadline has come. They are all taken out first, so a callback may add
    // and cancel freely: what it adds runs in a later call, and what was taken out with it runs in
    // spite of a cancel. A callback without a target throws std::bad_function_call.
    void run_expired();

    void cancel_timers(std::int32_t identifier);

  private:
    struct entry {
        std::function<void()> callback;
        std::int32_t identifier;
        std::int64_t deadline;  // seconds of CLOCK_MONOTONIC
    };

    std::list<entry> entries_;  // by deadline, earliest first
    std::timespec now_;         // the clock as last read
};

}  // namespace rfcd
