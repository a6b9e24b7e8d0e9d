#include "aplocald/unix_socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace aplocal {

namespace {

constexpr socklen_t family_size = offsetof(sockaddr_un, sun_path);

unix_socket::outcome outcome_of(ssize_t result) {
    if (result >= 0) return unix_socket::outcome::sent;
    const bool full = errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS;
    return full ? unix_socket::outcome::full : unix_socket::outcome::refused;
}

}  // namespace

unix_address::unix_address(const std::string& path) {
    if (path.empty() || path.size() >= sizeof address_.sun_path) {
        throw std::invalid_argument("no path of a socket: '" + path + "'");
    }

    address_.sun_family = AF_UNIX;
    std::memcpy(address_.sun_path, path.data(), path.size());
    size = static_cast<socklen_t>(family_size + path.size() + 1);
}

std::string unix_address::name() const {
    if (size <= family_size) return {};
    return std::string(address_.sun_path, size - family_size);
}

unix_socket::unix_socket()
    : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "socket");
}

unix_socket::unix_socket(unix_socket&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

unix_socket& unix_socket::operator=(unix_socket&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

unix_socket::~unix_socket() {
    if (descriptor_ >= 0) close(descriptor_);
}

bool unix_socket::bind_anywhere() const {
    sockaddr_un family{};
    family.sun_family = AF_UNIX;
    return bind(descriptor_, reinterpret_cast<const sockaddr*>(&family), family_size) == 0;
}

bool unix_socket::connect(const unix_address& peer) const {
    return ::connect(descriptor_, peer.raw(), peer.size) == 0;
}

unix_socket::outcome unix_socket::send(std::string_view text) const {
    return outcome_of(::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL));
}

unix_socket::outcome unix_socket::send_to(const unix_address& peer, std::string_view text) const {
    return outcome_of(
        sendto(descriptor_, text.data(), text.size(), MSG_NOSIGNAL, peer.raw(), peer.size));
}

std::optional<std::string> unix_socket::receive(unix_address* sender) const {
    unix_address from;
    from.size = sizeof(sockaddr_un);
    std::string text(max_datagram, '\0');

    const auto size = recvfrom(descriptor_, text.data(), text.size(), 0, from.raw(), &from.size);
    if (size < 0) return std::nullopt;

    text.resize(static_cast<std::size_t>(size));
    if (sender != nullptr) *sender = from;
    return text;
}

bool is_alive(const unix_address& address) {
    const unix_socket probe;
    if (probe.connect(address)) return true;
    return errno != ECONNREFUSED && errno != ENOENT;  // EPERM: its owner is connected to another
}

}  // namespace aplocal
