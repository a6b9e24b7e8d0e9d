// The broker process of the local bus. Runs until SIGTERM or SIGINT.
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <system_error>

#include "peermsg/broker.h"

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int open_listener() {
    if (mkdir(standin::bus_directory, 0700) != 0 && errno != EEXIST) fail(standin::bus_directory);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor == -1) fail("socket");

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, standin::bus_socket, sizeof address.sun_path - 1);
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);

    // If somebody answers on the socket, it has a broker; otherwise it is a leftover.
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(probe, generic, sizeof address) == 0) {
        errno = EADDRINUSE;
        fail(standin::bus_socket);
    }
    close(probe);

    unlink(standin::bus_socket);
    umask(0077);
    if (bind(descriptor, generic, sizeof address) != 0) fail(standin::bus_socket);
    if (listen(descriptor, SOMAXCONN) != 0) fail("listen");
    return descriptor;
}

int open_stop() {
    sigset_t stop_signals{};
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGTERM);
    sigaddset(&stop_signals, SIGINT);
    if (pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr) != 0) fail("pthread_sigmask");
    const int descriptor = signalfd(-1, &stop_signals, SFD_CLOEXEC);
    if (descriptor == -1) fail("signalfd");
    return descriptor;
}

}  // namespace

int main(int argc, char** argv) {
    constexpr const char* usage =
        "usage: peermsgd\n"
        "Carries the texts of the local bus until SIGTERM or SIGINT. Takes no arguments.\n";
    if (argc > 1) {
        const bool help = std::strcmp(argv[1], "--help") == 0;
        std::fputs(usage, help ? stdout : stderr);
        return help ? 0 : 2;
    }

    try {
        const int stop = open_stop();
        standin::broker bus(open_listener(), stop);
        bus.run();
        unlink(standin::bus_socket);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "peermsgd: %s\n", problem.what());
        return 1;
    }
}
