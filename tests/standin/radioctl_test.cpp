// The simulated radios, read through the driver's own record readers.
#include "platform/radioctl.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>

#include "driver/radio_records.h"
#include "lab/child_process.h"
#include "radioctl/radio_scene.h"

namespace {

TEST(Radioctl, RadiosHearTheirBandOnTheChannelsThatAreScanned) {
    std::filesystem::create_directories("/run/radioctl");
    lab::write_file(standin::scene_path, R"({"radios":[{"name":"wlan1","band":5,"channel":44,"width":80,)"
                                         R"("sideband":"ul"}],"neighbours":[{"bssid":"02:00:00:00:00:0a","band":5,)"
                                         R"("channel":40,"width":40,"sideband":"upper","rssi":-61,"power":17},)"
                                         R"({"bssid":"02:00:00:00:00:0b","band":2,"channel":6,"width":20}]})");
    radioctl_ctx ctx{};
    const auto active = [&] {
        radioctl_scan_results results;
        scan_results_init(&results);
        radioctl_get_scan(&ctx, "wlan1-vap2", &results);
        std::vector<rfcd::scan_result> list;
        for (std::size_t i = 0; i < results.count; ++i) {
            const auto* entry = static_cast<std::uint8_t*>(results.entries) + i * RADIOCTL_ENTRY_SIZE;
            list.push_back(rfcd::read_active_entry({entry, RADIOCTL_ENTRY_SIZE}));
        }
        scan_results_free(&results);
        return list;
    };
    std::array<std::uint8_t, RADIOCTL_INFO_SIZE> info{};
    EXPECT_EQ(radioctl_get_radio_info(&ctx, "wlan1", info.data()), 0);
    EXPECT_EQ(rfcd::chanspec_of(rfcd::read_radio_info(info)), 44 | 0x2200);
    EXPECT_LT(radioctl_get_radio_info(&ctx, "wlan0", info.data()), 0) << "no such radio";
    radioctl_scan_params params{};
    const std::uint32_t frequencies[] = {5180, 5200};
    params.frequencies = frequencies;
    EXPECT_NE(radioctl_start_scan(&ctx, "wlan1", &params), 0) << "the radio is not locked";
    for (const auto& [count, heard] : {std::pair{1U, 0U}, {2U, 1U}, {0U, 1U}}) {
        ASSERT_EQ(radioctl_lock_and_stop_scan(&ctx, "wlan1", 22), 0);
        EXPECT_TRUE(active().empty()) << "nothing was scanned yet";
        params.frequency_count = count;
        EXPECT_EQ(radioctl_start_scan(&ctx, "wlan1", &params), 0);
        EXPECT_EQ(active().size(), heard) << count;
    }
    EXPECT_EQ(active()[0], (rfcd::scan_result{{{2, 0, 0, 0, 0, 10}}, -61, 40, 40, 0, 0, 5}));
    radioctl_rrm_scan_init(&ctx, "wlan1", 40);
    std::array<std::uint8_t, RADIOCTL_RRM_SIZE> buffer{};
    radioctl_rrm_scan_get_result(&ctx, "wlan1", buffer.data());
    EXPECT_EQ(rfcd::read_rrm_head(buffer).count, 1);
    const auto entry = rfcd::read_rrm_entries(buffer).at(0);
    EXPECT_EQ(entry.rssi + entry.tx_power, -61 + 17);
    EXPECT_EQ(entry.chanspec, 38 | 0x1900) << "the centre of the wide channel";
    lab::write_file(standin::scene_path, R"({"radios":[{"name":"wlan1","band":5}],"faults":[)"
                                         R"({"call":"radioctl_rrm_scan_get_result","field":"count","value":300}]})");
    radioctl_rrm_scan_get_result(&ctx, "wlan1", buffer.data());
    EXPECT_EQ(rfcd::read_rrm_head(buffer).count, 300);
    lab::write_file(standin::scene_path, "{broken");
    EXPECT_LT(radioctl_scan_abort(&ctx, "wlan1"), 0) << "a scene that cannot be read is empty";
}

}  // namespace
