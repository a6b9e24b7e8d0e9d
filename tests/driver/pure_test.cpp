// The parts of the driver that know no radio: channel specifications, records, neighbour reports,
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

TEST(Chanspec, OfWhatARadioSays) {
    const std::pair<radio_channel, int> rows[] = {
        {{80, 44, 1, 42}, 0x222c}, {{80, 36, 1, 42}, 0x2024},  {{80, 40, 3, 42}, 0x2128},
        {{80, 48, 3, 42}, 0x2330}, {{80, 36, 0, 42}, 0x2024},  {{40, 40, 3, 0}, 0x1928},
        {{40, 36, 1, 0}, 0x1824},  {{160, 52, 3, 50}, 0x2834}, {{320, 37, 1, 0}, 0x3825},
        {{20, 6, 0, 0}, 0x1006},   {{0, 6, 3, 0}, 0x1006}};
    for (const auto& [channel, chanspec] : rows) EXPECT_EQ(chanspec_of(channel), chanspec);
}

TEST(Chanspec, PrimaryChannelTexts) {
    const std::tuple<int, int, const char*> rows[] = {
        {0, 20, "none"},    {512, 160, "none"}, {256, 320, "none"}, {0, 40, "lower"},
        {512, 40, "upper"}, {0, 80, "ll"},      {256, 80, "lu"},    {512, 80, "ul"},
        {768, 80, "uu"},    {1024, 80, "uu"},   {0, 21, nullptr}};
    for (const auto& [sideband, bandwidth, text] : rows) {
        EXPECT_STREQ(primary_channel_text(sideband, bandwidth), text);
    }
}

TEST(Chanspec, PrimaryOfAWideChannelsCentre) {
    const int rows[][4] = {{42, 0, 80, 36},   {42, 256, 80, 40},  {42, 512, 80, 44},
                           {42, 768, 80, 48}, {38, 0, 40, 36},    {38, 256, 40, 40},
                           {38, 512, 40, 38}, {50, 256, 160, 50}, {6, 0, 20, 6}};
    for (const auto& r : rows) EXPECT_EQ(primary_of_centre(r[0], r[1], r[2]), r[3]);
}

TEST(Chanspec, Frequencies) {
    EXPECT_EQ(channel_frequency(6, 5), 5975);
    EXPECT_EQ(channel_frequency(0, 5), std::nullopt);
    EXPECT_EQ(channel_frequency(2, -1), 2402);
    EXPECT_EQ(channel_frequency(5, 2147483647), 2147483647)
        << "no number from the service overflows";
    EXPECT_EQ(channel_frequency(5, -2147483648), 0);
}

TEST(RadioRecords, ActiveEntries) {
    const std::tuple<const char*, const char*, int, int> rows[] = {
        {"80", "UL", 80, 512}, {"80", "xx", 80, 0}, {"40", "UL", 40, 0},
        {"", "", 0, 0},        {"wide", "", 0, 0},  {"888888UU", "", 888888, 0}};
    for (const auto& [bandwidth, sideband, mhz, bits] : rows) {
        SCOPED_TRACE(bandwidth);
        const auto r = read_active_entry(fake_radio::active_entry(44, 5, -61, bandwidth, sideband));
        EXPECT_EQ(r.bandwidth, mhz) << "a text without an end stops with its field";
        EXPECT_EQ(r.sideband, bits);
        EXPECT_EQ(r.bssid.text(), "ab:ab:ab:ab:ab:ab");
        EXPECT_EQ(std::vector({r.channel, r.band, r.rssi, r.tx_power}),
                  (std::vector{44, 5, -61, 0}));
    }
}

TEST(RadioRecords, RrmEntries) {
    const std::int32_t lowest = -2147483647 - 1;
    const std::int32_t rows[][3] = {
        {-241, 4, -60}, {5, 0, 0}, {-7, 2, -3}, {lowest, -1, lowest}, {100, -3, -33}};
    for (const auto& row : rows) {
        const auto entries = read_rrm_entries(fake_radio::rrm_buffer(
            1, 5, {fake_radio::rrm_entry(17 << 2 | 3, 0x202a, row[0], row[1])}));
        ASSERT_EQ(entries.size(), 1U);
        EXPECT_EQ(entries[0].rssi, row[2]);
        EXPECT_EQ(entries[0].tx_power, 17);
        EXPECT_EQ(entries[0].chanspec, 0x202a);
    }
    for (const auto& [count, read] :
         {std::pair{300, 256U}, {2147483647, 256U}, {-1, 0U}, {2, 2U}}) {
        EXPECT_EQ(read_rrm_entries(fake_radio::rrm_buffer(count, 5, {})).size(), read) << count;
    }
}

