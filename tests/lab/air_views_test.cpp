// The judges of the air: what iw prints and what the daemon reports, in one form.
#include <gtest/gtest.h>

#include "lab/air/iw_output.h"
#include "lab/air/reports.h"

namespace lab::air {
namespace {

struct channel_line {
    const char* name;
    const char* printed;
    channel_view read;
};

const channel_line channel_lines[] = {
    {.name = "Narrow",
     .printed = "channel 6 (2437 MHz), width: 20 MHz (no HT), center1: 2437 MHz",
     .read = {.channel = 6, .width = 20, .place = "none"}},
    {.name = "LowerHalf",
     .printed = "channel 44 (5220 MHz), width: 40 MHz, center1: 5230 MHz",
     .read = {.channel = 44, .width = 40, .place = "lower"}},
    {.name = "UpperHalf",
     .printed = "channel 48 (5240 MHz), width: 40 MHz, center1: 5230 MHz",
     .read = {.channel = 48, .width = 40, .place = "upper"}},
    {.name = "FirstOfFour",
     .printed = "channel 36 (5180 MHz), width: 80 MHz, center1: 5210 MHz",
     .read = {.channel = 36, .width = 80, .place = "ll"}},
    {.name = "SecondOfFourAt6GHz",
     .printed = "channel 5 (5975 MHz), width: 80 MHz, center1: 5985 MHz",
     .read = {.channel = 5, .width = 80, .place = "lu"}},
    {.name = "LastOfFour",
     .printed = "channel 48 (5240 MHz), width: 80 MHz, center1: 5210 MHz",
     .read = {.channel = 48, .width = 80, .place = "uu"}},
    {.name = "OneOfEight",
     .printed = "channel 37 (6135 MHz), width: 160 MHz, center1: 6185 MHz",
     .read = {.channel = 37, .width = 160, .place = "none"}},
};

TEST(AirViews, ChannelOfAnInterface) {
    for (const auto& row : channel_lines) {
        SCOPED_TRACE(row.name);

        const auto view = read_interface("Interface wlan1\n\t" + std::string(row.printed) + "\n");

        EXPECT_EQ(description(view.channel), description(row.read));
    }
}

TEST(AirViews, NameAddressAndPowerOfAnInterface) {
    const auto view = read_interface(
        "Interface wlan1\n\tifindex 3\n\taddr 02:11:22:33:44:60\n\tssid my office\n"
        "\ttype AP\n\ttxpower 14.00 dBm\n\tmulticast TXQ:\n");

    EXPECT_EQ(view.mac, "02:11:22:33:44:60");
    EXPECT_EQ(view.ssid, "my office");
    EXPECT_EQ(view.power, 14.0);
}

// A name over the air may look like a line of iw's own.
TEST(AirViews, ScanKeepsAccessPointsApart) {
    const auto heard = read_scan(
        "BSS 02:00:00:00:04:00(on wlan1)\n\tfreq: 5220\n\tsignal: -40.00 dBm\n\tSSID: a\n"
        "BSS 02:00:00:00:04:01(on wlan1) -- associated\n\tfreq: 5240\n\tsignal: -27.50 dBm\n"
        "\tSSID: signal: -1\n");

    ASSERT_EQ(heard.size(), 2U);
    EXPECT_EQ(heard.at("02:00:00:00:04:00").frequency, 5220);
    EXPECT_EQ(heard.at("02:00:00:00:04:00").signal, -40.0);
    EXPECT_EQ(heard.at("02:00:00:00:04:01").frequency, 5240);
    EXPECT_EQ(heard.at("02:00:00:00:04:01").signal, -27.5);
}

// Scans of other interfaces, and one that was going on before, do not count.
TEST(AirViews, TimesOfTheScansOfAnInterface) {
    const auto times = read_scan_times(
        "99.900000: wlan1 (phy #1): scan finished: 5180, \"\"\n"
        "100.100000: wlan1 (phy #1): scan started\n100.200000: wlan10 (phy #9): scan started\n"
        "100.250000: wlan10 (phy #9): scan finished: 2412, \"\"\n"
        "100.350000: wlan1 (phy #1): scan finished: 5180 5220, \"\"\n",
        "wlan1");

    EXPECT_EQ(times, std::vector{250});
}

TEST(AirViews, ReportJoinsTheSweepsOfAnAccessPoint) {
    const auto air = reported_air(
        R"({"rf-environment":[[{"bssid":"a","rssi":-40,"channel":44,"primary-channel":"lower",)"
        R"("bandwidth":40}],[{"bssid":"b","rssi":-70,"channel":36,"primary-channel":"none",)"
        R"("bandwidth":20},{"bssid":"a","rssi":-42,"channel":44,"primary-channel":"lower",)"
        R"("bandwidth":40}]]})");

    ASSERT_EQ(air.size(), 2U);
    EXPECT_EQ(air.at("a").signals, (std::vector{-40, -42}));
    EXPECT_EQ(description(air.at("a").channel), "44, 40 MHz (lower)");
    EXPECT_EQ(air.at("b").signals, std::vector{-70});
}

TEST(AirViews, RadioIsFoundByItsNumber) {
    const std::string message =
        R"({"radios":[{"id":0,"status":0},{"id":1,"status":1,"power":14,"channel":48,)"
        R"("bandwidth":80,"primary-channel":"uu","vaps":[{"id":0,"ssid":"office","mac":"m"}]}]})";

    EXPECT_EQ(description(described_radio(message, 1)),
              "channel 48, 80 MHz (uu), 14 dBm, m office");
    EXPECT_EQ(description(described_radio(message, 0)), "down, 0 dBm");
}

}  // namespace
}  // namespace lab::air
