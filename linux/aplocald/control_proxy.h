// Owns the global control socket that the daemon's wpa_cli speaks to, and passes everything on to
// the global socket of hostapd, which listens on another path. One command is carried out here,
// because hostapd does not know it: "IFNAME=x REMOVE_ALL_NEIGHBOR" (neighbour_lists.h).
//
// Each client gets a connection of its own to hostapd, so hostapd tells clients apart as it would
// without the proxy: each reply and event reaches the client that it is for. The proxy never
// blocks. When hostapd does not read, the proxy stops reading its own socket, so that clients wait
// as they would for hostapd. When a client has left 200 KiB unread, all clients are dropped and the
// socket is made anew; with hostapd alone, hostapd would stand still then. If that fails, the
// proxy tries again until it succeeds.
//
// Lives on the thread of the loop. Create it when hostapd has started and destroy it when hostapd
// has gone, so that clients find nobody at the socket, as they would without the proxy.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "aplocald/event_loop.h"
#include "aplocald/neighbour_lists.h"
#include "aplocald/unix_socket.h"

namespace aplocal {

class control_proxy {
  public:
    struct settings {
        std::string path = "/var/run/hostapd/global";         // the clients' side
        std::string hostapd = "/run/hostapd/global.hostapd";  // what hostapd is given with -g
        std::optional<gid_t> group;                           // may use the socket; or only root
        // Drops a client that was quiet for this long, unless it is attached and still there.
        std::chrono::milliseconds idle_limit = std::chrono::seconds(10);
        // How long a reply of hostapd may take while a list is emptied.
        std::chrono::milliseconds reply_limit = std::chrono::seconds(5);
        // How long a request that hostapd does not take is held, before the client gets "FAIL":
        // as long as hostapd's own client waits.
        std::chrono::milliseconds hold_limit = std::chrono::seconds(5);
        // Before the next try when the socket could not be made anew.
        std::chrono::milliseconds listen_pause = std::chrono::seconds(5);
        // Gets a line for the log: that the socket cannot be made anew, and that it is there again.
        std::function<void(const std::string& line)> said = {};
    };
    static constexpr std::size_t max_clients = 256;

    // Throws std::runtime_error when a living process has the socket, or when it cannot be made. A
    // socket that a dead process left behind is replaced.
    control_proxy(event_loop& loop, settings s);
    control_proxy(const control_proxy&) = delete;
    control_proxy& operator=(const control_proxy&) = delete;
    ~control_proxy();

    std::size_t clients() const { return clients_.size(); }

  private:
    using clock = std::chrono::steady_clock;
    struct removal {
        unix_socket hostapd;
        neighbour_removal steps;
        event_loop::timer limit;
    };
    struct client {
        unix_address address;
        unix_socket hostapd;
        clock::time_point last_heard;
        bool attached = false;  // has asked for events
        std::unique_ptr<removal> emptying;
    };
    struct held_request {
        unix_address sender;
        std::string text;
        clock::time_point since;
    };

    void listen();
    void stop_listening();
    unix_socket::outcome reply(const unix_address& to, const std::string& text);
    void take_new_socket();
    void say(const std::string& line) const;
    void read_clients();
    void take_request(const unix_address& sender, const std::string& text);
    void refuse(const unix_address& sender);
    client* client_at(const unix_address& address);
    client* add_client(const unix_address& address);
    void drop_client(const std::string& name);
    void drop_longest_idle();

    unix_socket::outcome pass_on(client& from, const std::string& text);
    void hold(const unix_address& sender, const std::string& text);
    void retry_held();
    void read_hostapd(const std::string& name);

    void start_removal(client& of, const std::string& ifname);
    void read_removal(const std::string& name);
    void send_removal(client& of, const std::optional<std::string>& request);
    void end_removal(client& of, const std::string& result);

    void drop_idle_clients();
    void watch_idle_clients();

    event_loop& loop_;
    const settings settings_;
    const unix_address hostapd_;
    unix_socket socket_;
    bool listening_ = false;                 // so the file at the path is ours to remove
    bool complained_ = false;                // since it was listening
    std::map<std::string, client> clients_;  // by the name of their address
    std::optional<held_request> held_;
    std::optional<event_loop::timer> retry_timer_;
    std::optional<event_loop::timer> new_socket_timer_;
    std::optional<event_loop::timer> idle_timer_;  // runs while there are clients
};

}  // namespace aplocal
