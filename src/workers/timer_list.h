// The one-shot timers of one worker. The worker owns the list and uses it on its own thread only;
// there is no lock. The resolution is one second: a deadline is a whole second of the monotonic
// clock, so a timer may run up to a second before its delay is over.
//
// There are no periodic timers: a callback that wants to run again adds its timer again. Adding a
// timer never replaces another; an owner that wants one pending timer per identifier cancels it
// first.
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

    // Runs every timer whose deadline has come. All of them leave the list first, so a callback may
    // add and cancel timers: a timer that it adds runs in a later call, and it cannot cancel one
    // that is due in the same call. A callback without a target throws std::bad_function_call.
    void run_expired();

    void cancel_timers(std::int32_t identifier);

  private:
    struct entry {
        std::function<void()> callback;
        std::int32_t identifier;
        std::int64_t deadline;  // seconds of CLOCK_MONOTONIC
    };

    std::list<entry> entries_;  // by deadline, earliest first
    std::timespec now_;         // when the clock was last read
};

}  // namespace rfcd
