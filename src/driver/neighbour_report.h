// The text forms in which hostapd is told of a neighbour: the body of an IEEE 802.11 Neighbor
// Report element, and the commands for hostapd's global control socket. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/bands.h"

namespace rfcd {

// For a number that is not the number of a band: a neighbour without operating class.
neighbour_class neighbour_class_of_band(int band);

// The 32-bit number with its bytes in reverse order.
std::uint32_t swap_bytes(std::uint32_t value);

struct neighbour {
    std::string_view bssid;            // colon-separated text
    std::uint32_t bssid_info_swapped;  // so that eight digits give the low byte first
    int channel;
    std::string_view ssid;
    std::uint8_t op_class;
    std::uint8_t phy_type;
};

// `iface` is a system interface name.
std::string set_neighbour_command(std::string_view iface, const neighbour& n);
std::string remove_neighbours_command(std::string_view iface);

}  // namespace rfcd
