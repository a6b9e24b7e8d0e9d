// Scans and their reports, settings, fast transition.
#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

using RrmReports = RrmTest;
using RrmApply = RrmTest;

const std::string all_bands =
    R"("rrm-scan-channels-list":[{"2":"6 1 11 1","6":"x"},{"5":"36 40 x 44"},)"
    R"({"2":"13 300 -1 99999999999 14"},null,7,{"7":"1"}])";

scan_result heard(std::uint8_t last, int band, int channel, int bandwidth, int sideband) {
    return {{{2, 0, 0, 0, 0, last}}, -60, channel, bandwidth, 11, sideband, band};
}

TEST_F(RrmReports, ActiveScanMakesFiveSweeps) {
    drv->heard = {{heard(1, 2, 6, 20, 0)}, {}, {heard(1, 5, 36, 80, 256), heard(2, 5, 149, 40, 0)}};
    receive(rrm("rrm-update", all_bands));
    const std::string scan = "start active, 2:-1 1 6 11 13 300 5:36 40 ";
    EXPECT_EQ(drv->take(), "stop scan, " + scan);
    EXPECT_EQ(pass_until(9), "");
    fake_clock::advance(1);
    worker->process();
    const auto reports = drain(out);
    const std::string sweep = "stop scan, read active, ";
    EXPECT_EQ(drv->take(), sweep + scan + sweep + scan + sweep + scan + sweep + scan + sweep);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_TRUE(
        reports[0].starts_with(R"({"version":"2.4","service":"rrm","cmd":"rrm-response",)"
                               R"("ap-mac":"00:11:22:33:44:50","domain":"dom","radios":[{)"));
    EXPECT_EQ(reports[0].substr(reports[0].find(R"("rf-environment")")),
              R"("rf-environment":[[{"bssid":"02:00:00:00:00:01","rssi":-60,"channel":6,)"
              R"("tx-power":11,"primary-channel":"none","bandwidth":20,"band":2}],)"
              R"([{"bssid":"02:00:00:00:00:01","rssi":-60,"channel":36,"tx-power":11,)"
              R"("primary-channel":"lu","bandwidth":80,"band":5},)"
              R"({"bssid":"02:00:00:00:00:02","rssi":-60,"channel":149,"tx-power":11,)"
              R"("primary-channel":"lower","bandwidth":40,"band":5}]]})");
}

// Seconds from the update to the start of the scan and to the report.
TEST_F(RrmReports, DelaysAndKinds) {
    const std::tuple<const char*, int, int, const char*> rows[] = {
        {R"("rrm-scan-delay":5)", 5, 15, "active"},
        {R"("norda-rrm-scanning":1)", 0, 2, "rrm"},
        {R"("norda-rrm-scanning":1,"rrm-scan-delay":3)", 3, 8, "rrm"},
        {R"("rrm-scan-delay":-3)", 0, 10, "active"},
        {R"("norda-rrm-scanning":-1,"rrm-scan-delay":-3)", 0, 3, "rrm"},
    };
    for (const auto& [update, start, report, kind] : rows) {
        SCOPED_TRACE(update);
        drv->take();
        receive(rrm("rrm-update", update));
        EXPECT_EQ(pass_until(start), "");
        EXPECT_TRUE(drv->take().starts_with("stop scan, start " + std::string(kind)));
        EXPECT_EQ(pass_until(30), std::to_string(report - start) + " rrm-response ");
        drv->scanning = false;
    }
}

TEST_F(RrmReports, EmptyEnvironmentAndLostHostapd) {
    const auto scan = [this](bool initialized) {
        receive(rrm("rrm-update", R"("norda-rrm-scanning":1)"));
        fake_clock::advance(2);
        drv->initialized = initialized;
        fake_log::reset();
        worker->process();
        drv->initialized = true;
        return drain(out);
    };
    EXPECT_TRUE(scan(true).at(0).ends_with(R"("rf-environment":[]})"));
    drv->heard = {{heard(1, 2, 1, 20, 0)}};
    EXPECT_EQ(scan(false), texts{});
    EXPECT_EQ(
        fake_log::take(),
        "debug scan_finished\ndebug Not sending rrm-response because hostapd is not running\n");
    EXPECT_TRUE(scan(true).at(0).ends_with(R"("rf-environment":[]})")) << "nothing is left over";
}

TEST_F(RrmReports, DriverEventsAreReportedOnce) {
    drv->events = {{2}};
    worker->process();
    EXPECT_EQ(pass_until(20), "") << "not subscribed";
    subscribe();
    drv->events = {{2}, {1}, {2}};
    worker->process();
    fake_clock::advance(5);
    drv->events = {{2}};
    worker->process();
    drv->events = {{3}};
    EXPECT_EQ(pass_until(30), "10 rrm-config-changed ");
}

