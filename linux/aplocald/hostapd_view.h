// What hostapd says about its virtual access points (VAPs). The daemon reads some 35 values in a
// row to describe itself, so the answers are kept for a second, or until hostapd reports a change.
// While hostapd hangs, its last answers count: what is on the air has not changed either, and only
// one request in ten seconds waits for it. For the thread of the loop.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "aplocald/hostapd_control.h"

namespace aplocal {

struct vap_facts {
    std::string ssid;           // the bytes, decoded
    std::string security_mode;  // as read_security_mode() has it
    bool fast_transition = false;
    bool neighbour_reports = false;
};

class hostapd_view {
  public:
    // Sends a command to the global control socket.
    using request_function = std::function<hostapd_control::reply(const std::string& command)>;

    explicit hostapd_view(request_function request) : request_(std::move(request)) {}

    bool has(const std::string& ifname) { return interfaces().contains(ifname); }
    const std::set<std::string, std::less<>>& interfaces();
    // Null when hostapd does not run, has no such VAP, or has hung since aplocald started.
    std::optional<vap_facts> vap(const std::string& ifname);

    // Asks anew the next time.
    void forget() { next_look_ms_ = 0; }

  private:
    struct known_vap {
        std::uint64_t look;  // in which it was read
        std::optional<vap_facts> facts;
    };

    void look();
    std::optional<std::string> ask(const std::string& command);
    std::optional<vap_facts> read_vap(const std::string& ifname);

    const request_function request_;
    std::int64_t next_look_ms_ = 0;
    std::uint64_t look_ = 0;  // counts the successful ones
    bool silent_ = false;     // it let the last request time out
    std::set<std::string, std::less<>> interfaces_;
    std::map<std::string, known_vap> vaps_;
};

// The security of a VAP in the words of the configuration store, from the reply to GET_CONFIG:
// "OPEN", "OWE", "WPA2-PSK", "WPA3-SAE", "WPA2_WPA3-PSK", "WPA2_1X", "WPA3_1X" and so on. Modes
// that still admit the first WPA begin with "WPA_" or "WPA-".
std::string read_security_mode(std::string_view get_config);

// Undoes hostapd's escapes: \" \\ \e \n \r \t and \xNN.
std::string unescape(std::string_view text);

}  // namespace aplocal
