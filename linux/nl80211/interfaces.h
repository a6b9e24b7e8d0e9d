// What the kernel knows about a wireless interface, and what can be set on it. Each function asks
// the kernel anew, and returns 0 or a negative error number: -ENODEV for a name that no interface
// has, -EPERM without the right to change a radio.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nl80211/connection.h"

namespace nl80211 {

using mac_address = std::array<std::uint8_t, 6>;

// The channel that an interface is on. All zero for an interface that is on none.
struct channel {
    int primary_mhz = 0;
    int width_mhz = 0;  // 80+80 MHz counts as the 80 MHz segment that holds the primary channel
    int centre_mhz = 0;

    bool operator==(const channel&) const = default;
};

struct interface_info {
    std::uint32_t index = 0;
    std::uint32_t wiphy = 0;  // the radio that it belongs to
    std::string name{};
    bool is_access_point = false;
    mac_address mac{};
    std::string ssid{};  // of an access point that runs
    channel on{};
    std::optional<double> tx_power_dbm{};
};

int read_interface(connection& kernel, const std::string& name, interface_info& info);

// All wireless interfaces of the network namespace.
int list_interfaces(connection& kernel, std::vector<interface_info>& list);

// Sets the transmit power of the interface; drivers take whole dBm only.
int set_tx_power(connection& kernel, const std::string& name, int dbm);

}  // namespace nl80211
