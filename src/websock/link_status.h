// What the link reports about itself to the status_reporter; it is the link's state as well. The
// websock_worker owns it. Its thread writes; any thread may read, and may see one field change a
// moment before another.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace rfcd {

enum class link_state {
    idle,         // no connection; the link may be waiting for the next attempt
    connecting,   // the TCP connection is being made
    handshaking,  // the link waits for the answer to its handshake
    connected,    // the handshake is complete
    closing,      // was connected; the loop will end the connection
    failed,       // was never connected; the loop will end the attempt
};

// A count that one thread writes and others read.
class shared_count {
  public:
    void add(std::uint64_t amount) {
        count_.store(count_.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
    }
    std::uint64_t value() const { return count_.load(std::memory_order_relaxed); }

  private:
    std::atomic<std::uint64_t> count_ = 0;
};

struct link_status {
    // Grows with every change of a state, but not with counts.
    std::atomic<std::uint32_t> version = 0;
    void note_change() { ++version; }

    // Times are seconds of the monotonic clock.
    std::atomic<link_state> state = link_state::idle;
    std::atomic<std::int64_t> since = 0;         // when the link entered this state
    std::atomic<std::int64_t> lost = 0;          // it was connected last; 0: never
    std::atomic<bool> unlinked = false;          // given up: the link makes no further attempt
    std::atomic<std::uint32_t> attempts = 0;     // since the last completed handshake
    std::atomic<std::int64_t> next_attempt = 0;  // 0: the link is not waiting for one
    std::atomic<std::int32_t> missed_pongs = 0;  // pings since the last pong

    shared_count received_messages;
    shared_count received_bytes;
    shared_count sent_messages;
    shared_count sent_bytes;

    // Why and when the last connection or attempt ended; empty and 0 when none has ended yet.
    struct ending {
        std::string reason;
        std::int64_t time = 0;
    };
    ending last_end() const {
        const std::lock_guard guard(lock_);
        return last_end_;
    }
    void set_last_end(ending last) {
        {
            const std::lock_guard guard(lock_);
            last_end_ = std::move(last);
        }
        note_change();
    }

  private:
    mutable std::mutex lock_;
    ending last_end_;  // guarded by lock_
};

}  // namespace rfcd
