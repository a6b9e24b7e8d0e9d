// Makes and reads the names of radios and virtual access points (VAPs): "wlan1" is radio 1,
// "wlan1-vap3" is its VAP 3.
#pragma once

#include <optional>
#include <string>

namespace rfcd {

std::string radio_ifname(int radio);
std::string vap_ifname(int radio, int vap);

// The radio number that a radio or VAP name begins with, whether such a radio exists or not.
std::optional<int> read_radio_id(const std::string& ifname);
// The same; -1 when there is none.
int ifname_to_radio_id(const std::string& ifname);

struct vap_id {
    int radio;
    int vap;
};
// Null for a name that is not the name of a VAP.
std::optional<vap_id> read_vap_id(const std::string& ifname);

// The system's name for an interface: VAP 0 has the name of its radio.
std::string vap_to_ifname(const std::string& name);

}  // namespace rfcd
