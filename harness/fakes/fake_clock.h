// The clock of the unit tests. It stands still until a test moves it; a pause returns at once and
// moves it by the length of the pause.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

namespace fake_clock {

constexpr std::int64_t second_ns = 1'000'000'000;

inline std::atomic<std::int64_t> now_ns = 1000 * second_ns;
inline std::vector<std::uint32_t> pauses;  // all pauses so far, in microseconds
inline std::function<void()> on_pause;     // runs after every pause

inline void set(std::int64_t seconds, long nanoseconds = 0) {
    now_ns = seconds * second_ns + nanoseconds;
}
inline void advance(std::int64_t seconds) { now_ns += seconds * second_ns; }
// Sets the clock to 1000 s and forgets the pauses and the hook.
inline void reset() {
    set(1000);
    pauses.clear();
    on_pause = nullptr;
}

}  // namespace fake_clock