TEST(NeighborReport, Commands) {
    const std::tuple<int, const char*, const char*, int, const char*> rows[] = {
        {2, "AA:bb:cc:dd:ee:ff", "\xc3\xa9", 6, "c3a9 nr=AAbbccddeeff630800005106070603000600"},
        {6, "00:00:00:00:00:01", "a b", 37, "612062 nr=000000000001633810007325090603002500"},
        {0, "00:00:00:00:00:01", "", 11, " nr=00000000000163080000000b000603000b00"},
        {5, "00:00:00:00:00:01", "x", 300, "78 nr=000000000001631800007312c0906030012c00"},
    };
    for (const auto& [band, bssid, ssid, channel, end] : rows) {
        const auto c = neighbour_class_of_band(band);
        EXPECT_EQ(set_neighbour_command("wlan1", {bssid, swap_bytes(c.bssid_info), channel, ssid,
                                                  c.op_class, c.phy_type}),
                  std::string("wpa_cli -g /var/run/hostapd/global raw IFNAME=wlan1 SET_NEIGHBOR ") +
                      bssid + " ssid=" + end);
    }
}

TEST(NeighborReport, OnlyMacAddressesAreMacAddresses) {
    EXPECT_TRUE(is_mac_text("00:1a:2B:3c:4D:ff"));
    for (const char* text : {"", "00:11:22:33:44", "00:11:22:33:44:5", "00-11-22-33-44-55",
                             "00:11:22:33:44:5g", "00:11:22:33:44:55:", "00:11:22:33:44:55 x",
                             " 00:11:22:33:44:5", "0:011:22:33:44:55", "00:11:22:33:44;55"}) {
        EXPECT_FALSE(is_mac_text(text)) << text;
    }
}

board_identity parsed(const std::string& text) {
    lab::write_file("/tmp/factory", text);
    return read_board_identity();
}

TEST(BoardIdentity, LinesOfTheFactoryFile) {
    const auto board =
        parsed("Board: first\nnoise\nmac: 00:11:22:33:44:aB\r\nSerial: " + std::string(40, 's') +
               "\nboard: AP\nHW Rev: 2\n");
    EXPECT_EQ(board.board_name.view(), "AP") << "the last one wins";
    EXPECT_EQ(board.board_mac.view(), "00:11:22:33:44:aB\r") << "one character is removed";
    EXPECT_EQ(board.board_serial.view(), std::string(31, 's'));
    EXPECT_EQ(board.board_hw_rev.view(), "2");
    EXPECT_EQ(parsed("MAC: x").board_mac.view(), "x") << "no line end, nothing removed";
}

TEST(BoardIdentity, FactoryToolIsRunOnce) {
    std::filesystem::remove("/tmp/factory");
    EXPECT_TRUE(read_board_identity().board_mac.empty()) << "no tool either";
    std::filesystem::remove("/tmp/factory");
    lab::write_file("/bin/factory", "#!/bin/sh\necho MAC: 00:00:00:00:00:07\n");
    std::filesystem::permissions("/bin/factory", std::filesystem::perms::owner_all);
    EXPECT_EQ(read_board_identity().board_mac.view(), "00:00:00:00:00:07");
}

TEST(BoardIdentity, VapAddresses) {
    const char* rows[][3] = {{"00:11:22:33:44:50", "wlan0-vap0", "00:11:22:33:44:50"},
                             {"00:11:22:33:44:50", "wlan1-vap0", "00:11:22:33:44:60"},
                             {"00:11:22:33:44:F0", "wlan2-vap3", "00:11:22:33:44:13"},
                             {"00:11:22:33:44:FF", "wlan0-vap1", "00:11:22:33:44:00"},
                             {"AA:BB:CC:DD:EE", "wlan1-vap2", "00:00:00:00:00:12"},
                             {"", "wlan0-vap15", "00:00:00:00:00:0f"},
                             {"00:11:22:33:44:50", "eth0", ""}};
    for (const auto& row : rows) EXPECT_EQ(vap_bssid(row[0], row[1]), row[2]);
}

TEST(InterfaceStatus, FlagsFiles) {
    const char* unreadable = "cannot read entry from sysfs(/sys/class/net/wlan1/flags)\n";
    const std::tuple<const char*, bool, const char*> rows[] = {
        {"0x1003\n", true, ""},
        {"0x1002\n", false, ""},
        {"0xffffffff\n", false, ""},
        {"1\n", true, ""},
        {"zz\n", false, ""},
        {"0x1003", false, unreadable},
        {"", false, unreadable},
        {nullptr, false, "cannot open entry from sysfs(/sys/class/net/wlan1/flags)\n"}};
    std::filesystem::create_directories("/sys/class/net/wlan1");
    for (const auto& [text, up, log] : rows) {
        SCOPED_TRACE(text == nullptr ? "no file" : text);
        std::filesystem::remove("/sys/class/net/wlan1/flags");
        if (text != nullptr) lab::write_file("/sys/class/net/wlan1/flags", text);
        fake_log::reset(log_mask_error);
        EXPECT_EQ(interface_is_up("wlan1-vap0"), up);
        const auto line = fake_log::take();
        EXPECT_EQ(line.substr(std::min(line.size(), line.find("> ") + 2)), log);
    }
}

TEST(InterfaceStatus, OnlyTheFirstVapHasItsRadiosName) {
    EXPECT_EQ(vap_to_ifname("wlan0-vap0"), "wlan0");
    EXPECT_EQ(vap_to_ifname("wlan0-vap10"), "wlan0-vap10");
}

}  // namespace
}  // namespace rfcd
