#include "lab/rf_geometry.h"

#include <algorithm>
#include <cmath>

namespace lab {

namespace {

constexpr int channels_per_20_mhz = 4;
constexpr double mhz_per_channel = 5;

// Channels that follow each other in steps of 20 MHz and are joined to wider ones from the first
// on: IEEE Std 802.11-2020, Annex E, and 802.11ax-2021 for 6 GHz. Channels of 320 MHz overlap each
// other by half; a primary channel is drawn in the one of the two that begins with a whole step.
struct channel_series {
    int band;
    int first;
    int last;
};
constexpr channel_series series[] = {{5, 36, 64}, {5, 100, 144}, {5, 149, 177}, {6, 1, 233}};

struct band_limits {
    int band;
    int last_channel;
    double start_mhz;  // the middle of channel 0
};
constexpr band_limits bands_drawn[] = {{2, 14, 2407}, {5, 177, 5000}, {6, 233, 5950}};

const band_limits* limits_of(int band) {
    for (const auto& limits : bands_drawn) {
        if (limits.band == band) return &limits;
    }
    return nullptr;
}

// The centre of the channel of `width_mhz` that has the primary channel, as a channel number. A
// number that is no primary channel is a centre already.
double centre_of(const channel_use& use, int width_mhz) {
    if (use.band == 2) {
        if (width_mhz == 20) return use.channel;
        return use.channel + (use.primary == "upper" ? -2 : 2);
    }

    for (const auto& row : series) {
        const int from_first = use.channel - row.first;
        if (row.band != use.band || use.channel < row.first || use.channel > row.last) continue;
        if (from_first % channels_per_20_mhz != 0) break;

        const int joined = channels_per_20_mhz * width_mhz / 20;
        const int begin = row.first + from_first / joined * joined;
        const int centre = begin + (joined - channels_per_20_mhz) / 2;
        return centre;
    }
    return use.channel;
}

// Offsets at which a label may stand from where it belongs, the nearest first.
std::vector<point> offsets_for(const box& label) {
    constexpr int rows = 8;
    constexpr int columns = 4;
    std::vector<point> offsets;
    for (int row = -rows; row <= rows; ++row) {
        for (int column = -columns; column <= columns; ++column) {
            offsets.push_back({column * label.width / columns, row * label.height});
        }
    }

    std::stable_sort(offsets.begin(), offsets.end(), [](const point& a, const point& b) {
        return std::hypot(a.x, a.y) < std::hypot(b.x, b.y);
    });
    return offsets;
}

bool contains(const box& area, const box& inner) {
    return inner.x >= area.x && inner.y >= area.y && inner.x + inner.width <= area.x + area.width &&
           inner.y + inner.height <= area.y + area.height;
}

}  // namespace

double middle_mhz(int band, int channel) {
    if (band == 2 && channel == 14) return 2484;
    const auto* const limits = limits_of(band);
    return limits == nullptr ? 0 : limits->start_mhz + mhz_per_channel * channel;
}

std::optional<mhz_range> block_of(const channel_use& use) {
    const auto* const limits = limits_of(use.band);
    if (limits == nullptr || use.channel < 1 || use.channel > limits->last_channel) {
        return std::nullopt;
    }

    int width_mhz = 20;
    while (width_mhz < 320 && width_mhz < use.width_mhz) width_mhz *= 2;
    const double beside = mhz_per_channel * (centre_of(use, width_mhz) - use.channel);
    const double middle = middle_mhz(use.band, use.channel) + beside;
    return mhz_range{middle - width_mhz / 2.0, middle + width_mhz / 2.0};
}

bool overlap(const box& a, const box& b) {
    return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height &&
           b.y < a.y + a.height;
}

std::vector<std::optional<box>> place_labels(const std::vector<point>& anchors, const box& label,
                                             const box& area) {
    const auto offsets = offsets_for(label);
    std::vector<box> taken;
    std::vector<std::optional<box>> places;

    for (const auto& anchor : anchors) {
        auto& place = places.emplace_back();
        for (const auto& offset : offsets) {
            const box candidate{anchor.x - label.width / 2 + offset.x,
                                anchor.y - label.height + offset.y, label.width, label.height};
            const bool covered = std::any_of(taken.begin(), taken.end(), [&](const box& other) {
                return overlap(candidate, other);
            });
            if (covered || !contains(area, candidate)) continue;
            place = candidate;
            taken.push_back(candidate);
            break;
        }
    }
    return places;
}

}  // namespace lab
