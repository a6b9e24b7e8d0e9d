#include "base/interface_names.h"

#include <cstdio>
#include <string_view>

namespace rfcd {

std::string radio_ifname(int radio) { return "wlan" + std::to_string(radio); }

std::string vap_ifname(int radio, int vap) {
    return radio_ifname(radio) + "-vap" + std::to_string(vap);
}

std::optional<int> read_radio_id(const std::string& ifname) {
    int radio = 0;
    if (std::sscanf(ifname.c_str(), "wlan%d", &radio) != 1) return std::nullopt;
    return radio;
}

int ifname_to_radio_id(const std::string& ifname) { return read_radio_id(ifname).value_or(-1); }

std::optional<vap_id> read_vap_id(const std::string& ifname) {
    vap_id id{};
    if (std::sscanf(ifname.c_str(), "wlan%d-vap%d", &id.radio, &id.vap) != 2) return std::nullopt;
    return id;
}

std::string vap_to_ifname(const std::string& name) {
    constexpr std::string_view first_vap = "-vap0";
    return name.ends_with(first_vap) ? name.substr(0, name.size() - first_vap.size()) : name;
}

}  // namespace rfcd
