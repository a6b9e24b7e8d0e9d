// What the radio library over nl80211 makes of the kernel's list of access points, read back
// through the driver's own record readers.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <limits>

#include "driver/radio_records.h"
#include "radioctl/heard.h"
#include "radioctl/rrm_scan.h"

namespace radioctl {
namespace {

using nl80211::bss;
using nl80211::mac_address;

constexpr std::uint8_t own_number = 0xee;

mac_address address(int number) {
    return {2, 0, 0, 0, static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
}

// An access point of channel 40 with 80 MHz and a TPC report.
bss heard_bss(int number, int signal_dbm, std::int64_t heard_at) {
    return {.bssid = address(number),
            .mhz = 5200,
            .signal_dbm = signal_dbm,
            .heard_at = heard_at,
            .elements = {35, 2, 17, 0, 192, 5, 1, 42, 0, 0, 0}};
}

wanted everything_from(std::int64_t since) {
    return {.since = since, .frequencies = {5200}, .own = {address(own_number)}};
}

std::vector<int> numbers_of(const std::vector<neighbour>& list) {
    std::vector<int> numbers;
    for (const auto& n : list) numbers.push_back(n.bssid[4] << 8 | n.bssid[5]);
    return numbers;
}

TEST(NeighboursInAList, AreThoseThatTheScanHeard) {
    bss elsewhere = heard_bss(5, -40, 200);
    elsewhere.mhz = 5180;
    const std::vector<bss> list{heard_bss(1, -70, 120), heard_bss(2, -60, 99),
                                heard_bss(3, -50, 150), heard_bss(own_number, -20, 150),
                                heard_bss(1, -30, 110), elsewhere};

    const auto heard = neighbours_in(list, everything_from(100));

    EXPECT_EQ(numbers_of(heard), (std::vector{3, 1})) << "strongest first";
    EXPECT_EQ(heard.at(1).rssi_sum, -70) << "the newest of two entries counts";
}

TEST(RrmScan, ThatCannotStartLeavesNoDescriptorOpen) {
    const auto open_files = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = open_files();
    int error = 0;

    const auto scan = rrm_scan::start({}, error);

    EXPECT_EQ(scan, nullptr);
    EXPECT_LT(error, 0);
    EXPECT_EQ(open_files(), before);
}

TEST(RrmScan, OfAChannelNumberThatIsTooLargeHasNoFrequency) {
    EXPECT_EQ(nl80211::frequency_of({nl80211::band::ghz_5, std::numeric_limits<int>::max()}), 0);
}

TEST(NeighboursInAList, OwnAreTheInterfacesOfOurRadios) {
    std::vector<nl80211::interface_info> interfaces;
    for (const char* name : {"wlan0", "wlan1-vap2", "wlan3", "wlan10", "sta0"}) {
        interfaces.push_back({.name = name, .mac = address(static_cast<int>(interfaces.size()))});
    }

    EXPECT_EQ(own_bssids(interfaces), (std::vector{address(0), address(1)}));
}

TEST(RrmRecords, PassesAddUp) {
    std::vector<neighbour> all =
        neighbours_in(std::vector{heard_bss(1, -70, 1)}, {.frequencies = {5200}});
    const std::vector<bss> second{heard_bss(1, -61, 2), heard_bss(2, -80, 2)};

    add_pass(all, neighbours_in(second, {.frequencies = {5200}}));

    std::array<std::uint8_t, RADIOCTL_RRM_SIZE> buffer;
    buffer.fill(0xff);
    write_rrm_results(buffer.data(), {.running = true, .band = nl80211::band::ghz_5, .heard = all});
    const auto head = rfcd::read_rrm_head(buffer);
    const auto entries = rfcd::read_rrm_entries(buffer);
    EXPECT_EQ(head.magic, std::uint32_t{RADIOCTL_RRM_MAGIC});
    EXPECT_TRUE(head.running);
    EXPECT_EQ(head.band, 5);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].bssid.bytes, address(1));
    EXPECT_EQ(entries[0].rssi, -65) << "the mean of two samples";
    EXPECT_EQ(entries[0].tx_power, 17);
    EXPECT_EQ(entries[0].chanspec, 0x212a) << "80 MHz, centre 42, second of four";
    EXPECT_EQ(entries[1].rssi, -80);
}

TEST(RrmRecords, HoldNoMoreThanTheyHaveRoomFor) {
    std::vector<bss> list;
    for (int i = 0; i < 300; ++i) list.push_back(heard_bss(i, -30 - i / 10, 1));
    std::array<std::uint8_t, RADIOCTL_RRM_SIZE + 64> buffer;
    buffer.fill(0xa5);

    const auto heard = neighbours_in(list, {.frequencies = {5200}});
    write_rrm_results(buffer.data(), {.heard = heard});

    EXPECT_EQ(heard.size(), 300U);
    EXPECT_EQ(rfcd::read_rrm_head(buffer).count, RADIOCTL_RRM_MAX_ENTRIES);
    EXPECT_EQ(buffer[RADIOCTL_RRM_SIZE], 0xa5) << "written beyond the record";
}

TEST(RrmRecords, PowerAndChannelOfANeighbour) {
    const struct {
        const char* name;
        nl80211::bss_description about;
        int power = 0;
        rfcd::chanspec_t chanspec;
    } rows[] = {
        {.name = "nothing is known",
         .about = {.primary = {.number = 6}, .wide = {20, 6}},
         .chanspec = 0x1006},
        {.name = "the country's limit",
         .about = {.primary = {.number = 6}, .wide = {20, 6}, .regulatory_power = 20},
         .power = 20,
         .chanspec = 0x1006},
        {.name = "more than the field holds",
         .about = {.wide = {20, 6}, .tx_power = 100},
         .power = 63,
         .chanspec = 0x1006},
        {.name = "less than nothing",
         .about = {.wide = {20, 6}, .tx_power = -3},
         .power = 0,
         .chanspec = 0x1006},
        {.name = "40 MHz, upper", .about = {.wide = {40, 38}, .place = 1}, .chanspec = 0x1926},
        {.name = "160 MHz has no sideband",
         .about = {.wide = {160, 50}, .place = 5},
         .chanspec = 0x2832},
        {.name = "320 MHz", .about = {.wide = {320, 223}, .place = 9}, .chanspec = 0x38df},
    };
    std::array<std::uint8_t, RADIOCTL_RRM_SIZE> buffer{};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);

