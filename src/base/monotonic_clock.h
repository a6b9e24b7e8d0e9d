// Where the daemon reads the monotonic clock and sleeps, on any of its threads. Unit tests link a
// clock of their own under these names and move it by hand. Only monotonic_condition reads the
// kernel's clock itself.
#pragma once

#include <cstdint>
#include <ctime>

namespace rfcd {

// CLOCK_MONOTONIC.
std::timespec monotonic_now();

// The same in milliseconds, for measuring spans.
std::int64_t monotonic_milliseconds();

// Pauses the calling thread. May return early when a signal arrives.
void pause_microseconds(std::uint32_t microseconds);

}  // namespace rfcd
