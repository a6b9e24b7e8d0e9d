// The values of the configuration store that hostapd or the kernel know. They are read from there
// each time, so that the store cannot contradict what is on the air. For the thread of the loop.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "aplocald/hostapd_view.h"
#include "aplocald/radios.h"
#include "aplocald/store.h"

namespace aplocal {

class live_values {
  public:
    // All of them outlive this object. `limits` has the operator's own limits of the powers.
    live_values(hostapd_view& hostapd, radios& kernel, const store& limits)
        : hostapd_(hostapd), kernel_(kernel), limits_(limits) {}

    // Null for a path that is not a live value, and for one that nobody knows at the moment.
    std::optional<std::string> get(const std::string& path);

    // Whether the value at this path comes from hostapd or the kernel, and cannot be stored.
    static bool is_decided_elsewhere(const std::string& path);

    // In dBm: what the radio may send with on its present channel; null when the kernel does not
    // know.
    std::optional<int> highest_power(const std::string& radio);

  private:
    using value = std::optional<std::string>;
    // `ifname` is the system's name: "wlan1" for radio 1 and for its VAP 0.
    using getter = value (live_values::*)(const std::string& ifname);
    struct live_path {
        std::string_view rest;  // behind "/interface/NAME/"
        bool of_vap;
        getter get;
        bool storable;
    };
    static const live_path* find(const std::string& path, std::string& ifname);

    value channel(const std::string& radio);
    value bandwidth(const std::string& radio);
    value control_sideband(const std::string& radio);
    value tx_power(const std::string& radio);
    value tx_power_max(const std::string& radio);
    value tx_power_min(const std::string& radio);
    value country(const std::string& radio);
    value enabled(const std::string& vap);
    value ssid(const std::string& vap);
    value security_mode(const std::string& vap);
    value neighbour_reports(const std::string& vap);
    value fast_transition(const std::string& vap);

    std::optional<nl80211::channel> present_channel(const std::string& radio);
    std::optional<int> stored_number(const std::string& path) const;

    hostapd_view& hostapd_;
    radios& kernel_;
    const store& limits_;
};

}  // namespace aplocal