TEST_F(RrmApply, ChannelsAndPower) {
    const std::string clears = "clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, ";
    const std::pair<const char*, const char*> rows[] = {
        {R"("use-tpc":1,"use-dca":1,"radios":[{"id":1,"channel":44,"bandwidth":80,"power":14}])",
         "power wlan1 14, channel wlan1 44/80/0, "},
        {R"("use-tpc":1,"use-dca":0,"radios":[{"id":0,"channel":36,"power":10}])",
         "power wlan0 10, "},
        {R"("use-dca":1,"radios":[{"id":2,"channel":5,"power":10},)"
         R"({"id":1,"channel":36,"bandwidth":40,"primary-channel":"LOWER"},)"
         R"({"id":1,"channel":36,"bandwidth":40,"primary-channel":"Upper"},)"
         R"({"id":1,"channel":36,"bandwidth":40,"primary-channel":"ll"},)"
         R"({"id":1,"channel":36,"bandwidth":80,"primary-channel":"upper"}])",
         "channel wlan2 5/20/0, channel wlan1 36/40/1, channel wlan1 36/40/2, channel wlan1 "
         "36/40/0, "
         "channel wlan1 36/80/0, "},
        {R"("use-tpc":"1","radios":[{"power":null},null,{"id":"1","power":"9"}])",
         "power wlan0 0, power wlan1 9, "},
        {R"("use-tpc":1,"radios":[{"id":3,"power":1},{"id":-1,"power":1},{"id":1,"power":-5}])",
         "power wlan1 -5, "},
        {R"("use-tpc":1,"radios":{"id":1,"power":9})", ""},
        {"", ""},
    };
    drv->radios_up = true;
    fake_log::reset(log_mask_warning);
    for (const auto& [config, done] : rows)
        EXPECT_EQ(effects_of(rrm("rrm-info", config)), done + clears) << config;
    EXPECT_EQ(fake_log::take(),
              "warning void rrm_worker::apply_config(const json_reader&) Wrong id value: recv 3, "
              "max: 3 - skip radio\nwarning void rrm_worker::apply_config(const json_reader&) "
              "Wrong id value: recv -1, max: 3 - skip radio\n");
    drv->sentry_radio = 1;
    EXPECT_EQ(effects_of(rrm("rrm-info", R"("use-tpc":1,"radios":[{"id":1,"power":9}])")), clears);
    drv->radios_up = false;
    EXPECT_EQ(effects_of(rrm("rrm-info", R"("use-tpc":1,"radios":[{"id":0,"power":9}])")), "");
}

TEST_F(RrmApply, NeighboursAfterTheClearing) {
    drv->radios_up = true;
    receive(
        rrm("rrm-info",
            R"("802dot11k":[{"neighbour-mac":"x","channel":36,"band":5,"vaps":[)"
            R"({"ssid":"a","mac":"m1"},{"ssid":"b"},{"mac":"m2"},null,{"ssid":"c","mac":"m3"}]},)"
            R"({"channel":1,"vaps":[{"ssid":"a","mac":"m4"}]},null,{"neighbour-mac":"x"},)"
            R"({"neighbour-mac":"x","vaps":[{"ssid":"d","mac":"m5"}]}])"));
    EXPECT_EQ(drv->take(),
              "clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, neighbour m1 a 36/5, "
              "neighbour m3 c 36/5, neighbour m5 d 0/0, ");
}

TEST_F(RrmApply, SettingsThatTakeTooLongAreLeftOut) {
    drv->radios_up = true;
    drv->power_takes_seconds = 100;
    fake_log::reset(log_mask_error);
    EXPECT_EQ(effects_of(rrm("rrm-info",
                             R"("use-tpc":1,"radios":[{"id":0,"power":1},{"id":1,"power":1},)"
                             R"({"id":2,"power":1}],"802dot11k":[{"neighbour-mac":"x","vaps":[)"
                             R"({"ssid":"a","mac":"m"}]}])")),
              "power wlan0 1, power wlan1 1, clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, "
              "neighbour m a 0/0, ")
        << "the neighbours have a time of their own";
    EXPECT_EQ(fake_log::take(), "error rrm: the settings take too long, the rest is left out\n");

    drv->clearing_takes_seconds = 40;
    EXPECT_EQ(effects_of(rrm("rrm-info")), "clear wlan0-vap0, clear wlan1-vap0, ");
    EXPECT_EQ(fake_log::take(),
              "error rrm: clearing the neighbour lists takes too long, the rest stays\n");
}

std::string remote(const std::string& number) {
    return R"({"remote-r0-kh-id":"r0-)" + number + R"(","remote-r1-kh-id":"r1-)" + number +
           R"(","remote-r1-kh-key":"k)" + number + "\"}";
}

