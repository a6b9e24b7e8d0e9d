// A WebSocket service that uses as little processor time as it can, so that a benchmark measures
// its client. It sends bytes that were prepared before the clock started, and counts messages by
// the heads of their frames. It serves one connection at a time.
//
// Belongs to the thread that measures. A thread of its own accepts, shakes hands and reads.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "harness/wait.h"

namespace bench {

// One message as a service sends it: an unmasked text frame.
std::string ready_frame(std::string_view text);

// Finds the ends of messages in the bytes that a client sends.
class frame_counter {
  public:
    // How many messages end in `bytes`, the continuation of the previous call's bytes.
    long count(std::string_view bytes);

  private:
    std::size_t head_size() const;
    std::uint64_t payload_size() const;

    std::string head_;        // of the current frame, as far as it has arrived
    std::uint64_t skip_ = 0;  // bytes of its payload that have not arrived
};

class ready_service {
  public:
    // Listens on a free port of the loopback address. Throws std::runtime_error when it cannot.
    ready_service();
    ready_service(const ready_service&) = delete;
    ready_service& operator=(const ready_service&) = delete;
    ~ready_service();

    std::uint16_t port() const { return port_; }
    bool wait_connections(unsigned so_far) const;
    unsigned connections() const { return connections_; }

    // Returns when the socket has accepted all bytes. Throws std::runtime_error when it fails.
    void send(std::string_view bytes);

    // The whole messages that have arrived so far; waiting for that many.
    long messages() const;
    bool wait_messages(long so_far, lab::milliseconds timeout);

  private:
    void serve();
    void read_until_end(int descriptor);

    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<int> connection_ = -1;
    std::atomic<unsigned> connections_ = 0;
    std::atomic<bool> stopping_ = false;
    mutable std::mutex lock_;
    std::condition_variable arrived_;
    long messages_ = 0;  // guarded by lock_
    std::thread thread_;
};

}  // namespace bench
