// Waiting for other threads and processes: always for a condition, always with a deadline.
#pragma once

#include <chrono>
#include <thread>

namespace lab {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
using milliseconds = std::chrono::milliseconds;

inline constexpr milliseconds patience{15000};  // for what normally takes a moment

template <typename Condition>
bool wait_until(const Condition& condition, milliseconds timeout = patience) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

}  // namespace lab
