#include "lab/rf_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "lab/rf_geometry.h"

namespace lab {
namespace {

TEST(RfGeometry, BlockSurroundsItsCentre) {
    const struct {
        const char* name;
        channel_use use;
        double low;
        double high;
    } rows[] = {
        {.name = "2.4 GHz", .use = {2, 6, 20}, .low = 2427, .high = 2447},
        {.name = "2.4 GHz, channel 14", .use = {2, 14, 20}, .low = 2474, .high = 2494},
        {.name = "above its primary", .use = {2, 1, 40, "lower"}, .low = 2402, .high = 2442},
        {.name = "below its primary", .use = {2, 6, 40, "upper"}, .low = 2407, .high = 2447},
        {.name = "5 GHz, 20 MHz", .use = {5, 44, 20}, .low = 5210, .high = 5230},
        {.name = "5 GHz, 80 MHz", .use = {5, 48, 80, "uu"}, .low = 5170, .high = 5250},
        {.name = "second series", .use = {5, 144, 80}, .low = 5650, .high = 5730},
        {.name = "third series", .use = {5, 157, 160}, .low = 5735, .high = 5895},
        {.name = "centre as channel", .use = {5, 50, 160}, .low = 5170, .high = 5330},
        {.name = "6 GHz, 80 MHz", .use = {6, 37, 80}, .low = 6105, .high = 6185},
        {.name = "6 GHz, 320 MHz", .use = {6, 85, 320}, .low = 6265, .high = 6585},
        {.name = "half-way centre", .use = {6, 63, 320}, .low = 6105, .high = 6425},
        {.name = "no width", .use = {6, 1, 0}, .low = 5945, .high = 5965},
    };

    for (const auto& row : rows) {
        const auto block = block_of(row.use);
        ASSERT_TRUE(block) << row.name;
        EXPECT_EQ(block->low, row.low) << row.name;
        EXPECT_EQ(block->high, row.high) << row.name;
    }
}

TEST(RfGeometry, ChannelOutsideOfItsBandHasNoBlock) {
    EXPECT_FALSE(block_of({4, 6, 20}));
    EXPECT_FALSE(block_of({2, 0, 20}));
    EXPECT_FALSE(block_of({2, 36, 20}));
}

TEST(RfGeometry, LabelsStayApartWithinTheAreaAndTheFirstStandWhereTheyBelong) {
    const box label{0, 0, 100, 10};
    const box area{0, 0, 240, 150};
    const auto places = place_labels(std::vector<point>(200, {150, 100}), label, area);

    ASSERT_TRUE(places[0]);
    EXPECT_EQ(places[0]->x, 100);
    EXPECT_EQ(places[0]->y, 90);
    std::vector<box> found;
    for (const auto& place : places) {
        if (!place) continue;
        EXPECT_GE(place->x, area.x);
        EXPECT_LE(place->x + place->width, area.x + area.width);
        EXPECT_GE(place->y, area.y);
        EXPECT_LE(place->y + place->height, area.y + area.height);
        for (const auto& other : found) EXPECT_FALSE(overlap(*place, other));
        found.push_back(*place);
    }
    EXPECT_GT(found.size(), 20U) << "what is free near the anchor is used";
    EXPECT_LT(found.size(), 40U);
}

unsigned count(const std::string& text, const std::string& part) {
    const std::regex searched(part);
    return static_cast<unsigned>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), searched), {}));
}

TEST(RfPicture, EachBandHasWhatWasHeardThereAndOurRadio) {
    const std::string picture = draw_environment(
        R"({"radios":[{"id":1,"status":1,"band":5,"channel":36,"bandwidth":80,"power":20},)"
        R"({"id":2,"status":0,"band":6,"channel":37}],"rf-environment":[[)"
        R"({"bssid":"02:00:00:00:00:01","rssi":-80,"channel":36,"bandwidth":20,"band":5},)"
        R"({"bssid":"<script>alert()</script>","rssi":-70,"channel":6,"band":2}]]})");

    EXPECT_EQ(count(picture, "class=\"title\""), 2U) << "6 GHz has nothing";
    EXPECT_EQ(count(picture, ">02:00:00:00:00:01<"), 1U);
    EXPECT_EQ(count(picture, "our wlan1, 20 dBm"), 1U);
    EXPECT_EQ(count(picture, "our wlan2"), 0U);
    EXPECT_EQ(count(picture, "<script"), 0U) << "a text from outside is no markup";
}

TEST(RfPicture, StrongestSweepCounts) {
    const auto sweep = [](const std::string& rssi) {
        return R"([{"bssid":"02:00:00:00:00:01","channel":36,"band":5,"rssi":)" + rssi + "}]";
    };
    const auto draw = [](const std::string& sweeps) {
        return draw_environment(R"({"rf-environment":[)" + sweeps + "]}");
    };

    EXPECT_EQ(draw(sweep("-80") + "," + sweep("-60") + "," + sweep("-70")), draw(sweep("-60")));
    EXPECT_NE(draw(sweep("-80")), draw(sweep("-60")));
}

TEST(RfPicture, AccessPointsWithoutRoomForALabelAreCounted) {
    std::string heard;
    for (int i = 100; i < 300; ++i) {
        heard += (heard.empty() ? "" : ",") + std::string(R"({"bssid":"02:00:00:00:00:)") +
                 std::to_string(i) + R"(","rssi":-70,"channel":6,"bandwidth":20,"band":2})";
    }

    const std::string picture = draw_environment(R"({"rf-environment":[[)" + heard + "]]}");

    const auto labelled = count(picture, "<text class=\"bssid");
    EXPECT_EQ(count(picture, "<path class=\"ap "), 200U);
    EXPECT_EQ(count(picture, "200 access points: " + std::to_string(labelled) +
                                 " with a label, and " + std::to_string(200 - labelled) + " more"),
              1U);
}

}  // namespace
}  // namespace lab
