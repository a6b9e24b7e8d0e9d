// The reader of beacon elements. Elements are written byte by byte, as they come over the air.
#include "nl80211/elements.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace nl80211 {
namespace {

using bytes = std::vector<std::uint8_t>;

bytes element(std::uint8_t id, bytes content) {
    content.insert(content.begin(), {id, static_cast<std::uint8_t>(content.size())});
    return content;
}

bytes extension(std::uint8_t id, bytes content) {
    content.insert(content.begin(), id);
    return element(255, content);
}

bytes ssid(std::size_t length, std::uint8_t byte) { return element(0, bytes(length, byte)); }

// `parameters`: 0x5 is 40 MHz with the secondary channel above, 0x7 below, 0x0 is 20 MHz.
bytes ht(std::uint8_t primary, std::uint8_t parameters, std::uint8_t centre_2 = 0) {
    bytes content(22);
    content[0] = primary;
    content[1] = parameters;
    content[2] = static_cast<std::uint8_t>(centre_2 << 5);
    content[3] = static_cast<std::uint8_t>(centre_2 >> 3);
    return element(61, content);
}

bytes vht(std::uint8_t width, std::uint8_t centre_1, std::uint8_t centre_2 = 0) {
    return element(192, {width, centre_1, centre_2, 0, 0});
}

bytes he_6ghz(std::uint8_t primary, std::uint8_t width, std::uint8_t centre_1,
              std::uint8_t centre_2 = 0) {
    return extension(36, {0, 0, 0x02, 0, 0, 0, primary, width, centre_1, centre_2, 0});
}

// The same with the fields of VHT and of co-hosted networks before it.
bytes long_he_6ghz(std::uint8_t primary, std::uint8_t width, std::uint8_t centre_1) {
    return extension(36, {0, 0xc0, 0x02, 0, 0, 0, 1, 155, 0, 8, primary, width, centre_1, 0, 0});
}

bytes eht(std::uint8_t width, std::uint8_t centre_1, std::uint8_t centre_2) {
    return extension(106, {0x01, 0, 0, 0, 0, width, centre_1, centre_2});
}

bytes all_of(const std::vector<bytes>& elements) {
    bytes all;
    for (const auto& each : elements) all.insert(all.end(), each.begin(), each.end());
    return all;
}

TEST(Elements, ChannelAndWidth) {
    const struct {
        const char* name;
        int heard_mhz;
        std::vector<bytes> elements{};
        int primary;
        int width = 20;
        int centre;
        int place = 0;
    } rows[] = {
        {.name = "no element", .heard_mhz = 2484, .elements = {}, .primary = 14, .centre = 14},
        {.name = "heard beside its channel",
         .heard_mhz = 2437,
         .elements = {element(3, {7})},
         .primary = 7,
         .centre = 7},
        {.name = "a channel that does not exist",
         .heard_mhz = 2437,
         .elements = {ht(200, 0)},
         .primary = 6,
         .centre = 6},
        {.name = "another channel of 5 GHz",
         .heard_mhz = 5180,
         .elements = {ht(149, 0x5)},
         .primary = 36,
         .width = 40,
         .centre = 38},
        {.name = "40 MHz, above",
         .heard_mhz = 2412,
         .elements = {ht(1, 0x5)},
         .primary = 1,
         .width = 40,
         .centre = 3},
        {.name = "40 MHz, below",
         .heard_mhz = 5220,
         .elements = {ht(44, 0x7)},
         .primary = 44,
         .width = 40,
         .centre = 42,
         .place = 1},
        {.name = "40 MHz beyond the band",
         .heard_mhz = 2412,
         .elements = {ht(1, 0x7)},
         .primary = 1,
         .centre = 1},
        {.name = "a secondary channel that is not used",
         .heard_mhz = 5180,
         .elements = {ht(36, 0x1)},
         .primary = 36,
         .centre = 36},
        {.name = "80 MHz",
         .heard_mhz = 5240,
         .elements = {ht(48, 0x7), vht(1, 42)},
         .primary = 48,
         .width = 80,
         .centre = 42,
         .place = 3},
        {.name = "VHT of 40 MHz",
         .heard_mhz = 5180,
         .elements = {ht(36, 0x5), vht(0, 42)},
         .primary = 36,
         .width = 40,
         .centre = 38},
        {.name = "160 MHz",
         .heard_mhz = 5200,
         .elements = {ht(40, 0x7), vht(1, 42, 50)},
         .primary = 40,
         .width = 160,
         .centre = 50,
         .place = 1},
        {.name = "160 MHz, the old way",
         .heard_mhz = 5200,
         .elements = {vht(2, 50)},
         .primary = 40,
         .width = 160,
         .centre = 50,
         .place = 1},
        {.name = "160 MHz, its centre in HT",
         .heard_mhz = 5200,
         .elements = {ht(40, 0x7, 50), vht(1, 42)},
         .primary = 40,
         .width = 160,
         .centre = 50,
         .place = 1},
        {.name = "80+80 MHz, the old way",
         .heard_mhz = 5200,
         .elements = {vht(3, 42, 155)},
         .primary = 40,
         .width = 80,
         .centre = 42,
         .place = 1},
        {.name = "80+80 MHz",
         .heard_mhz = 5200,
         .elements = {vht(1, 42, 155)},
         .primary = 40,
         .width = 80,
         .centre = 42,
         .place = 1},
        {.name = "VHT without a place for the primary channel",
         .heard_mhz = 5500,
         .elements = {ht(100, 0x5), vht(1, 42)},
         .primary = 100,
         .width = 40,
         .centre = 102},
        {.name = "VHT on 2.4 GHz",
         .heard_mhz = 2432,
         .elements = {ht(5, 0x5), vht(1, 7)},
         .primary = 5,
         .width = 40,
         .centre = 7},
        {.name = "6 GHz, 80 MHz",
         .heard_mhz = 6135,
         .elements = {he_6ghz(37, 2, 39)},
         .primary = 37,
         .width = 80,
         .centre = 39,
         .place = 1},
        {.name = "6 GHz after optional fields",
         .heard_mhz = 6115,
         .elements = {long_he_6ghz(33, 1, 35)},
         .primary = 33,
         .width = 40,
         .centre = 35},
        {.name = "6 GHz, 160 MHz",
         .heard_mhz = 6135,
         .elements = {he_6ghz(37, 3, 39, 47)},
         .primary = 37,
         .width = 160,
         .centre = 47,
         .place = 1},
        {.name = "320 MHz",
         .heard_mhz = 6135,
         .elements = {he_6ghz(37, 3, 39, 47), eht(4, 47, 63)},
         .primary = 37,
         .width = 320,
         .centre = 63,
         .place = 1},
        {.name = "EHT of 80 MHz",
         .heard_mhz = 5200,
         .elements = {eht(2, 42, 99)},
         .primary = 40,
         .width = 80,
         .centre = 42,
         .place = 1},
        {.name = "EHT of a width that does not exist",
         .heard_mhz = 5200,
         .elements = {vht(1, 42), eht(7, 42, 42)},
         .primary = 40,
         .width = 80,
         .centre = 42,
         .place = 1},
        {.name = "HE and EHT without their information",
         .heard_mhz = 6135,
         .elements = {extension(36, {0, 0, 0, 0, 0, 0, 37, 2, 39, 0, 0}),
                      extension(106, {0, 0, 0, 0, 0, 2, 39, 0})},
         .primary = 37,
         .centre = 37},
        {.name = "HE before EHT without a place",
         .heard_mhz = 6135,
         .elements = {eht(4, 191, 191), he_6ghz(37, 2, 39)},
         .primary = 37,
         .width = 80,
         .centre = 39,
         .place = 1},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);

        const auto about = read_elements(all_of(row.elements), row.heard_mhz);

        ASSERT_TRUE(about);
        EXPECT_EQ(about->primary.number, row.primary);
        EXPECT_EQ(about->wide.width_mhz, row.width);
        EXPECT_EQ(about->wide.centre, row.centre);
        EXPECT_EQ(about->place, row.place);
    }
    EXPECT_FALSE(read_elements({}, 4000)) << "a frequency of no band";
}

