#include "support/fake_clock.h"

#include <atomic>

#include "workers/monotonic_clock.h"

namespace {

constexpr std::int64_t second_ns = 1'000'000'000;

std::atomic<std::int64_t> now_ns = 1000 * second_ns;
std::vector<std::uint32_t> recorded_pauses;
std::function<void()> pause_hook;

}  // namespace

namespace fake_clock {

void reset() {
    set(1000);
    recorded_pauses.clear();
    pause_hook = nullptr;
}

void set(std::int64_t seconds, long nanoseconds) { now_ns = seconds * second_ns + nanoseconds; }
void advance(std::int64_t seconds) { now_ns += seconds * second_ns; }
const std::vector<std::uint32_t>& pauses() { return recorded_pauses; }
void on_pause(std::function<void()> hook) { pause_hook = std::move(hook); }

}  // namespace fake_clock

namespace rfcd {

std::timespec monotonic_now() {
    const std::int64_t now = now_ns;
    return {static_cast<std::time_t>(now / second_ns), static_cast<long>(now % second_ns)};
}

std::int64_t monotonic_milliseconds() { return now_ns / 1'000'000; }

void pause_microseconds(std::uint32_t microseconds) {
    now_ns += std::int64_t{microseconds} * 1000;
    recorded_pauses.push_back(microseconds);
    if (pause_hook) pause_hook();
}

}  // namespace rfcd
