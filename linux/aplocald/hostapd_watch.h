// Notices when hostapd starts, ends, or changes by itself.
//
// hostapd counts as started when its pid file names a living process that is hostapd, by its name
// or because a process has one of the control sockets open. hostapd writes the file when its
// control sockets are there. It counts as ended when that process has ended, for any reason. The
// kernel reports changes in the folders of the pid file and of the sockets, and the end of the
// process, so nothing is polled. One PING every `ping_pause` finds out whether hostapd hangs. The
// watch reports once that it hangs, and once that it is back.
//
// A hostapd that was killed leaves its pid file, which the daemon takes for a running hostapd. So
// the watch removes a file whose process is gone, and one whose number another process has by now.
//
// Lives on the thread of the loop.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "aplocald/event_loop.h"
#include "aplocald/hostapd_control.h"

namespace aplocal {

class hostapd_watch {
  public:
    struct settings {
        std::string folder = "/run/hostapd";  // the control sockets of the interfaces
        std::string pid_file = "/run/hostapd.pid";
        std::chrono::milliseconds ping_pause = std::chrono::seconds(10);
        std::chrono::milliseconds ping_limit = std::chrono::seconds(1);
    };
    // No callback may destroy the watch.
    struct callbacks {
        std::function<void()> started;
        std::function<void()> stopped;
        // Interfaces or channels have changed, and aplocald did not ask for it.
        std::function<void()> changed;
        // A line for the log: that hostapd hangs, and that it is back.
        std::function<void(const std::string& line)> said;
    };

    // Calls back from the loop only, also when hostapd runs already. Throws std::system_error when
    // the folders cannot be watched.
    hostapd_watch(event_loop& loop, settings s, callbacks c);
    hostapd_watch(const hostapd_watch&) = delete;
    hostapd_watch& operator=(const hostapd_watch&) = delete;
    ~hostapd_watch();

    bool running() const { return process_ >= 0; }
    // The interfaces that hostapd answers for.
    std::set<std::string> interfaces() const;

    // aplocald is about to change something itself: channels and interfaces that change within this
    // time are its own doing. Radar never is.
    void expect_own_changes(std::chrono::milliseconds time = std::chrono::seconds(5));

  private:
    void watch_folder(const std::string& path) const;
    void read_folders();
    void look_soon();
    void look();
    void find_process();
    void process_ended();
    void find_interfaces();
    void add_interface(const std::string& ifname);
    void drop_interface(const std::string& ifname);
    void take_event(const std::string& event);
    void note_change();
    void ping();
    void note_silence(bool silent);
    void ping_later();

    event_loop& loop_;
    const settings settings_;
    const callbacks callbacks_;
    const int folders_;                                  // inotify
    int process_ = -1;                                   // pidfd of hostapd
    std::map<std::string, hostapd_control> interfaces_;  // the connections for their events
    bool hangs_ = false;
    std::chrono::steady_clock::time_point own_changes_until_{};
    std::optional<event_loop::timer> look_timer_;
    std::optional<event_loop::timer> change_timer_;  // runs when there is a change to tell
    std::optional<event_loop::timer> ping_timer_;    // runs while hostapd does
};

// Whether an event of hostapd is a change that the service wants to know.
enum class change { none, may_be_own, of_others };
change change_of(const std::string& event);

}  // namespace aplocal
