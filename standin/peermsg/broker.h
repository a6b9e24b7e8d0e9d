// The heart of the bus: takes frames from connected modules and hands each text on to the module it
// is addressed to. One thread, nothing blocks. A text for a module that has no running exchange, or
// that has let `max_backlog` bytes pile up, is dropped, and the sender is told so when it has a
// running exchange of its own; a connection that sends anything but frames is closed; the others
// notice neither.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>

#include "peermsg/frame_reader.h"

namespace standin {

class broker {
  public:
    // Bytes waiting for one module beyond which further texts for it are dropped. Every frame
    // counts for this much more than its own size, so that short ones are bounded too.
    static constexpr std::size_t max_backlog = max_text_size;
    static constexpr std::size_t frame_overhead = 128;
    // Bytes waiting for a sender beyond which it is not told of dropped texts.
    static constexpr std::size_t max_notice_backlog = std::size_t{64} << 10;

    // Takes over the two descriptors: a listening socket, and one that polls readable when the
    // broker is to stop. Throws std::system_error when it cannot wait on them.
    broker(int listener, int stop);
    broker(const broker&) = delete;
    broker& operator=(const broker&) = delete;
    ~broker();

    // Serves until told to stop.
    void run();

  private:
    struct client {
        int descriptor;
        std::uint8_t module = 0;
        bool greeted = false;
        bool started = false;
        bool wants_write = false;
        bool unsent = false;      // has frames that nobody tried to send yet
        bool unfinished = false;  // may have frames that were read and not handled
        frame_reader reader;
        std::deque<frame_block> backlog;
        std::size_t backlog_bytes = 0;
        std::size_t sent_of_first = 0;
    };

    void accept_client();
    void close_client(int descriptor);
    void serve(client& c, std::uint32_t events);
    void serve_unfinished();
    void mark_unfinished(client& c, bool unfinished);
    bool read_frames(client& c);
    bool handle(client& c, frame_block frame);
    bool start_exchange(client& c);
    void stop_exchange(client& c);
    void deliver(client& sender, frame_block frame);
    void tell_untaken(client& sender, std::uint8_t destination);
    void enqueue(client& c, frame_block frame);
    void flush_unsent();
    bool flush(client& c);
    void watch(client& c);

    const int listener_;
    const int stop_;
    const int epoll_;
    int spare_descriptor_;  // given up to turn a connection away when descriptors run out
    std::map<int, std::unique_ptr<client>> clients_;
    std::size_t unfinished_ = 0;                       // how many clients are
    std::vector<client*> unsent_;                      // those with frames that came in this turn
    std::array<client*, max_module + 1> receivers_{};  // by module number, with a running exchange
};

}  // namespace standin
