// The messaging library's context, a module's place on the bus, and two operations that the
// reply-wait library needs in addition to the public ones. Used by one thread at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>

#include "peermsg/bus_connection.h"

struct peermsg_ctx {
    std::uint8_t module = 0;
    int loop = 0;
    std::uint8_t last_addressee = 0;  // of the last text that was sent
    bool untaken = false;             // the broker reported that nobody took that text
    bool interrupted = false;         // a signal ended the last wait
    standin::bus_connection connection;
    std::deque<standin::frame_block> aside;  // delivered before new texts
    std::size_t aside_bytes = 0;
};

namespace standin {

// Waits until `deadline` for the next new text from the bus; ignores those put aside. Null when
// none comes, when a signal handler runs meanwhile, when nobody took the text that was sent last,
// or when the bus is gone.
frame_block wait_new_text(peermsg_ctx& ctx, std::chrono::steady_clock::time_point deadline);

// Keeps a text to be delivered later, after those put aside before; drops it when there are many.
void put_aside(peermsg_ctx& ctx, frame_block block);

}  // namespace standin
