// One datagram connection to a control socket of hostapd: that of an interface,
// /run/hostapd/IFNAME, or the global one. Requests wait for their reply within a limit, whatever
// hostapd does. Belongs to one thread.
//
// A connection lives longer than the hostapd behind it: when hostapd has gone or has let a request
// time out, the next request connects anew. A late reply goes to the old address, so it is never
// taken for the reply to a later request.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct wpa_ctrl;

namespace aplocal {

class hostapd_control {
  public:
    struct reply {
        enum class kind {
            answer,  // `text` is what hostapd said
            silent,  // the socket is there, but hostapd did not reply within the limit
            gone     // nobody has the socket
        } what;
        std::string text;
    };
    // Gets "AP-ENABLED " and the like, without the priority before it. Events of the global socket
    // begin with the interface: "IFNAME=wlan1 AP-ENABLED ".
    using event_handler = std::function<void(const std::string& event)>;

    static constexpr std::chrono::milliseconds default_limit{2000};

    // Null when nobody has the socket.
    static std::optional<hostapd_control> open(const std::string& socket_path);

    // Sends `command` and waits for the reply; a newline at its end is cut. Events that come
    // meanwhile go to the handler of attach().
    reply request(const std::string& command, std::chrono::milliseconds limit = default_limit);

    // Asks hostapd for its events, which it agrees to with "OK". They end when hostapd goes; open a
    // new connection then.
    reply attach(event_handler handler, std::chrono::milliseconds limit = default_limit);
    // Hands the events that have come to the handler, without waiting. Call it when descriptor() is
    // readable.
    void read_events();
    // For poll(); -1 when not connected. It changes when a request connects anew.
    int descriptor() const;

  private:
    struct closer {
        void operator()(wpa_ctrl* connection) const;
    };
    enum class outcome { done, timed_out, refused };

    explicit hostapd_control(const std::string& socket_path);
    bool connect();
    outcome send(const std::string& command, std::chrono::steady_clock::time_point deadline);
    outcome receive(std::string& text, std::chrono::steady_clock::time_point deadline);
    bool take_event(const std::string& datagram) const;

    std::string path_;
    std::unique_ptr<wpa_ctrl, closer> connection_;  // null after a failure
    event_handler on_event_;
};

// The text of an event without its priority: "<3>AP-ENABLED " and "IFNAME=wlan1 <3>AP-ENABLED " are
// events, and everything else is a reply, which gives null.
std::optional<std::string> read_event(std::string_view datagram);

}  // namespace aplocal
