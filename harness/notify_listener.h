// The service manager's end of a notification socket, for tests that start a daemon with
// NOTIFY_SOCKET=/tmp/notify.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace lab {

class notify_listener {
  public:
    notify_listener() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, name);
        unlink(name);
        bind(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
    ~notify_listener() {
        close(descriptor_);
        unlink(name);
    }

    // The messages since the last call, each followed by "; ".
    std::string take() const {
        std::string all;
        char text[512];
        for (ssize_t size; (size = recv(descriptor_, text, sizeof text, MSG_DONTWAIT)) >= 0;) {
            all += std::string(text, static_cast<std::size_t>(size)) + "; ";
        }
        return all;
    }

    static constexpr const char* name = "/tmp/notify";

  private:
    const int descriptor_ = socket(AF_UNIX, SOCK_DGRAM, 0);
};

}  // namespace lab
