#include "harness/fakes/fake_clock.h"

#include "base/monotonic_clock.h"

namespace rfcd {

std::timespec monotonic_now() {
    const std::int64_t now = fake_clock::now_ns;
    return {static_cast<std::time_t>(now / fake_clock::second_ns),
            static_cast<long>(now % fake_clock::second_ns)};
}

std::int64_t monotonic_milliseconds() { return fake_clock::now_ns / 1'000'000; }

void pause_microseconds(std::uint32_t microseconds) {
    fake_clock::now_ns += std::int64_t{microseconds} * 1000;
    fake_clock::pauses.push_back(microseconds);
    if (fake_clock::on_pause) fake_clock::on_pause();
}

}  // namespace rfcd
