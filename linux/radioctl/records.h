// Writes the records of src/platform/radioctl.h. Pure functions; integers are little-endian, and a
// value that its field cannot hold is clamped.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "nl80211/elements.h"
#include "nl80211/interfaces.h"

namespace radioctl {

// One access point that a scan heard.
struct neighbour {
    nl80211::mac_address bssid{};
    nl80211::bss_description about{};
    int rssi_sum = 0;  // dBm
    int samples = 0;
};

// `record` has RADIOCTL_INFO_SIZE bytes. False when the channel lies outside the bands.
bool write_radio_info(void* record, const nl80211::channel& on);

// `record` has RADIOCTL_ENTRY_SIZE bytes.
void write_active_entry(std::uint8_t* record, const neighbour& heard);

// `record` has RADIOCTL_RRM_SIZE bytes. When there are more neighbours than it holds, the last ones
// are left out.
struct rrm_results {
    bool running = false;
    nl80211::band band = nl80211::band::ghz_2;
    std::vector<neighbour> heard{};
};
void write_rrm_results(void* record, const rrm_results& results);

}  // namespace radioctl
