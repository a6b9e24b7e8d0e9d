// The parts of the driver that need no radio: channel specifications, records, neighbour reports,
// the board's identity, the state of interfaces.
#include <gtest/gtest.h>

#include <filesystem>

#include "base/interface_names.h"
#include "driver/board_identity.h"
#include "driver/chanspec.h"
#include "driver/interface_status.h"
#include "driver/mac_addr.h"
#include "driver/neighbour_report.h"
#include "driver/radio_records.h"
#include "harness/child_process.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_radio.h"
#include "main/logging.h"

namespace rfcd {
namespace {

TEST(Chanspec, OfWhatARadioReports) {
    constexpr std::uint8_t above = RADIOCTL_SECONDARY_ABOVE;
    constexpr std::uint8_t below = RADIOCTL_SECONDARY_BELOW;
    const auto spec = [](const radio_channel& radio) { return chanspec_of(radio); };
    EXPECT_EQ(spec({.bandwidth = 80, .primary = 40, .secondary = below, .centre = 42}), 0x2128);
    EXPECT_EQ(spec({.bandwidth = 80, .primary = 44, .secondary = above, .centre = 42}), 0x222c);
    EXPECT_EQ(spec({.bandwidth = 80, .primary = 48, .secondary = below, .centre = 42}), 0x2330);
    EXPECT_EQ(spec({.bandwidth = 40, .primary = 36, .secondary = above}), 0x1824);
    EXPECT_EQ(spec({.bandwidth = 40, .primary = 40, .secondary = below}), 0x1928);
    EXPECT_EQ(spec({.bandwidth = 160, .primary = 52, .secondary = below}), 0x2834);
    EXPECT_EQ(spec({.bandwidth = 0, .primary = 6, .secondary = below}), 0x1006);
}

TEST(Chanspec, PrimaryChannelOfASideband) {
    const struct {
        int mhz;
        int sideband;
        const char* text;
        int from_centre = 0;
    } rows[] = {
        {.mhz = 40, .sideband = 0, .text = "lower", .from_centre = -2},
        {.mhz = 40, .sideband = 256, .text = "upper", .from_centre = 2},
        {.mhz = 80, .sideband = 0, .text = "ll", .from_centre = -6},
        {.mhz = 80, .sideband = 256, .text = "lu", .from_centre = -2},
        {.mhz = 80, .sideband = 512, .text = "ul", .from_centre = 2},
        {.mhz = 80, .sideband = 768, .text = "uu", .from_centre = 6},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.mhz) + " MHz " + row.text);
        EXPECT_STREQ(primary_channel_text(row.sideband, row.mhz), row.text);
        EXPECT_EQ(primary_of_centre(42, row.sideband, row.mhz), 42 + row.from_centre);
    }
}

TEST(RadioRecords, WidthOfAnActiveEntry) {
    const auto read = [](const fake_radio::active_fields& fields) {
        return read_active_entry(fake_radio::active_entry(fields));
    };
    EXPECT_EQ(read({.bandwidth = "80", .sideband = "UL"}).sideband, 512);
    EXPECT_EQ(read({.bandwidth = "80", .sideband = "xx"}).sideband, 0);
    EXPECT_EQ(read({.bandwidth = "40", .sideband = "UL"}).sideband, 0);
    EXPECT_EQ(read({.bandwidth = "888888UU"}).bandwidth, 888888) << "it ends with its field";
}

TEST(RadioRecords, RrmEntries) {
    const auto rssi_of = [](const fake_radio::rrm_fields& fields) {
        return read_rrm_entries(fake_radio::rrm_buffer({.entries = {fields}})).at(0).rssi;
    };
    constexpr std::int32_t lowest = -2147483647 - 1;
    EXPECT_EQ(rssi_of({.rssi_sum = -7, .samples = 2}), -3);
    EXPECT_EQ(rssi_of({.rssi_sum = 5, .samples = 0}), 0);
    EXPECT_EQ(rssi_of({.rssi_sum = lowest, .samples = -1}), lowest) << "beyond 32 bits";

    EXPECT_EQ(read_rrm_entries(fake_radio::rrm_buffer({.count = 2147483647})).size(), 256U);
    EXPECT_EQ(read_rrm_entries(fake_radio::rrm_buffer({.count = -1})).size(), 0U);
}

