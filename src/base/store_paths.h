// The paths of radio and VAP settings in the configuration store. docs/bus.md lists all settings
// and what they mean.
#pragma once

#include <string>
#include <string_view>

namespace rfcd {

// "tx-power" of "wlan0" is "/interface/wlan0/wlan/radio/tx-power".
std::string radio_setting_path(std::string_view radio_ifname, std::string_view setting);

// The same, cut to 63 characters: the daemon reads some settings by such a path.
std::string short_radio_setting_path(std::string_view radio_ifname, std::string_view setting);

// "vap/ssid" of "wlan0-vap3" is "/interface/wlan0-vap3/vap/ssid".
std::string vap_setting_path(std::string_view vap_ifname, std::string_view setting);

// Settings that are read in more than one place.
inline constexpr std::string_view security_mode_setting = "vap/ap-security/mode";

}  // namespace rfcd
