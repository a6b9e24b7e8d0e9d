// A condition variable that waits by the monotonic clock with every C library. The one of the C++
// library waits by the system clock when the C library lacks pthread_cond_clockwait, and setting
// that clock back lengthens the wait. Any thread may use it, together with a LockdepMutex.
#pragma once

#include <pthread.h>

#include <chrono>
#include <mutex>

#include "workers/lockdep_mutex.h"

namespace libnetworkd {

class monotonic_condition {
  public:
    // Throws std::system_error when the system cannot make one.
    monotonic_condition();
    monotonic_condition(const monotonic_condition&) = delete;
    monotonic_condition& operator=(const monotonic_condition&) = delete;
    ~monotonic_condition() { pthread_cond_destroy(&condition_); }

    // Wakes one of the waiting threads.
    void notify_one() { pthread_cond_signal(&condition_); }

    // Waits until `is_met` returns true, `timeout` at most. `guard` holds the mutex before and
    // after; `is_met` is called with the mutex held. Returns what `is_met` returned last.
    template <typename Predicate>
    bool wait_for(std::unique_lock<LockdepMutex>& guard, std::chrono::milliseconds timeout,
                  Predicate is_met) {
        const std::timespec deadline = time_after(timeout);
        while (!is_met()) {
            if (!wait_until(*guard.mutex(), deadline)) return is_met();
        }
        return true;
    }

  private:
    static std::timespec time_after(std::chrono::milliseconds timeout);
    // False when the deadline has passed.
    bool wait_until(LockdepMutex& mutex, const std::timespec& deadline);

    pthread_cond_t condition_;
};

}  // namespace libnetworkd