TEST(NeighbourReport, NumbersAndTextsBeyondTheUsual) {
    const auto band = neighbour_class_of_band(6);
    EXPECT_EQ(set_neighbour_command("wlan2", {.bssid = "0a:00:Bb:00:00:01",
                                              .bssid_info_swapped = swap_bytes(band.bssid_info),
                                              .channel = 300,
                                              .ssid = "\xc3\xa9 x",
                                              .op_class = band.op_class,
                                              .phy_type = band.phy_type}),
              "wpa_cli -g /var/run/hostapd/global raw IFNAME=wlan2 SET_NEIGHBOR 0a:00:Bb:00:00:01 "
              "ssid=c3a92078 nr=0a00Bb000001633810007312c0906030012c00");
}

TEST(MacText, OnlyMacAddressesAreMacAddresses) {
    EXPECT_TRUE(is_mac_text("00:1a:2B:3c:4D:ff"));
    for (const char* text : {"", "00:11:22:33:44:5", "00-11-22-33-44-55", "00:11:22:33:44:5g",
                             "00:11:22:33:44:55:", "0:011:22:33:44:55", "00:11:22:33:44;55"}) {
        EXPECT_FALSE(is_mac_text(text)) << text;
    }
}

TEST(BoardIdentity, LinesOfTheFactoryFile) {
    lab::write_file("/tmp/factory", "Board: first\nnoise\nmac: 00:11:22:33:44:aB\r\nSerial: " +
                                        std::string(40, 's') + "\nboard: AP\nHW Rev: 2");

    const auto board = read_board_identity();

    EXPECT_EQ(board.board_name.view(), "AP") << "the last one wins";
    EXPECT_EQ(board.board_mac.view(), "00:11:22:33:44:aB\r") << "one character is removed";
    EXPECT_EQ(board.board_serial.view(), std::string(31, 's'));
    EXPECT_EQ(board.board_hw_rev.view(), "2") << "no line end, nothing removed";
}

TEST(BoardIdentity, FactoryToolIsRunOnce) {
    std::filesystem::remove("/tmp/factory");
    lab::write_file("/bin/factory", "#!/bin/sh\necho MAC: 00:00:00:00:00:07\n");
    std::filesystem::permissions("/bin/factory", std::filesystem::perms::owner_all);
    EXPECT_EQ(read_board_identity().board_mac.view(), "00:00:00:00:00:07");
}

TEST(BoardIdentity, VapAddresses) {
    EXPECT_EQ(vap_bssid("00:11:22:33:44:F0", "wlan2-vap3"), "00:11:22:33:44:13") << "no carry";
    EXPECT_EQ(vap_bssid("AA:BB:CC:DD:EE", "wlan1-vap2"), "00:00:00:00:00:12") << "not an address";
    EXPECT_EQ(vap_bssid("00:11:22:33:44:50", "eth0"), "") << "not a VAP";
}

TEST(InterfaceStatus, FlagsFiles) {
    std::filesystem::create_directories("/sys/class/net/wlan1");
    fake_log::reset(log_mask_error);
    const auto is_up = [](const char* flags) {
        lab::write_file("/sys/class/net/wlan1/flags", flags);
        return interface_is_up("wlan1-vap0");
    };
    EXPECT_TRUE(is_up("0x1003\n"));
    EXPECT_FALSE(is_up("0x1002\n"));
    EXPECT_FALSE(is_up("0xffffffff\n"));
    EXPECT_FALSE(is_up("0x1003")) << "without a line end";
    EXPECT_TRUE(
        fake_log::take().ends_with("> cannot read entry from sysfs(/sys/class/net/wlan1/flags)\n"));
    std::filesystem::remove("/sys/class/net/wlan1/flags");
    EXPECT_FALSE(interface_is_up("wlan1"));
    EXPECT_TRUE(
        fake_log::take().ends_with("> cannot open entry from sysfs(/sys/class/net/wlan1/flags)\n"));
}

TEST(InterfaceNames, OnlyTheFirstVapHasItsRadiosName) {
    EXPECT_EQ(vap_to_ifname("wlan0-vap0"), "wlan0");
    EXPECT_EQ(vap_to_ifname("wlan0-vap10"), "wlan0-vap10");
}

}  // namespace
}  // namespace rfcd
