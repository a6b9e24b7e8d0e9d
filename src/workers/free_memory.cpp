#include "workers/free_memory.h"

#include <atomic>
#include <cstdint>

#include "base/monotonic_clock.h"

// Not every C library has it. A library without it returns large blocks by itself.
extern "C" int malloc_trim(std::size_t pad) __attribute__((weak));

namespace rfcd {

namespace {

constexpr std::size_t large_message = std::size_t{64} << 10;
constexpr std::int64_t shortest_interval_ms = 500;

std::atomic<bool> large_message_released = false;
std::atomic<std::int64_t> last_return_ms = -shortest_interval_ms;

}  // namespace

void note_released_message(std::size_t bytes) {
    if (bytes >= large_message) large_message_released = true;
}

void return_free_memory() {
    if (malloc_trim == nullptr || !large_message_released) return;

    const auto now_ms = monotonic_milliseconds();
    if (now_ms - last_return_ms < shortest_interval_ms) return;
    last_return_ms = now_ms;
    large_message_released = false;
    malloc_trim(0);
}

}  // namespace rfcd
