#include "aplocald/hostapd_watch.h"

#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "base/files.h"

namespace aplocal {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Files come and go in bursts when hostapd starts and stops.
constexpr milliseconds burst{100};
// A change comes with several events, such as that of each VAP of a radio.
constexpr milliseconds change_burst{1000};

constexpr struct {
    std::string_view begin;
    change what;
} known_events[] = {
    {"AP-ENABLED", change::may_be_own},         {"AP-DISABLED", change::may_be_own},
    {"AP-CSA-FINISHED", change::may_be_own},    {"INTERFACE-ENABLED", change::may_be_own},
    {"INTERFACE-DISABLED", change::may_be_own}, {"DFS-NEW-CHANNEL", change::of_others},
    {"DFS-RADAR-DETECTED", change::of_others},
};

// 0 when the file does not name a process.
pid_t read_pid(const std::string& path) {
    std::ifstream file(path);
    pid_t pid = 0;
    return file >> pid && pid > 0 ? pid : 0;
}

int open_process(pid_t pid) { return static_cast<int>(syscall(SYS_pidfd_open, pid, 0)); }

std::vector<std::string> sockets_in(const std::string& folder) {
    std::error_code ignored;
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        if (entry.is_socket(ignored)) names.push_back(entry.path().filename());
    }
    return names;
}

// The names of the interfaces that have a control socket in the folder.
std::vector<std::string> interface_sockets(const std::string& folder) {
    auto names = sockets_in(folder);
    std::erase_if(names, [](const std::string& name) { return name.starts_with("global"); });
    return names;
}

// Whether the process that a pid file names is hostapd. A hostapd that hangs is one too, so nothing
// is asked. A hostapd that was installed under another name shows by its sockets, which it makes
// before the file.
bool is_hostapd(pid_t pid, const std::string& folder) {
    const auto name = rfcd::read_text_file("/proc/" + std::to_string(pid) + "/comm");
    if (name == "hostapd\n") return true;

    const auto sockets = sockets_in(folder);
    return std::any_of(sockets.begin(), sockets.end(), [&folder](const std::string& socket) {
        return hostapd_control::open(folder + "/" + socket).has_value();
    });
}

}  // namespace

hostapd_watch::hostapd_watch(event_loop& loop, settings s, callbacks c)
    : loop_(loop),
      settings_(std::move(s)),
      callbacks_(std::move(c)),
      folders_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (folders_ < 0) throw std::system_error(errno, std::generic_category(), "inotify");

    watch_folder(std::filesystem::path(settings_.pid_file).parent_path());
    loop_.watch(folders_, [this] { read_folders(); });
    look_soon();
}

hostapd_watch::~hostapd_watch() {
    for (const auto timer : {look_timer_, change_timer_, ping_timer_}) {
        if (timer) loop_.cancel(*timer);
    }
    while (!interfaces_.empty()) drop_interface(interfaces_.begin()->first);
    if (process_ >= 0) {
        loop_.forget(process_);
        close(process_);
    }
    loop_.forget(folders_);
    close(folders_);
}

std::set<std::string> hostapd_watch::interfaces() const {
    std::set<std::string> names;
    for (const auto& [ifname, events] : interfaces_) names.insert(ifname);
    return names;
}

void hostapd_watch::expect_own_changes(milliseconds time) {
    own_changes_until_ = steady_clock::now() + time;
}

// Watching a folder again changes nothing, so it is done whenever hostapd may have made it.
void hostapd_watch::watch_folder(const std::string& path) const {
    inotify_add_watch(folders_, path.c_str(),
                      IN_CREATE | IN_DELETE | IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR);
}

void hostapd_watch::read_folders() {
    alignas(inotify_event) std::array<char, 4096> buffer;
    const auto pid_name = std::filesystem::path(settings_.pid_file).filename().string();
    const auto folder_name = std::filesystem::path(settings_.folder).filename().string();

    ssize_t size = 0;
    while ((size = read(folders_, buffer.data(), buffer.size())) > 0) {
        for (ssize_t at = 0; at < size;) {
            inotify_event event;
            std::memcpy(&event, buffer.data() + at, sizeof event);
            const std::string name = event.len == 0 ? "" : buffer.data() + at + sizeof event;
            at += static_cast<ssize_t>(sizeof event + event.len);

            if ((event.mask & IN_DELETE) != 0) drop_interface(name);
            const bool socket = name != pid_name && name != folder_name;
            if (!socket || process_ >= 0) look_soon();
        }
    }
}

