// Decides whether the link's next wait looks at its socket. libwebsockets sometimes leaves a ready
// socket as it is (for example at the end of the stream while something is left to send), and then
// every wait for that socket returns at once. So when two service calls in a row for a ready socket
// neither handled an event nor read or wrote a byte, one wait leaves the socket out. Belongs to the
// websock_worker and its thread.
#pragma once

#include <optional>
#include <utility>

namespace rfcd {

class socket_watch {
  public:
    // Call it once before each wait. True when that wait must look at the socket.
    bool next_wait_watches() { return !std::exchange(leave_out_, false); }

    // Call it after a service call for a ready socket. `progress` tells whether the call handled an
    // event or wrote; `unread_bytes` is what the socket still holds to read.
    void serviced(bool progress, int unread_bytes) {
        leave_out_ = !progress && unread_ == unread_bytes;
        unread_ = progress ? std::nullopt : std::optional(unread_bytes);
    }

  private:
    std::optional<int> unread_;  // after the last call; null if it made progress
    bool leave_out_ = false;
};

}  // namespace rfcd
