#include "base/store_paths.h"

namespace rfcd {

namespace {

std::string interface_path(std::string_view ifname, std::string_view rest) {
    return std::string("/interface/").append(ifname).append("/").append(rest);
}

}  // namespace

std::string radio_setting_path(std::string_view radio_ifname, std::string_view setting) {
    return interface_path(radio_ifname, "wlan/radio/").append(setting);
}

std::string short_radio_setting_path(std::string_view radio_ifname, std::string_view setting) {
    constexpr std::size_t max_length = 63;
    return radio_setting_path(radio_ifname, setting).substr(0, max_length);
}

std::string vap_setting_path(std::string_view vap_ifname, std::string_view setting) {
    return interface_path(vap_ifname, setting);
}

}  // namespace rfcd
