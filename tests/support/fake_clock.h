// The clock of the unit tests: it stands still until a test moves it, and a pause moves it by its
// own length at once.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace fake_clock {

// Back to a thousand seconds after the start, without pauses or hook.
void reset();
void set(std::int64_t seconds, long nanoseconds = 0);
void advance(std::int64_t seconds);

// The lengths of the pauses so far, in microseconds.
const std::vector<std::uint32_t>& pauses();
// Runs after every pause.
void on_pause(std::function<void()> hook);

}  // namespace fake_clock
