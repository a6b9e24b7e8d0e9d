// A module's connection to the broker: connecting, writing whole frames, reading them. Belongs to
// one context of the library. A write waits while the broker makes progress, and gives the
// connection up when it makes none for a second.
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

    // Connects and says hello as `module`, unless that is done already. False when there is no
    // broker.
    bool open(std::uint8_t module);
    void close();
    bool is_open() const { return descriptor_ != -1; }

    // False, and the connection closed, when the frame did not go out whole.
    bool send(const frame_head& head, std::string_view text);

    // The next frame, or none; never waits for one to begin. The broker has the whole of a frame
    // before it sends any of it, so the rest of one that has begun is waited for, while it comes.
    // Closes a connection that has ended.
    frame_block receive();

    // False while it is not worth a system call to ask for a frame: the last look, less than
    // `look_interval` ago, found nothing. For callers that do not wait and ask again soon.
    bool is_worth_a_look() const;

    // Waits until there is something to read, the time is over, or a signal handler has run.
    readiness wait_readable(std::chrono::milliseconds timeout) const;

  private:
    bool connect();

    static constexpr std::chrono::microseconds look_interval{100};

    int descriptor_ = -1;
    frame_reader reader_;
    std::chrono::steady_clock::time_point next_look_;
};

}  // namespace standin
