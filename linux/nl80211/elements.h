// Reads the elements of a beacon or probe response: bytes in, a plain record out. The bytes come
// over the air from anybody. No function reads beyond an element's length or the end of the bytes;
// an element shorter than the standard defines it counts as missing. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "nl80211/channels.h"

namespace nl80211 {

using element_bytes = std::span<const std::uint8_t>;

// What an access point says about itself.
struct bss_description {
    std::string ssid{};  // up to 32 bytes of any value
    bool hidden = false;
    channel_number primary{};
    wide_channel wide{};                    // with the primary channel in it
    int place = 0;                          // of the primary channel in the wide one
    std::optional<int> tx_power{};          // dBm, as the access point reports it
    std::optional<int> regulatory_power{};  // dBm, the limit of the country on this channel

    bool operator==(const bss_description&) const = default;
};

// Null when the frequency belongs to no band. `heard_mhz` is where the kernel heard the frame.
// On 2.4 GHz, where channels overlap, an element that names another primary channel is believed.
//
// Elements of four generations may tell the width, and may contradict each other. The newest one is
// believed whose wide channel lies in the band and contains the primary channel: EHT, then HE (6
// GHz only), VHT, HT. Stations choose the same way, each by the newest element that it understands.
// An element that leaves no place for the primary channel cannot be right, so the next older one
// counts; without any, the width is 20 MHz. An 80+80 MHz channel counts as the 80 MHz segment that
// contains the primary channel.
std::optional<bss_description> read_elements(element_bytes elements, int heard_mhz);

}  // namespace nl80211
