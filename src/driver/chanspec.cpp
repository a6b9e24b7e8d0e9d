#include "driver/chanspec.h"

#include <algorithm>
#include <limits>

#include "base/bands.h"
#include "platform/radioctl.h"

namespace rfcd {

namespace {

constexpr struct {
    int mhz;
    chanspec_t code;
} bandwidths[] = {
    {20, chanspec_bandwidth_20},   {40, chanspec_bandwidth_40},   {80, chanspec_bandwidth_80},
    {160, chanspec_bandwidth_160}, {320, chanspec_bandwidth_320},
};

// Channel centre frequency = channel starting frequency + 5 MHz * channel number (IEEE Std
// 802.11-2020, 17.3.8.4.2).
constexpr int channel_step_mhz = 5;

// How far the primary channel lies from the centre of a wide one, in channel numbers.
constexpr struct {
    int bandwidth;
    int sideband;
    int offset;
} primary_offsets[] = {
    {40, chanspec_sideband_ll, -2}, {40, chanspec_sideband_lu, +2}, {80, chanspec_sideband_ll, -6},
    {80, chanspec_sideband_lu, -2}, {80, chanspec_sideband_ul, +2}, {80, chanspec_sideband_uu, +6},
};

chanspec_t sideband_of(const radio_channel& c) {
    const bool below = c.secondary == RADIOCTL_SECONDARY_BELOW;
    const bool above = c.secondary == RADIOCTL_SECONDARY_ABOVE;
    if (c.bandwidth == 40) return below ? chanspec_sideband_upper : chanspec_sideband_ll;
    if (c.bandwidth != 80) return chanspec_sideband_ll;
    if (below) return c.centre >= c.primary ? chanspec_sideband_lu : chanspec_sideband_uu;
    if (above) return c.centre < c.primary ? chanspec_sideband_ul : chanspec_sideband_ll;
    return chanspec_sideband_ll;
}

}  // namespace

chanspec_t bandwidth_code(int mhz, chanspec_t otherwise) {
    for (const auto& row : bandwidths) {
        if (row.mhz == mhz) return row.code;
    }
    return otherwise;
}

std::optional<int> bandwidth_mhz(chanspec_t chanspec) {
    for (const auto& row : bandwidths) {
        if (row.code == (chanspec & chanspec_bandwidth_mask)) return row.mhz;
    }
    return std::nullopt;
}

const char* primary_channel_text(int sideband, int mhz) {
    switch (mhz) {
        case 20:
        case 160:
        case 320: return "none";
        case 40: return sideband == chanspec_sideband_ll ? "lower" : "upper";
        case 80:
            switch (sideband) {
                case chanspec_sideband_ll: return "ll";
                case chanspec_sideband_lu: return "lu";
                case chanspec_sideband_ul: return "ul";
                default: return "uu";
            }
        default: return nullptr;
    }
}

chanspec_t chanspec_of(const radio_channel& c) {
    const auto code = bandwidth_code(c.bandwidth, chanspec_bandwidth_20);
    return static_cast<chanspec_t>(c.primary | code | sideband_of(c));
}

int primary_of_centre(int centre, int sideband, int mhz) {
    for (const auto& row : primary_offsets) {
        if (row.bandwidth == mhz && row.sideband == sideband) return centre + row.offset;
    }
    return centre;
}

std::optional<int> channel_frequency(int band, int channel) {
    const auto* const known = find_band(band);
    if (known == nullptr) return std::nullopt;
    // A channel number may be anything that the service sends.
    const auto mhz = known->start_mhz + std::int64_t{channel_step_mhz} * channel;
    return static_cast<int>(std::clamp<std::int64_t>(mhz, 0, std::numeric_limits<int>::max()));
}

}  // namespace rfcd
