// Scans: starts and ends them, and reads the list of access points that the kernel keeps for a
// radio. Each function returns 0 or a negative error number, and none waits for a scan.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "nl80211/connection.h"
#include "nl80211/interfaces.h"

namespace nl80211 {

enum class scan_kind {
    active,  // sends probe requests to everybody, where the regulatory domain allows it
    passive  // only listens
};

// Starts a scan of these frequencies in MHz, also on an access point that runs. -EBUSY while
// another scan of the radio runs; -EOPNOTSUPP when the driver cannot scan on an access point.
int trigger_scan(connection& kernel, std::uint32_t interface_index, scan_kind kind,
                 std::span<const std::uint32_t> frequencies);

// Ends the scan of the interface's radio, whoever started it. 0 also when none runs.
int abort_scan(connection& kernel, std::uint32_t interface_index);

// CLOCK_BOOTTIME in nanoseconds, with which the list tells when an access point was heard.
std::int64_t boot_time_now();

// One entry of the kernel's list.
struct bss {
    mac_address bssid{};
    int mhz = 0;  // of the channel on which it was heard
    int signal_dbm = 0;
    std::int64_t heard_at = 0;             // last frame, in nanoseconds of CLOCK_BOOTTIME
    std::vector<std::uint8_t> elements{};  // of its probe response or beacon
};

// All that the radio has heard lately, by any scan. An access point can be in the list twice, such
// as one that has moved to another channel.
int read_bss_list(connection& kernel, std::uint32_t interface_index, std::vector<bss>& list);

}  // namespace nl80211
