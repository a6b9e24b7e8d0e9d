#include "workers/monotonic_condition.h"

#include <cerrno>
#include <ctime>
#include <system_error>

namespace libnetworkd {

monotonic_condition::monotonic_condition() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    const int error = pthread_cond_init(&condition_, &attributes);
    pthread_condattr_destroy(&attributes);
    if (error != 0) throw std::system_error(error, std::generic_category());
}

// Reads the kernel's clock, not monotonic_now(), which unit tests move by hand: the kernel waits.
std::timespec monotonic_condition::time_after(std::chrono::milliseconds timeout) {
    constexpr std::int64_t second_ns = 1'000'000'000;
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto ns = now.tv_nsec + std::chrono::nanoseconds(timeout).count();

    std::timespec later{};
    later.tv_sec = now.tv_sec + static_cast<std::time_t>(ns / second_ns);
    later.tv_nsec = static_cast<long>(ns % second_ns);
    return later;
}

bool monotonic_condition::wait_until(LockdepMutex& mutex, const std::timespec& deadline) {
    return pthread_cond_timedwait(&condition_, mutex.native_handle(), &deadline) != ETIMEDOUT;
}

}  // namespace libnetworkd
