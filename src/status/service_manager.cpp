#include "status/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace rfcd {

namespace {

// No other thread exists yet, so none can be reading or changing the environment.
std::string take_variable(const char* name) {
    const char* value = std::getenv(name);
    std::string taken = value == nullptr ? "" : value;
    unsetenv(name);
    return taken;
}

// Returns a descriptor connected to the socket of this name, "/path" or "@abstract"; -1 on failure.
int connect_to(std::string_view name) {
    sockaddr_un address{};
    if (name.size() < 2 || name.size() >= sizeof address.sun_path) return -1;
    if (name[0] != '/' && name[0] != '@') return -1;

    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());

    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor == -1) return -1;
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), length) == 0) {
        return descriptor;
    }
    close(descriptor);
    return -1;
}

}  // namespace

service_manager::service_manager() : socket_(connect_to(take_variable("NOTIFY_SOCKET"))) {
    const auto period_us = std::strtoll(take_variable("WATCHDOG_USEC").c_str(), nullptr, 10);
    const std::string watched = take_variable("WATCHDOG_PID");
    const bool is_watched = watched.empty() || watched == std::to_string(getpid());
    if (socket_ != -1 && is_watched && period_us > 0) {
        watchdog_period_ = std::chrono::milliseconds(period_us / 1000);
    }
}

service_manager::~service_manager() {
    if (socket_ != -1) close(socket_);
}

void service_manager::send(const std::string& message) const {
    if (socket_ == -1) return;
    // Nobody could do anything about a failure.
    [[maybe_unused]] const auto sent =
        ::send(socket_, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

}  // namespace rfcd
