#include "aplocald/live_values.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "aplocald/channels.h"
#include "aplocald/json.h"
#include "base/interface_names.h"
#include "base/store_paths.h"

namespace aplocal {

namespace {

std::string truth(bool value) { return value ? "true" : "false"; }

}  // namespace

const live_values::live_path* live_values::find(const std::string& path, std::string& ifname) {
    static constexpr live_path live_paths[] = {
        {"wlan/radio/channel", false, &live_values::channel, false},
        {"wlan/radio/bandwidth", false, &live_values::bandwidth, false},
        {"wlan/radio/control-sideband", false, &live_values::control_sideband, false},
        {"wlan/radio/tx-power", false, &live_values::tx_power, false},
        {"wlan/radio/tx-power-max", false, &live_values::tx_power_max, true},
        {"wlan/radio/tx-power-min", false, &live_values::tx_power_min, true},
        {"wlan/radio/country", false, &live_values::country, false},
        {"common/enabled", true, &live_values::enabled, false},
        {"vap/ssid", true, &live_values::ssid, false},
        {"vap/ap-security/mode", true, &live_values::security_mode, false},
        {"vap/w80211kv-config/enabled", true, &live_values::neighbour_reports, false},
        {"vap/ft-config/enabled", true, &live_values::fast_transition, false},
    };
    constexpr std::string_view head = "/interface/";
    const auto end = path.find('/', head.size());
    if (!path.starts_with(head) || end == std::string::npos) return nullptr;

    const std::string name = path.substr(head.size(), end - head.size());
    const std::string_view rest = std::string_view(path).substr(end + 1);
    for (const auto& row : live_paths) {
        const bool named = row.of_vap ? rfcd::read_vap_id(name).has_value()
                                      : rfcd::read_radio_id(name).has_value();
        if (row.rest != rest || !named) continue;
        ifname = rfcd::vap_to_ifname(name);
        return &row;
    }
    return nullptr;
}

std::optional<std::string> live_values::get(const std::string& path) {
    std::string ifname;
    const live_path* const row = find(path, ifname);
    return row == nullptr ? std::nullopt : (this->*row->get)(ifname);
}

bool live_values::is_decided_elsewhere(const std::string& path) {
    std::string ifname;
    const live_path* const row = find(path, ifname);
    return row != nullptr && !row->storable;
}

std::optional<nl80211::channel> live_values::present_channel(const std::string& radio) {
    const auto info = kernel_.state(radio);
    if (!info || info->on.primary_mhz == 0) return std::nullopt;
    return info->on;
}

live_values::value live_values::channel(const std::string& radio) {
    const auto on = present_channel(radio);
    return on ? value(std::to_string(channel_of_frequency(on->primary_mhz).number)) : std::nullopt;
}

live_values::value live_values::bandwidth(const std::string& radio) {
    const auto on = present_channel(radio);
    return on ? value(std::to_string(on->width_mhz)) : std::nullopt;
}

live_values::value live_values::control_sideband(const std::string& radio) {
    const auto on = present_channel(radio);
    return on ? value(sideband_text(*on)) : std::nullopt;
}

live_values::value live_values::tx_power(const std::string& radio) {
    const auto info = kernel_.state(radio);
    if (!info || !info->tx_power_dbm) return std::nullopt;
    return std::to_string(std::lround(*info->tx_power_dbm));
}

std::optional<int> live_values::highest_power(const std::string& radio) {
    const auto on = present_channel(radio);
    if (!on) return std::nullopt;

    for (const auto& frequency : kernel_.frequencies(radio)) {
        if (frequency.mhz == on->primary_mhz) {
            return static_cast<int>(std::floor(frequency.max_power_dbm));
        }
    }
    return std::nullopt;
}

std::optional<int> live_values::stored_number(const std::string& path) const {
    const auto stored = limits_.get(path);
    const std::string digits = stored ? plain_text_of(*stored) : "";
    int number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc{} && rest == end && !digits.empty() ? std::optional(number)
                                                                  : std::nullopt;
}

// The operator may set a lower limit than the kernel's, but not a higher one.
live_values::value live_values::tx_power_max(const std::string& radio) {
    const auto kernels = highest_power(radio);
    if (!kernels) return std::nullopt;
    const auto own = stored_number(rfcd::radio_setting_path(radio, "tx-power-max"));
    return std::to_string(std::min(*kernels, own.value_or(*kernels)));
}

// The kernel names no least power.
live_values::value live_values::tx_power_min(const std::string& radio) {
    const auto kernels = highest_power(radio);
    if (!kernels) return std::nullopt;
    const auto own = stored_number(rfcd::radio_setting_path(radio, "tx-power-min"));
    return std::to_string(std::min(*kernels, own.value_or(0)));
}

live_values::value live_values::country(const std::string& radio) {
    const std::string letters = kernel_.country(radio);
    return letters.empty() ? std::nullopt : value(letters);
}

live_values::value live_values::enabled(const std::string& vap) { return truth(hostapd_.has(vap)); }

live_values::value live_values::ssid(const std::string& vap) {
    const auto facts = hostapd_.vap(vap);
    return facts ? value(facts->ssid) : std::nullopt;
}

live_values::value live_values::security_mode(const std::string& vap) {
    const auto facts = hostapd_.vap(vap);
    return facts ? value(facts->security_mode) : std::nullopt;
}

live_values::value live_values::neighbour_reports(const std::string& vap) {
    const auto facts = hostapd_.vap(vap);
    return facts ? value(truth(facts->neighbour_reports)) : std::nullopt;
}

live_values::value live_values::fast_transition(const std::string& vap) {
    const auto facts = hostapd_.vap(vap);
    return facts ? value(truth(facts->fast_transition)) : std::nullopt;
}

}  // namespace aplocal
