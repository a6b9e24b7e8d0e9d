// A module's place on the bus, which is the messaging library's context, and the two operations on
// it that the reply-wait library needs beside the public ones. For one thread at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>

#include "peermsg/bus_connection.h"

struct peermsg_ctx {
    std::uint8_t module = 0;
    int loop = 0;
    std::uint8_t last_addressee = 0;  // whom the last text went to
    bool untaken = false;             // and nobody took it
    bool interrupted = false;         // a signal ended the last wait
    standin::bus_connection connection;
    std::deque<standin::frame_block> aside;  // delivered before anything from the connection
    std::size_t aside_bytes = 0;
};

namespace standin {

// The next text frame from the bus, whatever was put aside, waiting for one until `deadline`. Null
// when none came, when a signal handler ran meanwhile, when nobody took the text that was sent
// last, or when the bus is gone.
frame_block wait_new_text(peermsg_ctx& ctx, std::chrono::steady_clock::time_point deadline);

// Puts a text back, behind those put aside before; drops it when these are many.
void put_aside(peermsg_ctx& ctx, frame_block block);

}  // namespace standin
