// What iw prints about an interface and about a scan, as records: the lab judges by them what the
// daemon reports. Pure text work.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace lab::air {

// A channel as the daemon describes it.
struct channel_view {
    int channel = 0;    // the primary one
    int width = 0;      // MHz
    std::string place;  // of the primary channel: "ll" to "uu", "lower", "upper" or "none"

    bool operator==(const channel_view&) const = default;
};

// "36, 80 MHz (ll)"
std::string description(const channel_view& view);

struct interface_view {
    std::string mac;
    std::string ssid;
    channel_view channel;
    double power = 0;  // dBm
};

// Reads the output of "iw dev NAME info"; what is missing there stays empty.
interface_view read_interface(const std::string& info);

struct heard_view {
    int frequency = 0;  // MHz
    double signal = 0;  // dBm
};

// Reads the output of "iw dev NAME scan", by BSSID.
std::map<std::string, heard_view> read_scan(const std::string& scan);

// How long each scan of an interface took, in milliseconds, in the output of "iw event -t".
std::vector<int> read_scan_times(const std::string& events, const std::string& ifname);

// Where the primary channel lies in a wide one, in the daemon's words.
std::string place_of(int primary_mhz, int centre_mhz, int width);

}  // namespace lab::air
