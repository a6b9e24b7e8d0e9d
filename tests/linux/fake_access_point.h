// A hostapd and radios that the tests of aplocald move by hand.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "aplocald/hostapd_control.h"
#include "aplocald/radios.h"
#include "harness/fakes/fake_clock.h"

namespace fakes {

using aplocal::hostapd_control;
using kind = hostapd_control::reply::kind;

struct fake_hostapd {
    kind mood = kind::answer;
    std::map<std::string, std::string> replies;  // by command; others get "FAIL"
    std::vector<std::string> commands;

    hostapd_control::reply operator()(const std::string& command) {
        commands.push_back(command);
        if (mood == kind::silent) fake_clock::advance(1);
        if (mood != kind::answer) return {mood, ""};
        const auto found = replies.find(command);
        return {mood, found == replies.end() ? "FAIL" : found->second};
    }
};

// Radio wlan1 on channel 36 with 80 MHz and 20 dBm, of at most 23.4 dBm.
struct fake_radios : aplocal::radios {
    std::map<std::string, nl80211::interface_info> interfaces{
        {"wlan1", {.name = "wlan1", .ssid = "office", .on = {5180, 80, 5210}, .tx_power_dbm = 20}}};
    std::vector<nl80211::frequency> list{{.mhz = 5180, .max_power_dbm = 23.4},
                                         {.mhz = 5220, .max_power_dbm = 17}};
    std::string letters = "DE";
    double power_offset = 0;  // what the kernel makes of a power
    std::string refusal;      // of a power

    std::optional<nl80211::interface_info> state(const std::string& ifname) override {
        const auto found = interfaces.find(ifname);
        return found == interfaces.end() ? std::nullopt : std::optional(found->second);
    }
    std::vector<nl80211::frequency> frequencies(const std::string&) override { return list; }
    std::string country(const std::string&) override { return letters; }
    std::optional<std::string> set_tx_power(const std::string& ifname, int dbm) override {
        if (!refusal.empty()) return refusal;
        interfaces[ifname].tx_power_dbm = dbm + power_offset;
        return std::nullopt;
    }
};

}  // namespace fakes
