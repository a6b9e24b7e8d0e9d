// Services other than the lab's own: those of raw_websocket.py, which misbehave or are written by
// others, each as a process; and an address at which nobody answers.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "harness/child_process.h"

namespace lab {

class raw_service {
  public:
    static constexpr std::uint16_t port = 8100;

    explicit raw_service(const std::string& behaviour)
        : process_({"/usr/bin/python3", std::string(LAB_DATA) + "/../raw_websocket.py", behaviour,
                    std::to_string(port)},
                   output_path) {}

    child_process& process() { return process_; }
    // What the service has printed: one line for each connection, and what the behaviour reports.
    std::string output() const { return read_file(output_path); }
    unsigned connections() const {
        const std::string lines = output();
        return static_cast<unsigned>(std::count(lines.begin(), lines.end(), '\n'));
    }
    bool wait_connections(unsigned count) const {
        return wait_until([&] { return connections() >= count; });
    }

  private:
    static constexpr const char* output_path = "/tmp/raw-service.out";

    child_process process_;
};

// An address that neither accepts nor refuses: the queue of its listener is full, so the kernel
// drops every further attempt.
class black_hole {
  public:
    black_hole() {
        for (int& descriptor : descriptors_) {
            descriptor = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        }

        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        bind(descriptors_[0], generic, size);
        listen(descriptors_[0], 0);
        getsockname(descriptors_[0], generic, &size);
        port_ = ntohs(address.sin_port);

        for (int i = 1; i < 4; ++i) connect(descriptors_[i], generic, size);
    }
    ~black_hole() {
        for (const int descriptor : descriptors_) close(descriptor);
    }
    std::uint16_t port() const { return port_; }

  private:
    int descriptors_[4]{};
    std::uint16_t port_ = 0;
};

}  // namespace lab
