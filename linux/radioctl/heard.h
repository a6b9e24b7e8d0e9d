// Makes neighbours of the kernel's list of access points: leaves out what a scan did not hear, what
// it was not asked for, and our own access points. Pure functions.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "nl80211/scan.h"
#include "radioctl/records.h"

namespace radioctl {

struct wanted {
    std::int64_t since = 0;                    // nanoseconds of CLOCK_BOOTTIME
    std::vector<std::uint32_t> frequencies{};  // of primary channels, in MHz
    std::vector<nl80211::mac_address> own{};   // BSSIDs of this machine's radios
};

// Each BSSID once, as it was heard last; the strongest first.
std::vector<neighbour> neighbours_in(std::span<const nl80211::bss> list, const wanted& want);

// Adds the samples of a further pass to those of the passes before it.
void add_pass(std::vector<neighbour>& all, const std::vector<neighbour>& pass);

// The BSSIDs of the interfaces that belong to the radios "wlan0" to "wlan2" by their names.
std::vector<nl80211::mac_address> own_bssids(std::span<const nl80211::interface_info> interfaces);

}  // namespace radioctl
