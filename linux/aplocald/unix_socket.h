// A datagram socket of the Unix family that its object owns, and the addresses of such sockets: a
// path, or an abstract name, which begins with a zero byte.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <optional>
#include <string>
#include <string_view>

namespace aplocal {

class unix_address {
  public:
    unix_address() = default;
    // Throws std::invalid_argument when the path is empty or too long.
    explicit unix_address(const std::string& path);

    // The name as the kernel has it; empty for the sender of an unbound socket.
    std::string name() const;

    sockaddr* raw() { return reinterpret_cast<sockaddr*>(&address_); }
    const sockaddr* raw() const { return reinterpret_cast<const sockaddr*>(&address_); }

    socklen_t size = sizeof(sockaddr_un);

  private:
    sockaddr_un address_{};
};

class unix_socket {
  public:
    // Not blocking, closed on exec. Throws std::system_error when there is no descriptor left.
    unix_socket();
    unix_socket(unix_socket&& other) noexcept;
    unix_socket& operator=(unix_socket&& other) noexcept;
    unix_socket(const unix_socket&) = delete;
    unix_socket& operator=(const unix_socket&) = delete;
    ~unix_socket();

    int descriptor() const { return descriptor_; }

    // Takes an abstract name that the kernel chooses, so that the peer can reply.
    bool bind_anywhere() const;
    bool connect(const unix_address& peer) const;

    enum class outcome { sent, full, refused };
    // To the connected peer. Full: the peer has not read what was sent before.
    outcome send(std::string_view text) const;
    outcome send_to(const unix_address& peer, std::string_view text) const;

    // One datagram, and who sent it; null when nothing has come. Longer datagrams are cut to
    // `max_datagram`.
    static constexpr std::size_t max_datagram = 65536;
    std::optional<std::string> receive(unix_address* sender = nullptr) const;

  private:
    int descriptor_;
};

// Whether a process has the socket at this address open.
bool is_alive(const unix_address& address);

}  // namespace aplocal
