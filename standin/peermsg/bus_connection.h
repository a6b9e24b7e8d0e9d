// A module's connection to the broker: connects, writes whole frames, reads them. Belongs to one
// context of the library. A write waits while the broker makes progress, and closes the connection
// when it makes none for a second.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include "peermsg/frame_reader.h"

namespace standin {

// How a wait for something to read ended.
enum class readiness { ready, nothing, interrupted };

class bus_connection {
  public:
    bus_connection() = default;
    bus_connection(const bus_connection&) = delete;
    bus_connection& operator=(const bus_connection&) = delete;
    ~bus_connection() { close(); }

    // Connects and says hello as `module`, unless it is open already. False when no broker answers.
    bool open(std::uint8_t module);
    void close();
    bool is_open() const { return descriptor_ != -1; }
    // For poll(); -1 when it is not open. Read with receive() until that returns null.
    int descriptor() const { return descriptor_; }

    // False when the frame was not sent whole; the connection is then closed.
    bool send(const frame_head& head, std::string_view text);

    // The next frame, or null; does not wait for a frame to begin. When one has begun, waits for
    // its rest, which is on its way: the broker has the whole frame before it sends any of it.
    // Closes a connection that has ended.
    frame_block receive();

    // False when receive() found nothing less than `look_interval` ago. Saves a system call for
    // callers that do not wait and ask again soon.
    bool is_worth_a_look() const;

    // Waits until there is something to read, the time is over, or a signal handler runs.
    readiness wait_readable(std::chrono::milliseconds timeout) const;

  private:
    bool connect();

    static constexpr std::chrono::microseconds look_interval{100};

    int descriptor_ = -1;
    frame_reader reader_;
    std::chrono::steady_clock::time_point next_look_;
};

}  // namespace standin
