#include "lab/air/control.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <sstream>

namespace lab::air {

namespace {

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    return address;
}

}  // namespace

std::string ask_control(const std::string& socket_path, const std::string& command) {
    constexpr timeval limit{2, 0};
    const int connection = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);

    // The reply goes to the sender's own path.
    const auto own = address_of("/tmp/control-client");
    const auto server = address_of(socket_path);
    unlink(own.sun_path);
    std::array<char, 8192> reply{};
    ssize_t size = -1;
    if (bind(connection, reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0 &&
        connect(connection, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0 &&
        send(connection, command.data(), command.size(), MSG_NOSIGNAL) >= 0) {
        size = recv(connection, reply.data(), reply.size(), 0);
    }

    close(connection);
    unlink(own.sun_path);
    return size > 0 ? std::string(reply.data(), static_cast<std::size_t>(size)) : "";
}

std::string value_of(const std::string& text, const std::string& name) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + "=")) return line.substr(name.size() + 1);
    }
    return "";
}

}  // namespace lab::air
