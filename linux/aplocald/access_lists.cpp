#include "aplocald/access_lists.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "aplocald/hostapd_control.h"
#include "aplocald/hostapd_text.h"

namespace aplocal {

namespace {

// hostapd's reply has up to 4096 bytes, and ends before the first line that does not fit.
constexpr std::string_view longest_line = "02:00:00:00:00:00 VLAN_ID=4094\n";
constexpr std::size_t shortest_cut_reply = 4096 - longest_line.size() - 1;

std::vector<std::string> difference(const std::set<std::string>& from,
                                    const std::set<std::string>& without) {
    std::vector<std::string> rest;
    std::set_difference(from.begin(), from.end(), without.begin(), without.end(),
                        std::back_inserter(rest));
    return rest;
}

}  // namespace

std::set<std::string> read_access_list(std::string_view reply) {
    std::set<std::string> macs;
    for (const auto line : split(reply, '\n')) {
        const std::string mac = mac_text(line.substr(0, line.find(' ')));  // "MAC VLAN_ID=0"
        if (!mac.empty()) macs.insert(mac);
    }
    return macs;
}

access_lists::access_lists(std::string folder) : folder_(std::move(folder)) {}

std::optional<access_lists::problem> access_lists::deny(const std::string& ifname,
                                                        const std::set<std::string>& macs) {
    std::set<std::string> wanted;
    for (const auto& mac : macs) {
        if (mac_text(mac).empty()) return problem{"'" + mac + "' is not a MAC address"};
        wanted.insert(mac_text(mac));
    }

    auto control = hostapd_control::open(folder_ + "/" + ifname);
    if (!control) return problem{ifname + ": hostapd has no such interface"};
    const auto shown = control->request("DENY_ACL SHOW");
    if (shown.what != hostapd_control::reply::kind::answer) {
        return problem{.words = ifname + ": hostapd does not reply", .hostapd_is_silent = true};
    }

    // What is not shown cannot be compared, so such a list is made anew.
    const bool whole = shown.text.size() < shortest_cut_reply;
    const auto present = whole ? read_access_list(shown.text) : std::set<std::string>();
    std::vector<std::string> commands;
    if (!whole) commands.emplace_back("CLEAR");
    for (const auto& mac : difference(present, wanted)) commands.push_back("DEL_MAC " + mac);
    for (const auto& mac : difference(wanted, present)) commands.push_back("ADD_MAC " + mac);
    for (const auto& command : commands) {
        const auto reply = control->request("DENY_ACL " + command);
        if (reply.text == "OK") continue;
        return problem{.words = ifname + ": hostapd replied \"" + reply.text + "\" to " + command,
                       .hostapd_is_silent = reply.what == hostapd_control::reply::kind::silent};
    }
    return std::nullopt;
}

}  // namespace aplocal
