// Bands, channel numbers and frequencies of the channels on which access points are found. Pure
// functions. A channel's centre frequency is the starting frequency of its band plus 5 MHz times
// its number (IEEE Std 802.11-2020, 17.3.8.4.2, and Annex E for the starting frequencies); 6 GHz:
// IEEE Std 802.11ax-2021, 27.3.23.2.
#pragma once

#include <optional>

namespace nl80211 {

enum class band { ghz_2, ghz_5, ghz_6 };

// 2, 5 or 6.
int number_of(band b);

struct channel_number {
    band in = band::ghz_2;
    int number = 0;

    bool operator==(const channel_number&) const = default;
};

// Null for a frequency outside the three bands.
std::optional<channel_number> channel_of(int mhz);

// In MHz; also for the number of a wide channel's centre. 0 for a number that is not between 0 and
// 255.
int frequency_of(channel_number channel);

// A wide channel, as the 20 MHz channels that it covers: `width_mhz` / 20 of them around the
// centre.
struct wide_channel {
    int width_mhz = 20;
    int centre = 0;  // channel number

    // The place of a 20 MHz channel in it, counted from the lowest one, which is 0. Null when the
    // channel is not one of them.
    std::optional<int> place_of(int primary) const;
    bool lies_in(band b) const;

    bool operator==(const wide_channel&) const = default;
};

}  // namespace nl80211