        write_rrm_results(buffer.data(), {.heard = {{.about = row.about, .samples = 1}}});

        EXPECT_EQ(rfcd::read_rrm_entries(buffer).at(0).tx_power, row.power);
        EXPECT_EQ(rfcd::read_rrm_entries(buffer).at(0).chanspec, row.chanspec);
    }
}

TEST(ActiveRecords, PlaceInTheWideChannel) {
    const struct {
        const char* name;
        nl80211::bss_description about;
        int sideband = 0;
    } rows[] = {
        {.name = "third of four",
         .about = {.primary = {nl80211::band::ghz_5, 44}, .wide = {80, 42}, .place = 2},
         .sideband = 0x200},
        {.name = "160 MHz",
         .about = {.primary = {nl80211::band::ghz_5, 44}, .wide = {160, 50}, .place = 2}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::array<std::uint8_t, RADIOCTL_ENTRY_SIZE> record;
        record.fill(0xff);

        write_active_entry(
            record.data(),
            {.bssid = address(7), .about = row.about, .rssi_sum = -61, .samples = 1});

        EXPECT_EQ(rfcd::read_active_entry(record),
                  (rfcd::scan_result{.bssid = {address(7)},
                                     .rssi = -61,
                                     .channel = 44,
                                     .bandwidth = row.about.wide.width_mhz,
                                     .sideband = row.sideband,
                                     .band = 5}));
    }
}

TEST(RadioInfoRecord, ChannelOfARadio) {
    const struct {
        const char* name;
        nl80211::channel on;
        int bandwidth;
        int primary;
        int secondary = 0;
        int centre = 0;
    } rows[] = {
        {.name = "20 MHz", .on = {2412, 20, 2412}, .bandwidth = 20, .primary = 1},
        {.name = "40 MHz, above",
         .on = {2412, 40, 2422},
         .bandwidth = 40,
         .primary = 1,
         .secondary = RADIOCTL_SECONDARY_ABOVE},
        {.name = "80 MHz, third",
         .on = {5220, 80, 5210},
         .bandwidth = 80,
         .primary = 44,
         .secondary = RADIOCTL_SECONDARY_ABOVE,
         .centre = 42},
        {.name = "80 MHz, fourth",
         .on = {5240, 80, 5210},
         .bandwidth = 80,
         .primary = 48,
         .secondary = RADIOCTL_SECONDARY_BELOW,
         .centre = 42},
        {.name = "160 MHz", .on = {5180, 160, 5250}, .bandwidth = 160, .primary = 36},
        {.name = "6 GHz",
         .on = {6135, 80, 6145},
         .bandwidth = 80,
         .primary = 37,
         .secondary = RADIOCTL_SECONDARY_BELOW,
         .centre = 39},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::array<std::uint8_t, RADIOCTL_INFO_SIZE> record;
        record.fill(0xff);

        ASSERT_TRUE(write_radio_info(record.data(), row.on));

        const auto read = rfcd::read_radio_info(record);
        EXPECT_EQ(read.bandwidth, row.bandwidth);
        EXPECT_EQ(read.primary, row.primary);
        EXPECT_EQ(read.secondary, row.secondary);
        EXPECT_EQ(read.centre, row.centre);
    }
}

}  // namespace
}  // namespace radioctl
