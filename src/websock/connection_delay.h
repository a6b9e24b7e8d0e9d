// How long to wait before a connection attempt: a random number of seconds around a base that
// doubles with every attempt up to a maximum, and starts over after a handshake. Belongs to the
// websock_worker and its thread.
#pragma once

#include <cstdint>

namespace rfcd {

class connection_delay {
  public:
    // Both are in seconds; 0 is allowed and counts as a base of 2.
    connection_delay(std::uint64_t initial, std::uint64_t maximum)
        : initial_(initial), maximum_(maximum), current_(initial) {}

    // The delay is a random number from [begin, end), in seconds.
    struct range {
        std::uint64_t begin;
        std::uint64_t end;
    };

    // The range for the next attempt. Doubles the base for the attempt after it.
    range next_range();

    // After a completed handshake the next attempt starts from the initial base.
    void reset() { current_ = initial_; }

    // Draws a delay in seconds from the range. `random` is any non-negative number.
    static std::uint64_t draw(const range& r, int random);

  private:
    const std::uint64_t initial_;
    const std::uint64_t maximum_;
    std::uint64_t current_;
};

}  // namespace rfcd
