#include "base/monotonic_clock.h"

#include <unistd.h>

namespace rfcd {

std::timespec monotonic_now() {
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

std::int64_t monotonic_milliseconds() {
    const auto now = monotonic_now();
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

void pause_microseconds(std::uint32_t microseconds) { usleep(microseconds); }

}  // namespace rfcd
