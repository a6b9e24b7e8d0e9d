#include "support/driver_fixture.h"

namespace rfcd {
namespace {

using fake_radio::library;

const scan_channel_map channels{{2, {1, 6, 11}}, {5, {36, 40}}, {6, {5}}};

class DriverScan : public DriverTest {
  protected:
    DriverScan() {
        library.results["init"] = 0;
        drv->get_chanspec("wlan0");  // the context is open from here on
        fake_radio::take_record();
        fake_log::reset(7);
    }

    int start(bool active, const scan_channel_map& list = channels, int seconds = 0) {
        EXPECT_EQ(drv->start_scan(active, list, &seconds), 0);
        return seconds;
    }
    static std::string notice(const char* command, const char* radio) {
        return std::string("send 34 {\"command\":\"") + command + "-scan\",\"interface\":\"" +
               radio + "\"}, ";
    }
    static std::string locks() {
        return notice("lock", "wlan0") + notice("lock", "wlan1") + notice("lock", "wlan2");
    }
    void expect_calls(const std::string& radio, const std::string& bus) {
        EXPECT_EQ(fake_radio::take_record(), radio);
        EXPECT_EQ(fake_peermsg::take_record(), bus);
    }
};

TEST_F(DriverScan, ActiveScanRunsOnUsableRadiosUntilStopped) {
    EXPECT_EQ(start(true), 3) << "three channels take 3 * 7 / 10 + 1 seconds";
    expect_calls(
        "lock wlan0 22, start wlan0 2412 2437 2462, lock wlan1 22, "
        "start wlan1 5180 5200, ",
        locks());
    EXPECT_EQ(log(),
              "info Attempt to start active scanning...\n"
              "info Start active scanning for radio 'wlan0'\n"
              "info Start active scanning for radio 'wlan1'\n"
              "error Failed to start active scanning for radio 'wlan2'\n"
              "error Cannot stop active scanning for radio 'wlan2'");
    EXPECT_TRUE(drv->is_scan_in_progress());
    EXPECT_EQ(start(false), 0) << "one scan at a time";
    expect_calls("", "");
    drv->stop_scan(false);
    expect_calls("abort wlan0, unlock wlan0, abort wlan1, unlock wlan1, ",
                 notice("unlock", "wlan0") + notice("unlock", "wlan1"));
    EXPECT_EQ(log(),
              "info Attempt to stop scanning...\n"
              "info Stop active scanning for radio 'wlan0'\n"
              "info Stop active scanning for radio 'wlan1'\n");
    EXPECT_FALSE(drv->is_scan_in_progress());
    drv->stop_all_scans();
    expect_calls("", "");
}

TEST_F(DriverScan, TimesOfActiveScans) {
    const std::tuple<std::set<int>, std::set<int>, int> rows[] = {
        {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}, {36}, 10},
        {{1}, {}, 15},
        {{}, {36}, 10},
        {{1}, {36}, 1}};
    for (const auto& [band_2, band_5, seconds] : rows) {
        EXPECT_EQ(start(true, {{2, band_2}, {5, band_5}}), seconds);
        drv->stop_scan(true);
    }
    EXPECT_EQ(start(true, channels, 20), 20) << "raised, never lowered";
    drv->stop_scan(true);
    add_vap("wlan2-vap0", "office", "WPA3", true);
    drv->init_interface_context();
    EXPECT_EQ(start(true, {{2, {}}, {5, {1}}, {6, {1}}}), 10) << "the bands' own times";
    drv->stop_scan(true);
    EXPECT_EQ(start(true, {{2, {}}, {5, {}}, {6, {}}}), 17);
}

TEST_F(DriverScan, NumbersThatAreNoChannels) {
    EXPECT_EQ(start(true, {{2, {-2147483647, -1, 0, 1, 300}}, {5, {36, 2147483647}}}), 4);

    EXPECT_EQ(fake_radio::take_record(),
              "lock wlan0 22, start wlan0 2402 2407 2412 3907, lock wlan1 22, start wlan1 5180 "
              "2147483647, ")
        << "what has no frequency at all is left out";
}

TEST_F(DriverScan, RrmScanTakesTheLowestChannel) {
    EXPECT_EQ(start(false, channels, 20), 8);
    expect_calls("lock wlan0 13, rrm wlan0 1, lock wlan1 13, rrm wlan1 36, ", locks());
    EXPECT_TRUE(
        log().starts_with("info Attempt to start RRM scanning...\n"
                          "info Execute RRM scan on channel 1 time 8\n"
                          "info Start RRM scanning for radio 'wlan0'\n"));
    drv->stop_all_scans();
    expect_calls("unlock wlan0, unlock wlan1, ",
                 notice("unlock", "wlan0") + notice("unlock", "wlan1"));
}

TEST_F(DriverScan, FailuresOfOneRadioLeaveTheOthers) {
    const std::tuple<bool, const char*, scan_channel_map, const char*, const char*> rows[] = {
        {true, "lock wlan0", channels, "lock wlan0 22, abort wlan0, unlock wlan0, lock wlan1 22, ",
         "error <start_active_scan> ret=9\nerror Failed to start active scanning for radio "
         "'wlan0'\ninfo Stop active scanning for radio 'wlan0'\ninfo Start active"},
        {true, "start wlan0", channels, "lock wlan0 22, start wlan0 2412 2437 2462, abort wlan0, ",
         "error <start_active_scan> ret=9\n"},
        {false, "lock wlan0", channels, "lock wlan0 13, unlock wlan0, lock wlan1 13, ",
         "error <start_rrm_scan> ret=9\nerror Failed to start RRM scanning for radio 'wlan0'\n"
         "info Stop RRM scanning for radio 'wlan0'\n"},
        {false,
         "none",
         {{2, {}}, {5, {36}}, {6, {}}},
         "unlock wlan0, lock wlan1 13, ",
         "error <start_rrm_scan> Channel list is empty!\n"},
    };
    for (const auto& [active, call, list, radio_calls, log_part] : rows) {
        SCOPED_TRACE(call);
        library.results = {{call, 9}};
        fake_peermsg::take_record();
        start(active, list);
        EXPECT_TRUE(fake_radio::take_record().starts_with(radio_calls));
        EXPECT_NE(log().find(log_part), std::string::npos);
        EXPECT_TRUE(fake_peermsg::take_record().starts_with(notice("lock", "wlan0") +
                                                            notice("unlock", "wlan0")));
        library.results.clear();
        drv->stop_scan(true);
        fake_radio::take_record();
        log();
    }
}

TEST_F(DriverScan, StopThatFailsLeavesTheScanRunning) {
    start(true);
    fake_radio::take_record();
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
    EXPECT_EQ(seconds, 1);
}

TEST_F(DriverScan, ActiveResults) {
    library.active["wlan0"] = fake_radio::active_entry(6, 2, -50, "20", "");
    library.active["wlan1"] = fake_radio::active_entry(44, 5, -60, "80", "UL");
    std::vector<scan_result> table(3);
    EXPECT_EQ(drv->_fill_ap_table(table), 0);
    ASSERT_EQ(table.size(), 2U);
    EXPECT_EQ(table[0].rssi, -50);
    EXPECT_EQ(table[1].sideband, 512);
    library.results["get wlan0"] = -5;
    drv->_fill_ap_table(table);
    EXPECT_EQ(table.size(), 1U);
    EXPECT_NE(log().find("error <_fill_ap_table> ret=-5\n"), std::string::npos);
    library.active.clear();
    library.results.clear();
    library.results["get wlan0"] = 1;
    library.active["wlan0"] = fake_radio::active_entry(6, 2, -50, "20", "");
    drv->_fill_ap_table(table);
    EXPECT_EQ(table.size(), 1U) << "only a negative result is a failure";
    library.active_count_lie = 5000;
    log();
    drv->_fill_ap_table(table);
    EXPECT_TRUE(table.empty());
    EXPECT_NE(log().find("error <_fill_ap_table> 5001 scan results of radio 'wlan0' are not "
                         "believed, the limit is "
                         "4096\n"),
              std::string::npos);
    EXPECT_EQ(library.open_containers, 0) << "each is released";
}

// The context is the process's, so that a process of its own has to be asked.
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
    const auto entry = fake_radio::rrm_entry(17 << 2, 0x2000 | 42, -240, 4);
    const auto unset = fake_radio::rrm_entry(0, 0x0024, 0, 0);
    const std::tuple<fake_radio::bytes, int, std::size_t, const char*> rows[] = {
        {fake_radio::rrm_buffer(2, 5, {entry, unset}), 0, 2,
         "info \t - mac(cd:cd:cd:cd:cd:cd), channel(36), bw(80), rssi(-60), power(17), band(5), "
         "prim_ch(0);\nerror <chanspec_bw> bandwidth is not set in chanspec\n"},
        {fake_radio::rrm_buffer(0, 2, {}), 0, 0, "debug No rrm scan AP data for wlan0.\n"},
        {fake_radio::rrm_buffer(1, 2, {entry}, 0x1234), -1, 0,
         "debug Scan results for wlan0 incorrect magic 1234\n"},
        {fake_radio::rrm_buffer(1, 2, {entry}, RADIOCTL_RRM_MAGIC, 1), -1, 0,
         "debug Can't get rrm scan results, it is still in progress!\n"},
        {fake_radio::rrm_buffer(300, 5, {entry}), 0, 256, "debug Added AP data"},
    };
    library.rrm["wlan1"] = fake_radio::rrm_buffer(0, 5, {});
    drv->get_radio(2)->sentry = true;  // or its missing VAP would answer for it
    fake_log::reset();
    for (const auto& [wlan0, result, found, log_part] : rows) {
        SCOPED_TRACE(log_part);
        library.rrm["wlan0"] = wlan0;
        std::vector<scan_result> table(1);
        EXPECT_EQ(drv->fill_rrm_ap_table(table), result);
        EXPECT_EQ(table.size(), found);
        EXPECT_NE(log().find(log_part), std::string::npos);
    }
    library.results["result wlan0"] = 4;
    std::vector<scan_result> table;
    EXPECT_EQ(drv->fill_rrm_ap_table(table), 4) << "the library's answer, though it filled them";
    EXPECT_EQ(table.size(), 256U);
    drv->get_radio(2)->sentry = false;
    library.results.clear();
    EXPECT_EQ(drv->fill_rrm_ap_table(table), -1) << "a radio without an up VAP";
    EXPECT_NE(log().find("error <_fill_ap_table_norda_rrm> No active interface on radio 'wlan2'\n"),
              std::string::npos);
}

}  // namespace
}  // namespace rfcd
