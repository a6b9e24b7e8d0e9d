// Decides whether the link's next wait looks at its socket. libwebsockets does not always take what
// a socket offers (the end of the stream while something is left to send, for example), and a wait
// for such a socket returns at once, again and again. So when two service calls in a row for a
// ready socket neither handled an event nor read or wrote a byte, one wait leaves the socket out.
// Belongs to the websock_worker and its thread.
#pragma once

#include <optional>
#include <utility>

namespace rfcd {

class socket_watch {
  public:
    // Asked once before each wait: true when the wait is to look at the socket.
    bool next_wait_watches() { return !std::exchange(leave_out_, false); }

    // The library was called for a ready socket. `progress`: it handled an event or wrote;
    // `unread_bytes` is what the socket holds for it to read now.
    void serviced(bool progress, int unread_bytes) {
        leave_out_ = !progress && unread_ == unread_bytes;
        unread_ = progress ? std::nullopt : std::optional(unread_bytes);
    }

  private:
    std::optional<int> unread_;  // after the last call, if that made no progress
    bool leave_out_ = false;
};

}  // namespace rfcd
