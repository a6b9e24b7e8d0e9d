// A connection to nl80211, the kernel's interface to its radios: sends a request and hands out the
// messages of the answer. The kernel answers at once, so a request takes well under a millisecond;
// a time limit covers everything else. Whoever opens the connection owns it; one thread at a time
// may use it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "nl80211/message.h"

struct nl_sock;

namespace nl80211 {

struct close_socket {
    void operator()(nl_sock* socket) const;
};
using socket_ptr = std::unique_ptr<nl_sock, close_socket>;

class connection {
  public:
    using receiver = std::function<void(const attributes&)>;

    static constexpr std::chrono::milliseconds time_limit{1000};

    // Null when the kernel has no nl80211.
    static std::unique_ptr<connection> open();

    // Sends the request and calls `receive` with each message of the answer. Returns 0 or a
    // negative error number: the kernel's; -ETIMEDOUT when the answer is not complete within the
    // time limit; -EINTR when the list of a dump changed while it was read, so that it may lack
    // entries or have them twice.
    int ask(const request& question, const receiver& receive = {});

  private:
    connection(socket_ptr socket, int family) : socket_(std::move(socket)), family_(family) {}

    socket_ptr socket_;
    int family_;
};

}  // namespace nl80211
