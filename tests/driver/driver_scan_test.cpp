#include "support/driver_fixture.h"

namespace rfcd {
namespace {

using fake_radio::library;

const scan_channel_map channels{{2, {1, 6, 11}}, {5, {36, 40}}, {6, {5}}};

class DriverScan : public DriverTest {
  protected:
    DriverScan() {
        drv->get_chanspec("wlan0");  // opens the context
        fake_radio::take_record();
        fake_log::reset(7);
    }

    int start(bool active, const scan_channel_map& list = channels, int seconds = 0) {
        EXPECT_EQ(drv->start_scan(active, list, &seconds), 0);
        return seconds;
    }
    int seconds_of(const scan_channel_map& list, int at_first = 0) {
        const int seconds = start(true, list, at_first);
        drv->stop_scan(true);
        return seconds;
    }
    // The calls of the radio library since the last call, then the messages to the bus.
    static std::string asked() {
        const std::regex notice(".\"command\":\"(\\w+)-scan\",\"interface\":\"(\\w+)\".");
        return fake_radio::take_record() +
               std::regex_replace(fake_peermsg::take_record(), notice, "$1 $2");
    }
};

TEST_F(DriverScan, ActiveScanRunsOnUsableRadiosUntilStopped) {
    EXPECT_EQ(start(true), 3) << "three channels take 3 * 7 / 10 + 1 seconds";
    EXPECT_EQ(asked(),
              "lock wlan0 22, start wlan0 2412 2437 2462, lock wlan1 22, start wlan1 5180 5200, "
              "send 34 lock wlan0, send 34 lock wlan1, send 34 lock wlan2, ");
    EXPECT_EQ(log(),
              "info Attempt to start active scanning...\n"
              "info Start active scanning for radio 'wlan0'\n"
              "info Start active scanning for radio 'wlan1'\n"
              "error Failed to start active scanning for radio 'wlan2'\n"
              "error Cannot stop active scanning for radio 'wlan2'");

    start(false);
    EXPECT_EQ(asked(), "") << "one scan at a time";

    drv->stop_scan(false);
    EXPECT_EQ(asked(),
              "abort wlan0, unlock wlan0, abort wlan1, unlock wlan1, "
              "send 34 unlock wlan0, send 34 unlock wlan1, ");
    EXPECT_EQ(log(),
              "info Attempt to stop scanning...\n"
              "info Stop active scanning for radio 'wlan0'\n"
              "info Stop active scanning for radio 'wlan1'\n");
}

TEST_F(DriverScan, RrmScanTakesTheLowestChannel) {
    EXPECT_EQ(start(false, channels, 20), 8);
    EXPECT_EQ(asked(),
              "lock wlan0 13, rrm wlan0 1, lock wlan1 13, rrm wlan1 36, "
              "send 34 lock wlan0, send 34 lock wlan1, send 34 lock wlan2, ");
    EXPECT_TRUE(
        log().starts_with("info Attempt to start RRM scanning...\n"
                          "info Execute RRM scan on channel 1 time 8\n"));

    drv->stop_all_scans();
    EXPECT_EQ(asked(), "unlock wlan0, unlock wlan1, send 34 unlock wlan0, send 34 unlock wlan1, ");
    drv->get_radio(1)->sentry = true;
    start(false);
    EXPECT_EQ(fake_radio::take_record(), "lock wlan0 13, rrm wlan0 1, unlock wlan1, ");
}

TEST_F(DriverScan, TimesOfActiveScans) {
    const std::set<int> all_2ghz{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
    EXPECT_EQ(seconds_of({{2, all_2ghz}, {5, {36}}}), 10) << "the longer list";
    EXPECT_EQ(seconds_of({{2, {}}, {5, {36}}}), 10) << "all of 2.4 GHz";
    EXPECT_EQ(seconds_of({{2, {1}}, {5, {}}}), 15) << "all of 5 GHz";
    EXPECT_EQ(seconds_of(channels, 20), 20) << "never lowered";

    add_vap("wlan2-vap0", "wlan2", "office", "WPA3");
    drv->init_interface_context();
    EXPECT_EQ(seconds_of({{2, {}}, {5, {}}, {6, {}}}), 17) << "all of 6 GHz";
}

TEST_F(DriverScan, NumbersWithoutAFrequencyAreLeftOut) {
    start(true, {{2, {-2147483647, -1, 0, 1, 300}}, {5, {36, 2147483647}}});

    EXPECT_EQ(fake_radio::take_record(),
              "lock wlan0 22, start wlan0 2402 2407 2412 3907, lock wlan1 22, start wlan1 5180 "
              "2147483647, ");
}

TEST_F(DriverScan, RadioThatDoesNotStartIsStoppedAndUnlocked) {
    struct attempt {
        bool active;
        std::string fault;
        std::set<int> list;
    };
    std::string logged;
    const auto asked_in = [&](const attempt& a) {
        library.results = {{a.fault, 9}};
        start(a.active, {{2, a.list}, {5, {36}}});
        const std::string all = asked();
        EXPECT_NE(all.find("send 34 lock wlan0, send 34 unlock wlan0, "), std::string::npos);
        logged = log();
        library.results.clear();
        drv->stop_scan(true);
        asked();
        return all.substr(0, all.find("lock wlan1"));
    };
    EXPECT_EQ(asked_in({.active = true, .fault = "lock wlan0", .list = {1}}),
              "lock wlan0 22, abort wlan0, unlock wlan0, ");
    EXPECT_EQ(asked_in({.active = true, .fault = "start wlan0", .list = {1}}),
              "lock wlan0 22, start wlan0 2412, abort wlan0, unlock wlan0, ");
    EXPECT_NE(logged.find("error <start_active_scan> ret=9\n"), std::string::npos);
    EXPECT_EQ(asked_in({.active = false, .fault = "lock wlan0", .list = {1}}),
              "lock wlan0 13, unlock wlan0, ");
    EXPECT_NE(logged.find("error <start_rrm_scan> ret=9\n"), std::string::npos);
    EXPECT_EQ(asked_in({.active = false, .fault = "", .list = {}}), "unlock wlan0, ");
    EXPECT_NE(logged.find("error <start_rrm_scan> Channel list is empty!\n"), std::string::npos);
}

TEST_F(DriverScan, ScanThatDoesNotStopKeepsRunning) {
    start(true);
    library.results = {{"abort wlan0", 7}, {"unlock wlan1", 8}};
    log();
    drv->stop_scan(true);
    EXPECT_EQ(log(),
              "info Attempt to stop scanning...\nerror <stop_active_scan> ret=7\n"
              "error Cannot stop active scanning for radio 'wlan0'"
              "error <stop_active_scan> ret=8\n"
              "error Cannot stop active scanning for radio 'wlan1'");
    EXPECT_TRUE(drv->is_scan_in_progress());

    library.results.clear();
    drv->stop_scan(true);
    EXPECT_FALSE(drv->is_scan_in_progress());

    start(false);
    library.results = {{"unlock wlan0", 8}};
    drv->stop_scan(true);
    EXPECT_NE(log().find("error <stop_rrm_scan> ret=8\n"), std::string::npos);
    EXPECT_TRUE(drv->is_scan_in_progress());
}

TEST_F(DriverScan, BandWithoutAnEntryLeavesTheCall) {
    int seconds = 0;
    EXPECT_THROW(drv->start_scan(true, {{2, {1}}}, &seconds), std::out_of_range);
    EXPECT_TRUE(drv->is_scan_in_progress()) << "wlan0 was started before";
}

TEST_F(DriverScan, ActiveResults) {
    library.active["wlan0"] = fake_radio::active_entry({.rssi = -50});
    library.active["wlan1"] = fake_radio::active_entry({.rssi = -60});
    library.results["get wlan0"] = 1;  // only a negative result is a failure
    std::vector<scan_result> table(3);
    EXPECT_EQ(drv->_fill_ap_table(table), 0);
    ASSERT_EQ(table.size(), 2U);
    EXPECT_EQ(table[0].rssi, -50);
    EXPECT_EQ(table[1].rssi, -60);

    library.results["get wlan0"] = -5;
    drv->_fill_ap_table(table);
    EXPECT_EQ(table.size(), 1U);
    EXPECT_NE(log().find("error <_fill_ap_table> ret=-5\n"), std::string::npos);
    EXPECT_EQ(library.open_containers, 0);
}

// The context belongs to the process, so this test needs a process of its own.
TEST(DriverScanDeathTest, LibraryThatDoesNotOpenIsTriedAgain) {
    struct opening : DriverTest {
        void TestBody() override {
            for (const int result : {-1, -1, 0, 0}) {
                library.results["init"] = result;
                drv->get_chanspec("wlan0");
            }
            std::fputs(fake_radio::take_record().c_str(), stderr);
            std::_Exit(0);
        }
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    EXPECT_EXIT(opening().TestBody(), testing::ExitedWithCode(0),
                "^init, init, init, info wlan0, info wlan0, $");
}

TEST_F(DriverScan, RrmResults) {
    library.rrm["wlan1"] = fake_radio::rrm_buffer({});
    drv->get_radio(2)->sentry = true;  // otherwise its missing VAP fails the read
    fake_log::reset(log_mask_all & ~log_mask_info);
    std::vector<scan_result> table;
    const auto result_of = [&](const fake_radio::rrm_results& wlan0) {
        library.rrm["wlan0"] = fake_radio::rrm_buffer(wlan0);
        return drv->fill_rrm_ap_table(table);
    };
    EXPECT_EQ(result_of({.magic = 0x1234, .entries = {{}}}), -1);
    EXPECT_EQ(log(), "debug Scan results for wlan0 incorrect magic 1234\n");
    EXPECT_EQ(result_of({.running = 1, .entries = {{}}}), -1);
    EXPECT_EQ(log(), "debug Can't get rrm scan results, it is still in progress!\n");
    EXPECT_EQ(result_of({}), 0);
    EXPECT_TRUE(log().starts_with("debug No rrm scan AP data for wlan0.\n"));
    EXPECT_TRUE(table.empty());

    fake_log::reset(log_mask_info);
    const fake_radio::rrm_fields heard{
        .power = 17 << 2, .chanspec = 0x2000 | 42, .rssi_sum = -240, .samples = 4};
    EXPECT_EQ(result_of({.entries = {heard}}), 0);
    EXPECT_EQ(table.size(), 1U);
    EXPECT_EQ(
        log(),
        "info Attempt to fill a rrm scanning result table...\n"
        "info \t - mac(cd:cd:cd:cd:cd:cd), channel(36), bw(80), rssi(-60), power(17), band(5), "
        "prim_ch(0);\n");
}

TEST_F(DriverScan, RrmResultsEndAtTheFirstFailure) {
    library.rrm["wlan0"] = fake_radio::rrm_buffer({.entries = {{}}});
    library.rrm["wlan1"] = fake_radio::rrm_buffer({.entries = {{}}});
    std::vector<scan_result> table;
    EXPECT_EQ(drv->fill_rrm_ap_table(table), -1) << "a radio without an up VAP";
    EXPECT_EQ(table.size(), 2U);
    EXPECT_NE(log().find("error <_fill_ap_table_norda_rrm> No active interface on radio 'wlan2'\n"),
              std::string::npos);

    library.results["result wlan0"] = 4;
    EXPECT_EQ(drv->fill_rrm_ap_table(table), 4) << "the library's answer, though it filled them";
    EXPECT_EQ(table.size(), 1U);
}

}  // namespace
}  // namespace rfcd
