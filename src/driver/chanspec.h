// Encodes and decodes the 16-bit channel specification of the radio library. Pure functions.
#pragma once

#include <cstdint>
#include <optional>

namespace rfcd {

using chanspec_t = std::uint16_t;

// Bits 0-7 hold the channel, 8-10 the sideband, 11-13 the bandwidth code; the two top bits belong
// to the library.
inline constexpr chanspec_t chanspec_channel_mask = 0x00ff;
inline constexpr chanspec_t chanspec_sideband_mask = 0x0700;
inline constexpr chanspec_t chanspec_bandwidth_mask = 0x3800;

inline constexpr chanspec_t chanspec_bandwidth_20 = 0x1000;
inline constexpr chanspec_t chanspec_bandwidth_40 = 0x1800;
inline constexpr chanspec_t chanspec_bandwidth_80 = 0x2000;
inline constexpr chanspec_t chanspec_bandwidth_160 = 0x2800;
inline constexpr chanspec_t chanspec_bandwidth_320 = 0x3800;

// Where the primary channel lies. In a 40 MHz channel 0 is the lower half, any other value the
// upper; in an 80 MHz channel the values are the first to the fourth 20 MHz channel.
inline constexpr chanspec_t chanspec_sideband_ll = 0x000;
inline constexpr chanspec_t chanspec_sideband_lu = 0x100;
inline constexpr chanspec_t chanspec_sideband_ul = 0x200;
inline constexpr chanspec_t chanspec_sideband_uu = 0x300;
inline constexpr chanspec_t chanspec_sideband_upper = 0x100;  // in configured 40 MHz channels

// The code of a bandwidth in MHz; `otherwise` for a bandwidth that has no code.
chanspec_t bandwidth_code(int mhz, chanspec_t otherwise);
// In MHz; null when the bits are not a bandwidth code.
std::optional<int> bandwidth_mhz(chanspec_t chanspec);

// "none", "lower", "upper", "ll", "lu", "ul" or "uu"; null for a bandwidth that does not exist.
const char* primary_channel_text(int sideband, int bandwidth_mhz);

// What a radio reports about its channel.
struct radio_channel {
    int bandwidth = 0;           // MHz
    std::uint8_t primary = 0;    // channel number
    std::uint8_t secondary = 0;  // RADIOCTL_SECONDARY_ABOVE or _BELOW
    std::uint8_t centre = 0;     // channel number of the centre of the 80 MHz block
};
chanspec_t chanspec_of(const radio_channel& channel);

// The primary channel of a wide channel, from the number of the channel's centre.
int primary_of_centre(int centre, int sideband, int bandwidth_mhz);

// The frequency of a channel's centre in MHz; null for an unknown band. A channel number that does
// not exist gives a frequency too, clamped to the range from 0 to the greatest int.
std::optional<int> channel_frequency(int band, int channel);

}  // namespace rfcd
