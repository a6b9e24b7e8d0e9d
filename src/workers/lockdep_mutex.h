// The lock of the queues between workers, taken by the threads at both ends: a plain, non-recursive
// mutex whose `lock` reports its failure.
#pragma once

#include <pthread.h>

#include <system_error>

namespace libnetworkd {

class LockdepMutex {
  public:
    LockdepMutex() = default;
    LockdepMutex(const LockdepMutex&) = delete;
    LockdepMutex& operator=(const LockdepMutex&) = delete;

    // Throws std::system_error with the error number.
    void lock() {
        if (const int error = pthread_mutex_lock(&mutex_); error != 0) {
            throw std::system_error(error, std::generic_category());
        }
    }

    void unlock() { pthread_mutex_unlock(&mutex_); }

    // For a condition variable; owned by this object.
    pthread_mutex_t* native_handle() { return &mutex_; }

  private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace libnetworkd
