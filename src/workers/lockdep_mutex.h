// The lock of the queues between workers, which the threads at both ends take: a plain,
// non-recursive mutex whose `lock` reports failures.
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

    // For a condition variable. This object owns it.
    pthread_mutex_t* native_handle() { return &mutex_; }

  private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace libnetworkd
