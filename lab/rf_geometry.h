// Where things stand in the picture of the radio environment: the frequencies that an access point
// uses, and places for labels that do not overlap. Pure functions.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace lab {

// Which channel an access point uses, in the words of the daemon's messages.
struct channel_use {
    int band = 0;              // 2, 5 or 6
    int channel = 0;           // the primary channel, or the centre of a wide one
    int width_mhz = 20;        // 20 to 320; other values are drawn as the nearest of these
    std::string primary = {};  // "lower" or "upper"; read for 40 MHz in the 2.4 GHz band alone
};

struct mhz_range {
    double low;
    double high;
};

// The frequencies that it occupies. Nothing for an unknown band or a channel outside of the band.
std::optional<mhz_range> block_of(const channel_use& use);

// The middle of a 20 MHz channel.
double middle_mhz(int band, int channel);

// A rectangle in pixels; y counts downwards.
struct box {
    double x;
    double y;
    double width;
    double height;
};

bool overlap(const box& a, const box& b);

struct point {
    double x;
    double y;
};

// Finds a place within `area` for the label of each anchor: right above it if that is free, else
// near it. Places no label over another. Earlier anchors choose first; an anchor without room near
// it gets nothing. Only the size of `label` counts.
std::vector<std::optional<box>> place_labels(const std::vector<point>& anchors, const box& label,
                                             const box& area);

}  // namespace lab
