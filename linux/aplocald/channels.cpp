#include "aplocald/channels.h"

#include <utility>

#include "nl80211/channels.h"

namespace aplocal {

namespace {

constexpr int announced_beacons = 5;  // before the switch: half a second

// Channels that wide channels are made of: `first` and every fourth number up to `last`. A channel
// of n times 20 MHz begins at each n-th of them (IEEE Std 802.11-2020, Tables E-1 to E-4; for 6 GHz
// IEEE Std 802.11ax-2021, Table E-4, classes 131 to 134).
constexpr struct channel_run {
    int band;
    int first;
    int last;
} channel_runs[] = {
    {.band = 5, .first = 36, .last = 64},
    {.band = 5, .first = 100, .last = 144},
    {.band = 5, .first = 149, .last = 177},
    {.band = 6, .first = 1, .last = 233},
};

const channel_run* run_of(numbered_channel channel) {
    for (const auto& run : channel_runs) {
        const bool within = channel.number >= run.first && channel.number <= run.last;
        if (run.band == channel.band && within && (channel.number - run.first) % 4 == 0)
            return &run;
    }
    return nullptr;
}

std::string name_of(numbered_channel channel) {
    return "channel " + std::to_string(channel.number);
}

planned_channel refusal(std::string problem) {
    return {.channel = {}, .problem = std::move(problem)};
}

// 2.4 GHz: a 40 MHz channel may begin anywhere.
planned_channel plan_free_channel(numbered_channel primary, int width, sideband place) {
    const int mhz = frequency_of_channel(primary).value_or(0);
    if (width == 20) return {.channel = {mhz, width, mhz}, .problem = ""};
    if (width != 40) return refusal(std::to_string(width) + " MHz do not fit into this band");

    const bool fits_above = primary.number + 4 <= 13;
    const bool fits_below = primary.number - 4 >= 1;
    const bool above = place == sideband::any ? fits_above : place == sideband::lower;
    if (above ? !fits_above : !fits_below) {
        return refusal(name_of(primary) + " has no second half on that side");
    }
    return {.channel = {mhz, width, mhz + (above ? 10 : -10)}, .problem = ""};
}

planned_channel plan_fixed_channel(numbered_channel primary, int width, sideband place) {
    const int mhz = frequency_of_channel(primary).value_or(0);
    const channel_run* const run = run_of(primary);
    const int step = width / 5;  // in channel numbers
    const int first = run == nullptr ? 0 : primary.number - (primary.number - run->first) % step;
    if (run == nullptr || first + step - 4 > run->last) {
        return refusal(name_of(primary) + " is in no channel of " + std::to_string(width) + " MHz");
    }

    const int centre = mhz - 5 * (primary.number - first) + (width - 20) / 2;
    const bool wrong_half =
        (place == sideband::lower && centre < mhz) || (place == sideband::upper && centre > mhz);
    if (width == 40 && wrong_half) return refusal(name_of(primary) + " is the other half");
    return {.channel = {mhz, width, centre}, .problem = ""};
}

// 1 or -1: whether the second half of the 40 MHz channel lies above or below the primary channel.
int secondary_offset(const nl80211::channel& channel) {
    const int lowest = channel.centre_mhz - channel.width_mhz / 2 + 10;
    return (channel.primary_mhz - lowest) % 40 == 0 ? 1 : -1;
}

}  // namespace

numbered_channel channel_of_frequency(int mhz) {
    const auto found = nl80211::channel_of(mhz);
    if (!found) return {};
    return {.band = number_of(found->in), .number = found->number};
}

std::optional<int> frequency_of_channel(numbered_channel channel) {
    using nl80211::band;
    for (const band in : {band::ghz_2, band::ghz_5, band::ghz_6}) {
        if (number_of(in) != channel.band) continue;

        const nl80211::channel_number wanted{in, channel.number};
        const int mhz = frequency_of(wanted);
        if (nl80211::channel_of(mhz) == wanted) return mhz;
    }
    return std::nullopt;
}

planned_channel plan_channel(numbered_channel primary, int width_mhz, sideband place) {
    const bool known_width = width_mhz == 20 || width_mhz == 40 || width_mhz == 80 ||
                             width_mhz == 160 || width_mhz == 320;
    if (!known_width) return refusal("there is no width of " + std::to_string(width_mhz) + " MHz");
    if (!frequency_of_channel(primary)) return refusal("there is no " + name_of(primary));

    return primary.band == 2 ? plan_free_channel(primary, width_mhz, place)
                             : plan_fixed_channel(primary, width_mhz, place);
}

std::string sideband_text(const nl80211::channel& channel) {
    const int offset = channel.primary_mhz - channel.centre_mhz;
    if (channel.width_mhz == 40) return offset < 0 ? "lower" : "upper";
    if (channel.width_mhz != 80) return "none";
    if (offset < 0) return offset < -20 ? "ll" : "lu";
    return offset < 20 ? "ul" : "uu";
}

std::string channel_switch_command(const nl80211::channel& channel, phy_modes modes) {
    std::string command = "CHAN_SWITCH " + std::to_string(announced_beacons) + " " +
                          std::to_string(channel.primary_mhz) +
                          " center_freq1=" + std::to_string(channel.centre_mhz) +
                          " bandwidth=" + std::to_string(channel.width_mhz);
    if (channel.width_mhz > 20) {
        command += " sec_channel_offset=" + std::to_string(secondary_offset(channel));
    }
    if (modes.ht) command += " ht";
    if (modes.vht) command += " vht";
    if (modes.he) command += " he";
    return command;
}

std::string usable_channels(const std::vector<nl80211::frequency>& frequencies, int band,
                            radar_channels radar) {
    std::string text;
    for (const auto& frequency : frequencies) {
        const auto channel = channel_of_frequency(frequency.mhz);
        if (band != 2 && run_of(channel) == nullptr) continue;  // narrower than 20 MHz
        const bool has_radar = frequency.radar != nl80211::radar_state::none;
        const bool usable = has_radar ? radar == radar_channels::included : !frequency.no_ir;
        if (channel.band != band || frequency.disabled || !usable) continue;

        if (!text.empty()) text += ' ';
        text += std::to_string(channel.number);
    }
    return text + "\n";
}

}  // namespace aplocal
