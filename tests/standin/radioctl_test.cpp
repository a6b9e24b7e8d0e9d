// The simulated radios, read through the driver's own record readers.
#include "platform/radioctl.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>

#include "driver/radio_records.h"
#include "harness/child_process.h"
#include "radioctl/radio_scene.h"

namespace {

class Radioctl : public testing::Test {
  protected:
    Radioctl() {
        std::filesystem::create_directories("/run/radioctl");
        lab::write_file(standin::scene_path, R"({"radios":[
            {"name":"wlan1","band":5,"channel":44,"width":80,"sideband":"ul"}],"neighbours":[
            {"bssid":"02:00:00:00:00:0a","band":5,"channel":40,"width":40,"sideband":"upper",
             "rssi":-61,"power":17},
            {"bssid":"02:00:00:00:00:0b","band":2,"channel":6,"width":20},
            {"bssid":"02:00:00:00:00:0c","band":5,"channel":2000000000,"width":20,
             "rssi":2000000000}]})");
    }

    std::vector<rfcd::scan_result> active_results() {
        radioctl_scan_results results;
        scan_results_init(&results);
        radioctl_get_scan(&ctx, "wlan1-vap2", &results);

        std::vector<rfcd::scan_result> list;
        const auto* entry = static_cast<std::uint8_t*>(results.entries);
        for (std::size_t i = 0; i < results.count; ++i, entry += RADIOCTL_ENTRY_SIZE) {
            list.push_back(rfcd::read_active_entry({entry, RADIOCTL_ENTRY_SIZE}));
        }
        scan_results_free(&results);
        return list;
    }

    radioctl_ctx ctx{};
};

TEST_F(Radioctl, ActiveScanHearsTheChannelsThatAreScanned) {
    const std::uint32_t frequencies[] = {5180, 5200};
    const struct {
        const char* name;
        std::uint32_t frequencies;
        std::size_t heard;
    } rows[] = {{.name = "channel 36", .frequencies = 1, .heard = 0},
                {.name = "and 40", .frequencies = 2, .heard = 1},
                {.name = "all", .frequencies = 0, .heard = 2}};
    radioctl_scan_params params{};
    params.frequencies = frequencies;
    EXPECT_NE(radioctl_start_scan(&ctx, "wlan1", &params), 0) << "the radio is not locked";

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_EQ(radioctl_lock_and_stop_scan(&ctx, "wlan1", 22), 0);
        EXPECT_TRUE(active_results().empty()) << "nothing was scanned yet";
        params.frequency_count = row.frequencies;
        EXPECT_EQ(radioctl_start_scan(&ctx, "wlan1", &params), 0);
        EXPECT_EQ(active_results().size(), row.heard);
    }

    EXPECT_EQ(active_results()[0],
              (rfcd::scan_result{{{2, 0, 0, 0, 0, 10}}, -61, 40, 40, 0, 0, 5}));
    radioctl_stop_rrm_and_unlock_scan(&ctx, "wlan1");
}

TEST_F(Radioctl, SceneIsReadAgainAtEveryCall) {
    std::array<std::uint8_t, RADIOCTL_RRM_SIZE> buffer{};
    lab::write_file(standin::scene_path,
                    R"({"radios":[{"name":"wlan1","band":5}],"faults":[)"
                    R"({"call":"radioctl_rrm_scan_get_result","field":"count","value":300}]})");
    radioctl_rrm_scan_get_result(&ctx, "wlan1", buffer.data());
    EXPECT_EQ(rfcd::read_rrm_head(buffer).count, 300);

    lab::write_file(standin::scene_path, "{broken");
    EXPECT_LT(radioctl_scan_abort(&ctx, "wlan1"), 0) << "a scene that cannot be read is empty";
}

}  // namespace
