// The heart of the bus: receives frames from connected modules and forwards each text to its
// addressee. One thread; no call blocks.
//
// A text is dropped when its addressee has no running exchange, or when more than `max_backlog`
// bytes wait for it. The sender is told, if it has a running exchange of its own. A connection that
// sends anything but valid frames is closed. Neither affects the other modules.
//
// A monitor gets a copy of every text. One that reads too slowly delays nobody: the broker leaves
// out its copies until it has read what waits for it, and then tells it how many. While nobody
// monitors, no text is copied.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <vector>

#include "peermsg/frame_reader.h"

namespace standin {

class broker {
  public:
    // With this many bytes waiting for a module, further texts for it are dropped. Each frame
    // counts as its size plus an overhead, so that the number of short frames is bounded too.
    static constexpr std::size_t max_backlog = max_text_size;
    static constexpr std::size_t frame_overhead = 128;
    // With this many bytes waiting for a sender, it is not told about dropped texts.
    static constexpr std::size_t max_notice_backlog = std::size_t{64} << 10;
    // Bytes waiting for a monitor beyond which copies are left out. A longer text is never copied.
    static constexpr std::size_t max_monitor_backlog = std::size_t{4} << 20;

    // Owns the two descriptors from here on: a listening socket, and one that becomes readable when
    // the broker must stop. Throws std::system_error when it cannot wait for them.
    broker(int listener, int stop);
    broker(const broker&) = delete;
    broker& operator=(const broker&) = delete;
    ~broker();

    // Serves until the stop descriptor becomes readable.
    void run();

  private:
    struct client {
        int descriptor;
        pid_t process;
        std::uint8_t module = 0;
        bool greeted = false;
        bool started = false;
        bool wants_write = false;
        bool unsent = false;      // has frames that were not sent yet
        bool unfinished = false;  // its reader may hold frames that were not handled
        frame_reader reader;
        std::deque<frame_block> backlog;
        std::size_t backlog_bytes = 0;
        std::size_t sent_of_first = 0;
        std::size_t missed = 0;  // copies left out, of which a monitor was not told yet
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
    void tell_registered(client& c);
    bool start_monitor(client& c);
    void show(client& monitor, const frame_block& text, frame_kind how);
    bool tell_missed(client& monitor);
    static void append(client& c, frame_block frame);
    void enqueue(client& c, frame_block frame);
    void mark_unsent(client& c);
    void flush_unsent();
    bool flush(client& c);
    void watch(client& c);

    const int listener_;
    const int stop_;
    const int epoll_;
    int spare_descriptor_;  // closed for a moment to refuse a connection when descriptors run out
    std::map<int, std::unique_ptr<client>> clients_;
    std::size_t unfinished_ = 0;                       // number of clients with `unfinished` set
    std::vector<client*> unsent_;                      // clients with `unsent` set
    std::array<client*, max_module + 1> receivers_{};  // by module number, with a running exchange
    std::vector<client*> monitors_;
};

}  // namespace standin
