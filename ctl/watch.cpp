#include "ctl/watch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "ctl/exit_status.h"
#include "ctl/observation.h"
#include "ctl/report.h"

namespace ctl {

namespace {

constexpr const char* folder = "/run/rfcd";

// Keys arrive at once and unechoed while this object lives.
class key_mode {
  public:
    key_mode() {
        tcgetattr(STDIN_FILENO, &before_);
        set();
    }
    key_mode(const key_mode&) = delete;
    key_mode& operator=(const key_mode&) = delete;
    ~key_mode() { tcsetattr(STDIN_FILENO, TCSANOW, &before_); }

    // Also after a pause by Ctrl-Z, because the shell sets the terminal back.
    void set() const {
        termios mode = before_;
        mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &mode);
    }

  private:
    termios before_{};
};

// The signals that end the watching, and the one that follows a pause.
int open_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGCONT}) sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

// Writes over the last picture, so that nothing flickers.
void draw(const std::string& service) {
    constexpr const char* home = "\x1b[H";
    constexpr const char* clear_to_line_end = "\x1b[K";
    constexpr const char* clear_to_end = "\x1b[J";

    std::string picture = home;
    for (const auto& seen : observe(service)) {
        for (const char c : person_report(seen)) {
            if (c == '\n') picture += clear_to_line_end;
            picture += c;
        }
    }
    picture += std::string("q: end") + clear_to_end;
    std::fwrite(picture.data(), 1, picture.size(), stdout);
    std::fflush(stdout);
}

void drop_events(int changes) {
    char events[4096];
    while (read(changes, events, sizeof events) > 0) continue;
}

// False when the signal ends the watching.
bool take_signal(int signals, const key_mode& keys) {
    signalfd_siginfo signal{};
    if (read(signals, &signal, sizeof signal) != sizeof signal) return true;
    if (signal.ssi_signo != SIGCONT) return false;
    keys.set();
    return true;
}

// False when q was typed, or the terminal has gone.
bool take_key() {
    char key = 0;
    return read(STDIN_FILENO, &key, 1) == 1 && key != 'q' && key != 'Q';
}

}  // namespace

int run_watch(const std::string& service) {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
        std::fputs("rfcdctl: watch needs a terminal\n", stderr);
        return exit_usage;
    }
    const int signals = open_signals();
    const key_mode keys;
    const int changes = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    std::fputs("\x1b[2J", stdout);

    bool goes_on = true;
    while (goes_on) {
        // Each time, because the folder may have come only now.
        inotify_add_watch(changes, folder, IN_MOVED_TO | IN_DELETE);
        drop_events(changes);
        draw(service);

        constexpr int second = 1000;
        pollfd sources[] = {{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                            {.fd = signals, .events = POLLIN, .revents = 0},
                            {.fd = changes, .events = POLLIN, .revents = 0}};
        poll(sources, std::size(sources), second);
        if (sources[0].revents != 0) goes_on = take_key();
        if (sources[1].revents != 0 && !take_signal(signals, keys)) goes_on = false;
    }
    std::fputs("\n", stdout);
    return exit_good;
}

}  // namespace ctl
