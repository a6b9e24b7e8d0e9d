#include "aplocald/channels.h"

#include <gtest/gtest.h>

namespace {

using namespace aplocal;

TEST(Channels, AreFoundByPrimaryChannelAndWidth) {
    const struct {
        const char* name;
        int band;
        int number;
        int width;
        sideband place = sideband::any;
        nl80211::channel expected;  // all zero: there is none
    } rows[] = {
        {.name = "lower half", .band = 5, .number = 36, .width = 40, .expected = {5180, 40, 5190}},
        {.name = "upper half", .band = 5, .number = 40, .width = 40, .expected = {5200, 40, 5190}},
        {.name = "the other half",
         .band = 5,
         .number = 40,
         .width = 40,
         .place = sideband::lower,
         .expected = {}},
        {.name = "a sideband has no meaning at 80 MHz",
         .band = 5,
         .number = 44,
         .width = 80,
         .place = sideband::upper,
         .expected = {5220, 80, 5210}},
        {.name = "behind the gap",
         .band = 5,
         .number = 161,
         .width = 80,
         .expected = {5805, 80, 5775}},
        {.name = "a block that is not whole",
         .band = 5,
         .number = 132,
         .width = 160,
         .expected = {}},
        {.name = "160 MHz", .band = 5, .number = 64, .width = 160, .expected = {5320, 160, 5250}},
        {.name = "320 MHz in 6 GHz",
         .band = 6,
         .number = 33,
         .width = 320,
         .expected = {6115, 320, 6105}},
        {.name = "channel 93 of 6 GHz is not that of 5 GHz",
         .band = 6,
         .number = 93,
         .width = 80,
         .expected = {6415, 80, 6385}},
        {.name = "between channels", .band = 5, .number = 38, .width = 20, .expected = {}},
        {.name = "2.4 GHz above",
         .band = 2,
         .number = 6,
         .width = 40,
         .expected = {2437, 40, 2447}},
        {.name = "2.4 GHz below by wish",
         .band = 2,
         .number = 6,
         .width = 40,
         .place = sideband::upper,
         .expected = {2437, 40, 2427}},
        {.name = "2.4 GHz below by need",
         .band = 2,
         .number = 11,
         .width = 40,
         .expected = {2462, 40, 2452}},
        {.name = "no room below",
         .band = 2,
         .number = 4,
         .width = 40,
         .place = sideband::upper,
         .expected = {}},
        {.name = "no such width", .band = 5, .number = 36, .width = 60, .expected = {}},
        {.name = "beyond every band", .band = 5, .number = 2147483647, .width = 20, .expected = {}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);

        const auto planned =
            plan_channel({.band = row.band, .number = row.number}, row.width, row.place);

        EXPECT_EQ(planned.channel.primary_mhz, row.expected.primary_mhz);
        EXPECT_EQ(planned.channel.width_mhz, row.expected.width_mhz);
        EXPECT_EQ(planned.channel.centre_mhz, row.expected.centre_mhz);
        EXPECT_EQ(planned.problem.empty(), row.expected != nl80211::channel{});
    }
}

// hostapd 2.10 answers FAIL to any other second channel than the one of the 40 MHz pair.
TEST(Channels, AreNamedForTheStoreAndForHostapd) {
    const struct {
        const char* name;
        nl80211::channel channel;
        phy_modes modes;
        const char* place;
        const char* command;
    } rows[] = {
        {.name = "20 MHz",
         .channel = {2437, 20, 2437},
         .modes = {.ht = true},
         .place = "none",
         .command = "CHAN_SWITCH 5 2437 center_freq1=2437 bandwidth=20 ht"},
        {.name = "40 MHz, upper",
         .channel = {5200, 40, 5190},
         .modes = {.ht = true, .vht = true},
         .place = "upper",
         .command =
             "CHAN_SWITCH 5 5200 center_freq1=5190 bandwidth=40 sec_channel_offset=-1 ht vht"},
        {.name = "80 MHz, second",
         .channel = {5200, 80, 5210},
         .modes = {.vht = true},
         .place = "lu",
         .command = "CHAN_SWITCH 5 5200 center_freq1=5210 bandwidth=80 sec_channel_offset=-1 vht"},
        {.name = "80 MHz, third",
         .channel = {5220, 80, 5210},
         .modes = {.he = true},
         .place = "ul",
         .command = "CHAN_SWITCH 5 5220 center_freq1=5210 bandwidth=80 sec_channel_offset=1 he"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(sideband_text(row.channel), row.place);
        EXPECT_EQ(channel_switch_command(row.channel, row.modes), row.command);
    }
}

TEST(Channels, AreListedWhenAnAccessPointMayUseThem) {
    using nl80211::radar_state;
    const std::vector<nl80211::frequency> frequencies{
        {.mhz = 2412},
        {.mhz = 2484, .disabled = true},
        {.mhz = 5180},
        {.mhz = 5200, .no_ir = true},
        {.mhz = 5260, .no_ir = true, .radar = radar_state::usable},
        {.mhz = 5850},  // channel 170, which is 5 MHz wide
        {.mhz = 5825},
        {.mhz = 5955},
    };

    EXPECT_EQ(usable_channels(frequencies, 2, radar_channels::left_out), "1\n");
    EXPECT_EQ(usable_channels(frequencies, 5, radar_channels::left_out), "36 165\n");
    EXPECT_EQ(usable_channels(frequencies, 5, radar_channels::included), "36 52 165\n");
    EXPECT_EQ(usable_channels(frequencies, 6, radar_channels::left_out), "1\n");
}

}  // namespace
