// Reads the radio library's records: bytes in, values out. No function reads beyond its record,
// whatever the record says: a text ends at the end of its field at the latest, and a count is cut
// to what the buffer holds. Pure functions.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "driver/chanspec.h"
#include "driver/mac_addr.h"
#include "platform/radioctl.h"

namespace rfcd {

using record_bytes = std::span<const std::uint8_t>;

// One neighbouring BSS found by a scan.
struct scan_result {
    libnetworkd::MacAddr bssid;
    std::int32_t rssi = 0;
    std::int32_t channel = 0;    // primary
    std::int32_t bandwidth = 0;  // MHz
    std::int32_t tx_power = 0;   // dBm; 0 after an active scan, which does not report it
    std::int32_t sideband = 0;   // chanspec sideband bits
    std::int32_t band = 0;

    bool operator==(const scan_result&) const = default;
};

// `record` has RADIOCTL_INFO_SIZE bytes. A bandwidth that is not a number reads as 0.
radio_channel read_radio_info(record_bytes record);

// `record` has RADIOCTL_ENTRY_SIZE bytes. An unknown sideband text counts as "LL".
scan_result read_active_entry(record_bytes record);

// The head of an RRM result buffer, which has RADIOCTL_RRM_SIZE bytes.
struct rrm_scan_head {
    std::uint32_t magic = 0;
    bool running = false;
    std::int32_t count = 0;  // as the library reports it; it may be wrong
    std::int32_t band = 0;
};
rrm_scan_head read_rrm_head(record_bytes buffer);

struct rrm_scan_entry {
    libnetworkd::MacAddr bssid;
    std::int32_t rssi = 0;  // mean of the samples, 0 without samples
    std::int32_t tx_power = 0;
    chanspec_t chanspec = 0;  // of a wide channel, its number is that of the centre
};

// Reads as many entries as the head counts, but never more than the buffer holds.
std::vector<rrm_scan_entry> read_rrm_entries(record_bytes buffer);

}  // namespace rfcd
