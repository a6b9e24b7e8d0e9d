#include "driver/neighbour_report.h"

#include <cstdio>

namespace rfcd {

namespace {

constexpr const char* control_command = "wpa_cli -g /var/run/hostapd/global raw IFNAME=";

// Wide Bandwidth Channel subelement: identifier, length, channel width.
constexpr const char* wide_channel_head = "060300";

// At least `width` digits.
std::string hex(int width, unsigned value) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%0*x", width, value);
    return digits;
}

std::string byte(int value) { return hex(2, static_cast<unsigned>(value)); }

std::string without_colons(std::string_view bssid) {
    std::string digits;
    for (const char c : bssid) {
        if (c != ':') digits += c;
    }
    return digits;
}

std::string hex_text(std::string_view text) {
    std::string digits;
    for (const char c : text) digits += byte(static_cast<unsigned char>(c));
    return digits;
}

std::string report_body(const neighbour& n) {
    return without_colons(n.bssid) + hex(8, n.bssid_info_swapped) + byte(n.op_class) +
           byte(n.channel) + byte(n.phy_type) + wide_channel_head + byte(n.channel) + byte(0);
}

}  // namespace

neighbour_class neighbour_class_of_band(int band) {
    const auto* const known = find_band(band);
    return known == nullptr ? unknown_neighbour_class : known->neighbour;
}

std::uint32_t swap_bytes(std::uint32_t value) { return __builtin_bswap32(value); }

std::string set_neighbour_command(std::string_view iface, const neighbour& n) {
    return std::string(control_command)
        .append(iface)
        .append(" SET_NEIGHBOR ")
        .append(n.bssid)
        .append(" ssid=")
        .append(hex_text(n.ssid))
        .append(" nr=")
        .append(report_body(n));
}

std::string remove_neighbours_command(std::string_view iface) {
    return std::string(control_command).append(iface).append(" REMOVE_ALL_NEIGHBOR");
}

}  // namespace rfcd
