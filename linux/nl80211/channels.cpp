#include "nl80211/channels.h"

#include <algorithm>
#include <iterator>

namespace nl80211 {

namespace {

constexpr int channel_step_mhz = 5;
constexpr int channels_per_20_mhz = 4;
constexpr int largest_number = 255;  // elements have one byte for it

// The numbers of the first and the last 20 MHz channel, and where channel 0 would be. Channel 14 of
// 2.4 GHz and channel 2 of 6 GHz have frequencies of their own.
constexpr struct {
    band b;
    int number;
    int start_mhz;
    int first;
    int last;
} bands[] = {
    {.b = band::ghz_2, .number = 2, .start_mhz = 2407, .first = 1, .last = 13},
    {.b = band::ghz_5, .number = 5, .start_mhz = 5000, .first = 32, .last = 177},
    {.b = band::ghz_6, .number = 6, .start_mhz = 5950, .first = 1, .last = 233},
};

constexpr struct {
    int mhz;
    channel_number channel;
} exceptions[] = {
    {.mhz = 2484, .channel = {.in = band::ghz_2, .number = 14}},
    {.mhz = 5935, .channel = {.in = band::ghz_6, .number = 2}},
};

const auto& row_of(band b) {
    return *std::find_if(std::begin(bands), std::end(bands),
                         [&](const auto& row) { return row.b == b; });
}

}  // namespace

int number_of(band b) { return row_of(b).number; }

std::optional<channel_number> channel_of(int mhz) {
    for (const auto& row : exceptions) {
        if (row.mhz == mhz) return row.channel;
    }
    for (const auto& row : bands) {
        const int above = mhz - row.start_mhz;
        const int number = above / channel_step_mhz;
        if (above % channel_step_mhz == 0 && number >= row.first && number <= row.last) {
            return channel_number{row.b, number};
        }
    }
    return std::nullopt;
}

int frequency_of(channel_number channel) {
    if (channel.number < 0 || channel.number > largest_number) return 0;
    for (const auto& row : exceptions) {
        if (row.channel == channel) return row.mhz;
    }
    return row_of(channel.in).start_mhz + channel_step_mhz * channel.number;
}

std::optional<int> wide_channel::place_of(int primary) const {
    const int count = width_mhz / 20;
    const int lowest = centre - (count - 1) * channels_per_20_mhz / 2;
    const int above = primary - lowest;
    const int place = above / channels_per_20_mhz;
    if (above < 0 || above % channels_per_20_mhz != 0 || place >= count) return std::nullopt;
    return place;
}

bool wide_channel::lies_in(band b) const {
    const int to_edge = (width_mhz / 20 - 1) * channels_per_20_mhz / 2;
    return centre - to_edge >= row_of(b).first && centre + to_edge <= row_of(b).last;
}

}  // namespace nl80211
