// What is scanned and what is reported. rrm_scenes_test.cpp tests when scans start and end.
#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

class ScanSession : public RrmMemberTest {
  protected:
    static scan_result heard(std::uint8_t last, int band, int channel, int bandwidth,
                             int sideband) {
        return {{{2, 0, 0, 0, 0, last}}, -60, channel, bandwidth, 11, sideband, band};
    }
    void seconds(int count) {
        for (int second = 0; second < count; ++second) {
            fake_clock::advance(1);
            timers.run_expired();
        }
    }

    safe_queue out;
    timer_list timers;
    outgoing_messages messages{*drv, out, "dom"};
    scan_session scan{*drv, timers, messages};
};

TEST_F(ScanSession, FiveSweepsGiveOneReport) {
    drv->heard = {{heard(1, 2, 6, 20, 0)}, {}, {heard(1, 5, 36, 80, 256), heard(2, 5, 149, 40, 0)}};

    scan.process_rrm_update(
        read(R"({"rrm-scan-channels-list":[{"2":"6 1 11 1","6":"x"},{"5":" 36 +40 x 44"},)"
             R"({"2":"13 300 -1 - 14"},{"2":"99999999999 3"},{"6":" "},null,7,{"7":"1"}]})"));
    seconds(10);

    const std::string sweep = "start active, 2:-1 1 6 11 13 300 5:36 40 stop scan, read active, ";
    EXPECT_EQ(drv->take(), "stop scan, " + sweep + sweep + sweep + sweep + sweep);
    EXPECT_EQ(scan.last_report().neighbours, 3U);
    EXPECT_EQ(scan.last_report().time, 1010);
    const auto reports = drain(out);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_TRUE(
        reports[0].starts_with(R"({"version":"2.4","service":"rrm","cmd":"rrm-response",)"
                               R"("ap-mac":"00:11:22:33:44:50","domain":"dom","radios":[{)"));
    EXPECT_TRUE(
        reports[0].ends_with(R"("rf-environment":[[{"bssid":"02:00:00:00:00:01","rssi":-60,)"
                             R"("channel":6,"tx-power":11,"primary-channel":"none",)"
                             R"("bandwidth":20,"band":2}],)"
                             R"([{"bssid":"02:00:00:00:00:01","rssi":-60,"channel":36,)"
                             R"("tx-power":11,"primary-channel":"lu","bandwidth":80,"band":5},)"
                             R"({"bssid":"02:00:00:00:00:02","rssi":-60,"channel":149,)"
                             R"("tx-power":11,"primary-channel":"lower","bandwidth":40,)"
                             R"("band":5}]]})"))
        << reports[0];
}

TEST_F(ScanSession, ABandWithTooManyChannelsIsCut) {
    std::string channels;
    for (int channel = 1; channel <= 65'537; ++channel) channels += std::to_string(channel) + " ";
    fake_log::reset(log_mask_error);

    scan.process_rrm_update(read(R"({"rrm-scan-channels-list":[{"2":")" + channels + "\"}]}"));

    EXPECT_TRUE(drv->take().ends_with(" 65535 65536 "));
    EXPECT_EQ(fake_log::take(),
              "error rrm: more than 65536 channels to scan, the rest is left out\n");
}

}  // namespace
}  // namespace rfcd