std::string vap(int radio, int index, const std::string& remotes) {
    return R"({"vap_id":)" + std::to_string(index) + R"(,"radio_id":)" + std::to_string(radio) +
           R"(,"mobility-domain":7,"r0-key-holder-id":"r0","r1-key-holder-id":"r1",)"
           R"("fbt-rrb-key":"rrb","remotes":)" +
           remotes + "}";
}

class RrmFastTransition : public RrmTest {
  protected:
    RrmFastTransition() {
        drv->radios_up = true;
        receive(rrm("rrm-info", R"("use-80211r":1)"));
        drv->take();
    }
};

TEST_F(RrmFastTransition, OneTextAVap) {
    receive(rrm("fbt-info",
                R"("fbt-reassoc-deadline":900,"fbt-over-ds":1,"vaps":[)" +
                    vap(1, 3,
                        "[" + remote("a") + R"(,{"remote-r0-kh-id":"z"},)" + remote("b") + "," +
                            R"({"remote-r1-kh-id":"r1-a","remote-r1-kh-key":"new"}])") +
                    "," + vap(3, 0, "[]") + "," + vap(0, 99, "[]") + "," + vap(0, 0, "[]") +
                    R"(,{"vap_id":0,"radio_id":2,"r0-key-holder-id":"","r1-key-holder-id":""}])"));
    const auto text = [](const std::string& mac) {
        return R"({"version":"2.4","service":"fbt","ft-config":{"enabled":"true",)"
               R"("ft-over-ds":"true","ft-psk-generate-local":"false",)"
               R"("reassociation-deadline":900,"mobility-domain":7,"r0-key-holder-id":"r0",)"
               R"("r1-key-holder-id":"r1","mac":{)" +
               mac + "}}}, ";
    };
    EXPECT_EQ(drv->take(),
              "fbt begin, fbt wlan1-vap3 " +
                  text(R"("r1-a":{"name":"r1-a","index":"3","r0-kh-id":"","r1-kh-id":"r1-a",)"
                       R"("r0-kh-key":"rrb","r1-kh-key":"new"},)"
                       R"("r1-b":{"name":"r1-b","index":"2","r0-kh-id":"r0-b","r1-kh-id":"r1-b",)"
                       R"("r0-kh-key":"rrb","r1-kh-key":"kb"})") +
                  "fbt wlan0-vap0 " + text("") + "fbt finish, ");
}

TEST_F(RrmFastTransition, MissingKeyHoldersAbandonTheMessage) {
    fake_log::reset(log_mask_error);
    EXPECT_TRUE(
        effects_of(rrm("fbt-info", R"("vaps":[)" + vap(0, 0, "[]") +
                                       R"(,{"vap_id":0,"radio_id":1,"r0-key-holder-id":"r0"}])"))
            .ends_with("fbt reset 0, "));
    EXPECT_EQ(fake_log::take(), "error Unexpected error, no r0/r1 key holders found\n");
    receive(rrm("fbt-info", R"("vaps":[)" + vap(0, 0, "[]") + ",null," + vap(1, 0, "[]") + "]"));
    const auto done = drv->take();
    EXPECT_NE(done.find(R"("ft-over-ds":"false")"), std::string::npos) << "missing members are 0";
    EXPECT_NE(done.find(R"("reassociation-deadline":0,)"), std::string::npos);
    EXPECT_EQ(done.find("wlan1"), std::string::npos) << "the list ends at an empty element";
    receive(rrm("rrm-info", R"("use-80211r":0)"));
    drv->take();
    EXPECT_EQ(effects_of(rrm("fbt-info", R"("vaps":[)" + vap(0, 0, "[]") + "]")), "fbt reset 0, ");
}

TEST_F(RrmFastTransition, ListsAndKeysAreCut) {
    receive(rrm("fbt-info", R"("vaps":[{"vap_id":0,"radio_id":0,"r0-key-holder-id":"a",)"
                            R"("r1-key-holder-id":"b","remotes":[],"fbt-rrb-key":")" +
                                std::string(2000, 'k') + "\"}]"));
    EXPECT_EQ(drv->take(), "fbt begin, fbt finish, ") << "every remote would get a copy of the key";
    std::string remotes = remote("0");
    for (int i = 1; i < 2000; ++i) remotes += "," + remote(std::to_string(i));
    std::string vaps = vap(0, 1, "[" + remotes + "]");
    for (int i = 1; i < 40; ++i) vaps += "," + vap(0, 2, "[]");
    receive(rrm("fbt-info", R"("vaps":[)" + vaps + "]"));
    const auto done = drv->take();
    EXPECT_NE(done.find(R"("index":"1024")"), std::string::npos);
    EXPECT_EQ(done.find(R"("index":"1025")"), std::string::npos);
    std::size_t added = 0;
    for (auto at = done.find("fbt wlan"); at != std::string::npos;
         at = done.find("fbt wlan", at + 1))
        ++added;
    EXPECT_EQ(added, 32U);
}

}  // namespace
}  // namespace rfcd