void hostapd_watch::look_soon() {
    if (!look_timer_) look_timer_ = loop_.after(burst, [this] { look(); });
}

void hostapd_watch::look() {
    look_timer_.reset();
    watch_folder(settings_.folder);

    const bool was_running = running();
    const auto known = interfaces();
    if (!was_running) find_process();
    if (!running()) return;

    if (!hangs_) find_interfaces();
    if (!was_running) {
        ping_later();
        if (callbacks_.started) callbacks_.started();
    } else if (interfaces() != known) {
        note_change();
    }
}

void hostapd_watch::find_process() {
    const pid_t pid = read_pid(settings_.pid_file);
    if (pid == 0) return;

    const int process = open_process(pid);
    const bool gone = process < 0 && errno == ESRCH;
    const bool other = process >= 0 && !is_hostapd(pid, settings_.folder);
    if (gone || other) unlink(settings_.pid_file.c_str());
    if (other) close(process);
    if (process < 0 || other) return;

    process_ = process;
    loop_.watch(process_, [this] { process_ended(); });
}

void hostapd_watch::process_ended() {
    while (!interfaces_.empty()) drop_interface(interfaces_.begin()->first);
    loop_.forget(process_);
    close(std::exchange(process_, -1));
    hangs_ = false;
    for (auto* timer : {&change_timer_, &ping_timer_}) {
        if (*timer) loop_.cancel(**timer);
        timer->reset();
    }

    look_soon();  // removes the pid file if it was left, and finds the next hostapd
    if (callbacks_.stopped) callbacks_.stopped();
}

// Stops at the first request that hostapd does not reply to. Each further request would time out
// too; ping() finds out when hostapd is back.
void hostapd_watch::find_interfaces() {
    for (const auto& ifname : interface_sockets(settings_.folder)) {
        if (hangs_) return;
        if (!interfaces_.contains(ifname)) add_interface(ifname);
    }
}

void hostapd_watch::add_interface(const std::string& ifname) {
    auto events = hostapd_control::open(settings_.folder + "/" + ifname);
    if (!events) return;

    const auto reply = events->attach([this](const std::string& event) { take_event(event); },
                                      settings_.ping_limit);
    note_silence(reply.what == hostapd_control::reply::kind::silent);
    if (reply.text != "OK") return;

    const auto added = interfaces_.emplace(ifname, std::move(*events)).first;
    loop_.watch(added->second.descriptor(), [this, ifname] {
        const auto found = interfaces_.find(ifname);
        if (found != interfaces_.end()) found->second.read_events();
    });
}

void hostapd_watch::drop_interface(const std::string& ifname) {
    const auto found = interfaces_.find(ifname);
    if (found == interfaces_.end()) return;

    const bool last_of_all = interfaces_.size() == 1;
    loop_.forget(found->second.descriptor());
    interfaces_.erase(found);
    if (!last_of_all) note_change();
}

void hostapd_watch::take_event(const std::string& event) {
    const change what = change_of(event);
    if (what == change::none) return;

    const bool own = what == change::may_be_own && steady_clock::now() < own_changes_until_;
    if (!own) note_change();
}

void hostapd_watch::note_change() {
    if (change_timer_) return;
    change_timer_ = loop_.after(change_burst, [this] {
        change_timer_.reset();
        if (running() && callbacks_.changed) callbacks_.changed();
    });
}

void hostapd_watch::ping_later() {
    ping_timer_ = loop_.after(settings_.ping_pause, [this] { ping(); });
}

void hostapd_watch::ping() {
    ping_later();
    std::optional<hostapd_control> control;
    for (const auto& ifname : interface_sockets(settings_.folder)) {
        control = hostapd_control::open(settings_.folder + "/" + ifname);
        if (control) break;
    }
    if (!control) return;

    using kind = hostapd_control::reply::kind;
    const auto reply = control->request("PING", settings_.ping_limit).what;
    if (reply == kind::gone) return;
    note_silence(reply == kind::silent);
}

void hostapd_watch::note_silence(bool silent) {
    if (silent == hangs_) return;
    hangs_ = silent;

    if (callbacks_.said) {
        callbacks_.said(silent ? "hostapd does not reply" : "hostapd replies again");
    }
    if (!silent) look_soon();
}

change change_of(const std::string& event) {
    for (const auto& known : known_events) {
        if (event.starts_with(known.begin)) return known.what;
    }
    return change::none;
}

}  // namespace aplocal
