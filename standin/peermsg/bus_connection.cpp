#include "peermsg/bus_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace standin {

namespace {

constexpr int stall_limit_ms = 1000;
constexpr std::chrono::milliseconds rest_limit{10};

// Removes the first `sent` bytes from the parts of a message.
void skip(msghdr& message, std::size_t sent) {
    while (message.msg_iovlen > 0 && sent >= message.msg_iov->iov_len) {
        sent -= message.msg_iov->iov_len;
        ++message.msg_iov;
        --message.msg_iovlen;
    }
    if (message.msg_iovlen > 0) {
        message.msg_iov->iov_base = static_cast<char*>(message.msg_iov->iov_base) + sent;
        message.msg_iov->iov_len -= sent;
    }
}

}  // namespace

bool bus_connection::open(std::uint8_t module) {
    if (is_open()) return true;
    reader_ = {};
    return connect() && send({0, frame_kind::hello, module, 0}, {});
}

bool bus_connection::connect() {
    // Non-blocking, so that connecting does not wait for a broker that hangs.
    descriptor_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor_ == -1) return false;

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, bus_socket, sizeof address.sun_path - 1);
    if (::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return true;
    }
    close();
    return false;
}

void bus_connection::close() {
    if (descriptor_ != -1) ::close(descriptor_);
    descriptor_ = -1;
}

bool bus_connection::send(const frame_head& head, std::string_view text) {
    auto bytes = encode_head(head);
    iovec parts[] = {{bytes.data(), bytes.size()}, {const_cast<char*>(text.data()), text.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = text.empty() ? 1 : 2;

    while (message.msg_iovlen > 0) {
        const ssize_t sent = sendmsg(descriptor_, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd out{descriptor_, POLLOUT, 0};
            if (poll(&out, 1, stall_limit_ms) != 0) continue;
        }
        if (sent < 0) {
            close();
            return false;
        }
        skip(message, static_cast<std::size_t>(sent));
    }
    return true;
}

frame_block bus_connection::receive() {
    frame_block frame;
    if (!is_open()) return frame;
    auto state = frame_reader::state::nothing;
    do {
        state = reader_.next(descriptor_, frame);
    } while (state == frame_reader::state::nothing && reader_.in_frame() &&
             wait_readable(rest_limit) == readiness::ready);
    if (state == frame_reader::state::closed) close();
    if (!frame) next_look_ = std::chrono::steady_clock::now() + look_interval;
    return frame;
}

bool bus_connection::is_worth_a_look() const {
    return !is_open() || reader_.in_frame() || std::chrono::steady_clock::now() >= next_look_;
}

readiness bus_connection::wait_readable(std::chrono::milliseconds timeout) const {
    if (!is_open()) return readiness::nothing;
    pollfd in{descriptor_, POLLIN, 0};
    const int ready = poll(&in, 1, static_cast<int>(timeout.count()));
    if (ready < 0 && errno == EINTR) return readiness::interrupted;
    return ready > 0 ? readiness::ready : readiness::nothing;
}

}  // namespace standin
