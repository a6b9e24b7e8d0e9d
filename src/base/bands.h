// The frequency bands, in the order of the radios: one row holds what the daemon knows about a
// band. Constants and pure functions, for any thread.
#pragma once

#include <cstdint>

namespace rfcd {

inline constexpr int band_unknown = 0;

// Bits of the BSSID Information field (IEEE Std 802.11-2020, 9.4.2.36; the last one is from IEEE
// Std 802.11ax-2021).
inline constexpr std::uint32_t bssid_info_reachable = 0x3;
inline constexpr std::uint32_t bssid_info_security = 0x4;  // secured as the reporting VAP is
inline constexpr std::uint32_t bssid_info_qos = 0x20;
inline constexpr std::uint32_t bssid_info_apsd = 0x40;
inline constexpr std::uint32_t bssid_info_ht = 0x800;
inline constexpr std::uint32_t bssid_info_vht = 0x1000;
inline constexpr std::uint32_t bssid_info_ftm = 0x2000;     // fine timing measurement
inline constexpr std::uint32_t bssid_info_6ghz = 0x100000;  // co-located with a 6 GHz access point

// What a Neighbor Report element says about an access point of a band.
struct neighbour_class {
    std::uint32_t bssid_info;
    std::uint8_t op_class;  // global operating class: Table E-4
    std::uint8_t phy_type;  // dot11PHYType of IEEE Std 802.11-2020, Annex C: 7 is HT, 9 is VHT
};

inline constexpr std::uint32_t bssid_info_any_band =
    bssid_info_reachable | bssid_info_qos | bssid_info_apsd | bssid_info_ht;
inline constexpr neighbour_class unknown_neighbour_class{
    .bssid_info = bssid_info_any_band, .op_class = 0, .phy_type = 0};

struct band_info {
    int number;                 // of the band, for the driver and the service
    const char* key;            // in the service's list of channels to scan
    int start_mhz;              // centre of channel 0: channel starting frequency of Table E-4
    int default_channel;        // of a radio that is down
    int full_scan_seconds;      // time of an active scan with an empty channel list
    neighbour_class neighbour;  // an access point of this band
};

// Channel starting frequencies and operating classes: IEEE Std 802.11-2020, Table E-4, classes 81
// and 115; for 6 GHz the frequency is that of class 131 in Table E-4 of IEEE Std 802.11ax-2021.
// A 6 GHz neighbour is nevertheless announced with the class and the PHY type of 5 GHz.
inline constexpr band_info bands[] = {
    {.number = 2,
     .key = "2",
     .start_mhz = 2407,
     .default_channel = 1,
     .full_scan_seconds = 10,
     .neighbour = {.bssid_info = bssid_info_any_band, .op_class = 81, .phy_type = 7}},
    {.number = 5,
     .key = "5",
     .start_mhz = 5000,
     .default_channel = 36,
     .full_scan_seconds = 15,
     .neighbour = {.bssid_info = bssid_info_any_band | bssid_info_vht,
                   .op_class = 115,
                   .phy_type = 9}},
    {.number = 6,
     .key = "6",
     .start_mhz = 5950,
     .default_channel = 1,
     .full_scan_seconds = 17,
     .neighbour = {.bssid_info =
                       bssid_info_any_band | bssid_info_vht | bssid_info_ftm | bssid_info_6ghz,
                   .op_class = 115,
                   .phy_type = 9}},
};

// Null for a number that is not the number of a band.
const band_info* find_band(int number);

// The band of a radio: radio 0 has the lowest band, radio 1 the next one, and so on; every further
// radio has the highest.
const band_info& band_of_radio(int radio);

// The number of the band that a channel belongs to, if it can only be 2.4 or 5 GHz.
int band_of_channel(int channel);

}  // namespace rfcd