TEST(Elements, NameAndPower) {
    const struct {
        const char* name;
        std::vector<bytes> elements{};
        int heard_mhz = 5240;
        std::size_t ssid_length = 0;
        bool hidden = true;
        std::optional<int> tx_power{};
        std::optional<int> limit{};
    } rows[] = {
        {.name = "no SSID", .elements = {}},
        {.name = "zeros for an SSID", .elements = {ssid(6, 0)}, .ssid_length = 6},
        {.name = "32 bytes", .elements = {ssid(32, 0xff)}, .ssid_length = 32, .hidden = false},
        {.name = "33 bytes", .elements = {ssid(33, 'a')}},
        {.name = "the first of two", .elements = {ssid(0, 0), ssid(3, 'a')}},
        {.name = "TPC report", .elements = {element(35, {0xfe, 0})}, .tx_power = -2},
        {.name = "TPC report, too short", .elements = {element(35, {20})}},
        {.name = "country",
         .elements = {element(7, {'D', 'E', ' ', 201, 1, 0, 36, 4, 23, 100, 11, 30})},
         .limit = 23},
        {.name = "country without the channel",
         .elements = {element(7, {'D', 'E', ' ', 36, 3, 23, 52, 4, 30})}},
        {.name = "an operating triplet of 6 GHz",
         .elements = {element(7, {'D', 'E', ' ', 201, 134, 0})},
         .heard_mhz = 6975},
        {.name = "country that ends within a triplet",
         .elements = {element(7, {'D', 'E', ' ', 36, 4})}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);

        const auto about = read_elements(all_of(row.elements), row.heard_mhz);

        ASSERT_TRUE(about);
        EXPECT_EQ(about->ssid.size(), row.ssid_length);
        EXPECT_EQ(about->hidden, row.hidden);
        EXPECT_EQ(about->tx_power, row.tx_power);
        EXPECT_EQ(about->regulatory_power, row.limit);
    }
}

// Memory of exactly that length lets AddressSanitizer see any read beyond it.
TEST(Elements, CutAtEveryByte) {
    const bytes whole =
        all_of({ssid(5, 'a'), element(3, {6}), element(7, {'D', 'E', ' ', 36, 4, 23}),
                element(35, {20, 0}), ht(37, 0x5), vht(1, 42, 50), long_he_6ghz(37, 3, 39),
                eht(4, 47, 63)});

    for (const int heard_mhz : {2437, 5180, 6135}) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            SCOPED_TRACE(length);
            const auto part = std::make_unique<std::uint8_t[]>(length);
            std::copy_n(whole.begin(), length, part.get());

            const auto about = read_elements({part.get(), length}, heard_mhz);

            ASSERT_TRUE(about);
            EXPECT_NE(about->wide.width_mhz, 320) << "the last element is not whole";
        }
    }
    EXPECT_EQ(read_elements(whole, 6135)->wide.width_mhz, 320);
}

}  // namespace
}  // namespace nl80211
