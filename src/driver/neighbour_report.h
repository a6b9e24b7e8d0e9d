// Makes the wpa_cli command lines that tell hostapd about a neighbour, with the body of an IEEE
// 802.11 Neighbor Report element in them. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/bands.h"

namespace rfcd {

// What to say about a neighbour of this band. An unknown band gives no operating class.
neighbour_class neighbour_class_of_band(int band);

// The 32-bit number with its bytes in reverse order.
std::uint32_t swap_bytes(std::uint32_t value);

struct neighbour {
    std::string_view bssid;            // colon-separated text
    std::uint32_t bssid_info_swapped;  // swapped, so that its eight digits begin with the low byte
    int channel;
    std::string_view ssid;
    std::uint8_t op_class;
    std::uint8_t phy_type;
};

// `iface` is a system interface name.
std::string set_neighbour_command(std::string_view iface, const neighbour& n);
std::string remove_neighbours_command(std::string_view iface);

}  // namespace rfcd
