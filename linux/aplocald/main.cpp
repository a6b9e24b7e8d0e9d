// aplocald: the local daemons of a plain Linux access point. Runs until SIGTERM or SIGINT.
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <system_error>

#include "aplocald/configuration.h"
#include "aplocald/daemon.h"
#include "aplocald/event_loop.h"
#include "aplocald/log.h"
#include "base/files.h"
#include "status/service_manager.h"

namespace {

constexpr const char* usage =
    "usage: aplocald [-f FILE]\n"
    "Plays the local daemons of an access point with hostapd until SIGTERM or SIGINT.\n"
    "  -f FILE  the configuration instead of /etc/aplocald.conf\n";

enum exit_status : int { success = 0, failure = 1, wrong_usage = 2 };

// A file that was named must be there; the default one may be missing.
aplocal::configuration configure(const char* named) {
    const std::string path = named == nullptr ? aplocal::default_configuration_file : named;
    const auto text = rfcd::read_text_file(path);
    if (!text && (named != nullptr || errno != ENOENT)) {
        throw std::runtime_error("cannot read " + path + ": " + std::strerror(errno));
    }

    try {
        return aplocal::read_configuration(text.value_or(""));
    } catch (const std::runtime_error& problem) {
        throw std::runtime_error(path + ": " + problem.what());
    }
}

// Becomes readable when the process is asked to stop.
int open_stop() {
    sigset_t stop_signals{};
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGTERM);
    sigaddset(&stop_signals, SIGINT);
    sigprocmask(SIG_BLOCK, &stop_signals, nullptr);

    const int descriptor = signalfd(-1, &stop_signals, SFD_CLOEXEC);
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
    return descriptor;
}

void serve(const aplocal::configuration& config) {
    const rfcd::service_manager manager;
    aplocal::event_loop loop;
    loop.watch(open_stop(), [&] { loop.stop(); });

    const aplocal::daemon services(loop, config, [&] { manager.ready(); });
    loop.run();
    manager.stopping();
}

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    const bool with_file = argc == 3 && std::strcmp(argv[1], "-f") == 0;
    if (argc > 1 && !with_file) {
        std::fputs(usage, help ? stdout : stderr);
        return help ? success : wrong_usage;
    }

    try {
        serve(configure(with_file ? argv[2] : nullptr));
        return success;
    } catch (const std::exception& problem) {
        aplocal::log(aplocal::severity::error, problem.what());
        return failure;
    }
}
