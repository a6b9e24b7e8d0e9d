#include "ipc/ipc_helper.h"

#include <gtest/gtest.h>

#include "harness/fakes/fake_clock.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_peermsg.h"
#include "main/logging.h"
#include "workers/loop_progress.h"

namespace rfcd {
namespace {

using fake_peermsg::bus;
using fake_peermsg::take_record;

struct helper_for_test final : ipc_helper {
    using ipc_helper::ipc_helper;
};

class IpcHelper : public testing::Test {
  protected:
    IpcHelper() {
        fake_peermsg::reset();
        fake_clock::reset();
        fake_log::reset(log_mask_none);
        helper = std::make_unique<helper_for_test>(&running);
        EXPECT_EQ(take_record(), "init 28 254 2, ");
        fake_log::reset();
    }
    running_flag running = true;
    std::unique_ptr<helper_for_test> helper;
};

TEST_F(IpcHelper, GetconfReadsEveryKindOfAnswer) {
    const struct {
        const char* name;
        std::string answer;
        int result = 0;
        const char* value = "old";
        const char* log = "";
    } rows[] = {
        {.name = "text", .answer = R"({"value":"plain"})", .value = "plain"},
        {.name = "status is not looked at",
         .answer = R"({"value":5,"status":"fail"})",
         .value = "5"},
        {.name = "tree", .answer = R"({"value":{"a":"b"}})", .value = "{\n  \"a\":\"b\"\n}"},
        {.name = "list", .answer = R"({"value":["x"]})", .value = "[\n  \"x\"\n]"},
        {.name = "null",
         .answer = R"({"value":null})",
         .result = -1,
         .log =
             "error Child 'value' has type 'none' in configd response: {\n  \"value\":null\n}\n"},
        {.name = "no value",
         .answer = R"({"status":"ok"})",
         .result = -1,
         .log = "error Child 'value' not found in configd response: {\n  \"status\":\"ok\"\n}\n"},
        {.name = "no answer",
         .answer = "",
         .result = -1,
         .log = "error Error: path (/a/b) reason (not found)\n"},
        {.name = "garbage",
         .answer = "{garbage",
         .result = -1,
         .log = "error Error: path (/a/b) reason (not found)\n"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        bus.answer_all = [&](const auto&) { return row.answer; };
        std::string value = "old";

        EXPECT_EQ(helper->getconf("/a/b", value), row.result);

        EXPECT_EQ(value, row.value);
        EXPECT_EQ(fake_log::take(), row.log);
        EXPECT_EQ(take_record(),
                  "start, send 1 {\"command\":\"get\",\"path\":\"/a/b\"}, wait "
                  "get-response 20 Error: can't get config\nstop, ");
    }
}

TEST_F(IpcHelper, GettersKnowTheirPathsAndValues) {
    const auto& h = *helper;
    const struct {
        const char* path;
        std::function<bool()> get;
        const char* accepted;  // those of all values that count as true
    } rows[] = {
        {.path = "/interface/wlan0/wlan/radio/auto-channel",
         .get = [&] { return h.get_auto_channel("wlan0"); },
         .accepted = "true "},
        {.path = "/interface/wlan1-vap2/vap/ap-security/mode",
         .get = [&] { return h.get_wpa2_or_wpa3_vap(1, 2); },
         .accepted = "WPA2-PSK x WPA3 WPA2_1X "},
        {.path = "/interface/wlan1-vap2/vap/ap-security/mode",
         .get = [&] { return h.get_enterprise_vap("wlan1-vap2"); },
         .accepted = "WPA2_1X "},
        {.path = "/interface/wlan1-vap2/vap/w80211kv-config/enabled",
         .get = [&] { return h.get_802dot11k_vap("wlan1-vap2"); },
         .accepted = "true "},
        {.path = "/interface/wlan1-vap2/common/enabled",
         .get = [&] { return h.get_vap_enabled_state("wlan1-vap2"); },
         .accepted = "true "},
        {.path = "/interface/wlan1-vap2/vap/captive-portal/enabled",
         .get = [&] { return h.get_captive_portal_state("wlan1-vap2"); },
         .accepted = "true "},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        bus.store.clear();
        EXPECT_FALSE(row.get()) << "nothing in the store";

        std::string accepted;
        for (const std::string value :
             {"true", "True", "1", "OPEN", "WPA2-PSK", "x WPA3", "WPA_WPA2", "wpa2", "WPA2_1X"}) {
            bus.store[row.path] = "\"" + value + "\"";
            if (row.get()) accepted += value + " ";
        }
        EXPECT_EQ(accepted, row.accepted);
    }
}

TEST_F(IpcHelper, TextsHaveADefault) {
    EXPECT_EQ(helper->get_country("wlan0"), "RU");
    EXPECT_EQ(helper->get_ssid("wlan1-vap2"), "");

    bus.store["/interface/wlan0/wlan/radio/country"] = "\"\"";
    bus.store["/interface/wlan1-vap2/vap/ssid"] = "\"my net\"";

    EXPECT_EQ(helper->get_country("wlan0"), "");
    EXPECT_EQ(helper->get_ssid("wlan1-vap2"), "my net");
}

TEST_F(IpcHelper, GettersLogTheirReads) {
    const struct {
        const char* name;
        std::function<void(const std::string& vap)> get;
        const char* path;
        int failure_line;
        int success_line;
    } rows[] = {
        {.name = "get_enterprise_vap",
         .get = [&](auto& v) { helper->get_enterprise_vap(v); },
         .path = "/vap/ap-security/mode",
         .failure_line = 429,
         .success_line = 432},
        {.name = "get_802dot11k_vap",
         .get = [&](auto& v) { helper->get_802dot11k_vap(v); },
         .path = "/vap/w80211kv-config/enabled",
         .failure_line = 445,
         .success_line = 448},
        {.name = "get_vap_enabled_state",
         .get = [&](auto& v) { helper->get_vap_enabled_state(v); },
         .path = "/common/enabled",
         .failure_line = 461,
         .success_line = 464},
        {.name = "get_ssid",
         .get = [&](auto& v) { helper->get_ssid(v); },
         .path = "/vap/ssid",
         .failure_line = 477,
         .success_line = 480},
        {.name = "get_captive_portal_state",
         .get = [&](auto& v) { helper->get_captive_portal_state(v); },
         .path = "/vap/captive-portal/enabled",
         .failure_line = 492,
         .success_line = 495},
    };

    for (const auto& row : rows) {
        const std::string path = std::string("/interface/v") + row.path;
        row.get("v");
        bus.store[path] = "\"x\"";
        row.get("v");

        EXPECT_EQ(fake_log::take(), "error Error: path (" + path + ") reason (not found)\nerror <" +
                                        row.name + ":" + std::to_string(row.failure_line) +
                                        "> can't get value from '" + path + "'\ndebug <" +
                                        row.name + ":" + std::to_string(row.success_line) + "> " +
                                        path + " = x\n");
    }

    helper->get_country(std::string(80, 'x').c_str());
    EXPECT_EQ(fake_log::take().substr(0, 80),
              "debug getconf '/interface/" + std::string(52, 'x') + "'\n")
        << "cut to 63 characters";
}

TEST_F(IpcHelper, FastTransitionNeedsItsSecurity) {
    const std::string reads =
        "debug getconf '/interface/wlan1-vap2/vap/ft-config/enabled'\n"
        "debug getconf '/interface/wlan1-vap2/vap/ap-security/mode'\n";
    bus.store["/interface/wlan1-vap2/vap/ap-security/mode"] = "\"WPA2\"";

    bus.store["/interface/wlan1-vap2/vap/ft-config/enabled"] = "\"false\"";
    EXPECT_FALSE(helper->get_ft_enabled_vap(1, 2));
    EXPECT_EQ(fake_log::take(), reads);

    bus.store["/interface/wlan1-vap2/vap/ft-config/enabled"] = "\"true\"";
    EXPECT_TRUE(helper->get_ft_enabled_vap(1, 2));
    bus.store["/interface/wlan1-vap2/vap/ap-security/mode"] = "\"OPEN\"";
    EXPECT_FALSE(helper->get_ft_enabled_vap(1, 2));
}

TEST_F(IpcHelper, NetworkdAnswers) {
    const struct {
        const char* name;
        std::string answer;
        int result = -1;
        const char* update_log = "";
        const char* list_log = "";
    } rows[] = {
        {.name = "ok", .answer = R"({"status":"ok"})", .result = 0},
        {.name = "refused",
         .answer = R"({"status":"fail","reason":"busy"})",
         .update_log = "error Error: ifname (wlan0) reason (busy)\n",
         .list_log = "error Error: reason (busy)\n"},
        {.name = "a number as the reason",
         .answer = R"({"reason":7})",
         .update_log = "error Error: ifname (wlan0) reason (7)\n",
         .list_log = "error Error: reason (7)\n"},
        {.name = "case matters",
         .answer = R"({"status":"OK"})",
         .update_log = "error Error: ifname (wlan0) reason (invalid response)\n",
         .list_log = "error Error: reason (invalid response)\n"},
        {.name = "no answer",
         .answer = "",
         .update_log = "error Error: no response (update_skylark)\n",
         .list_log = "error Error: no response\n"},
    };
    fake_log::reset(7);

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        bus.answer_all = [&](const auto&) { return row.answer; };

        EXPECT_EQ(helper->update_skylark("wlan0", {{"b", "2"}, {"a", "1"}}), row.result);
        EXPECT_EQ(fake_log::take(), row.update_log);
        EXPECT_EQ(take_record(),
                  R"(start, send 6 {"command":"update-skylark","ifname":"wlan0","params":)"
                  R"({"b":"2","a":"1"}}, wait update-skylark-response 20 )"
                  "Error: can't update SkyLark params\nstop, ");

        EXPECT_EQ(helper->set_wisd_bw_list(R"({"command":"x","Name":"l","a":[1]})"), row.result);
        EXPECT_EQ(fake_log::take(), row.list_log);
        EXPECT_EQ(take_record(),
                  R"(start, send 6 {"command":"update-wids-mac-lists","Name":"l","a":[1]}, )"
                  "wait update-wids-mac-lists-response 20 Error: can't update wids b/w params\n"
                  "stop, ");
    }
}

TEST_F(IpcHelper, RequestsThatAreNotMade) {
    std::string value;
    EXPECT_EQ(helper->getconf("", value), -1);
    EXPECT_EQ(helper->update_skylark("", {{"a", "1"}}), -1);
    EXPECT_EQ(helper->update_skylark("wlan0", {}), -1);
    EXPECT_EQ(fake_log::take(), "");

    EXPECT_EQ(helper->set_wisd_bw_list("{no"), -1);
    EXPECT_EQ(fake_log::take(),
              "error int ipc_helper::set_wisd_bw_list(const string&) const:326> "
              "can't parse json string '{no'\n");

    EXPECT_EQ(helper->unlock_scan("wlan2"), 0);
    EXPECT_EQ(take_record(), R"(send 34 {"command":"unlock-scan","interface":"wlan2"}, )")
        << "no exchange, no wait";
}

TEST_F(IpcHelper, StoppingServiceAsksNobody) {
    running = false;
    std::string value = "old";

    EXPECT_EQ(helper->getconf("/a", value), -1);
    EXPECT_EQ(value, "old");
    EXPECT_EQ(helper->get_ssid("wlan0-vap0"), "");
    EXPECT_EQ(helper->update_skylark("wlan0", {{"a", "1"}}), -1);
    EXPECT_EQ(helper->set_wisd_bw_list("{}"), -1);

    EXPECT_EQ(take_record(), "");
    EXPECT_EQ(fake_log::take(),
              "debug Try to send update-wids-mac-lists to networkd:\n"
              R"({
  "command":"update-wids-mac-lists"
}
)") << "no error line for what was never asked";
}

TEST_F(IpcHelper, RequestMayTakeLong) {
    loop_progress loop;
    auto reason = wait_reason::none;
    bus.answer_all = [&](const auto&) {
        reason = loop.look().reason;
        return R"({"value":"x"})";
    };
    std::string value;

    loop.enter_loop();
    helper->getconf("/a", value);
    loop.leave_loop();

    EXPECT_EQ(reason, wait_reason::request);
    EXPECT_EQ(loop.look().reason, wait_reason::none);
}

// configd stalls for this long when the first of several values is read. An answer that comes after
// its request has timed out must not be taken for the answer to a later request.
TEST_F(IpcHelper, LateAnswerDoesNotShiftTheFollowingOnes) {
    const struct {
        const char* name;
        int stall_seconds;
        int answer_ms = 1;
        const char* read;  // the values, "-" for none
    } rows[] = {
        {.name = "no stall", .stall_seconds = 0, .read = "0 1 2 3 4 5 "},
        {.name = "slow, but in time", .stall_seconds = 19, .read = "0 1 2 3 4 5 "},
        {.name = "late by less than a second", .stall_seconds = 20, .read = "- 1 2 3 4 5 "},
        {.name = "late by a second", .stall_seconds = 21, .read = "- 1 2 3 4 5 "},
        {.name = "late by several", .stall_seconds = 27, .read = "- 1 2 3 4 5 "},
        {.name = "two are late", .stall_seconds = 45, .read = "- - 2 3 4 5 "},
        {.name = "the late answer comes alone",
         .stall_seconds = 21,
         .answer_ms = 1500,
         .read = "- 0 2 3 4 5 "},
        {.name = "late, and slow from then on",
         .stall_seconds = 19,
         .answer_ms = 1300,
         .read = "- 1 2 3 4 5 "},
    };
    for (int i = 0; i < 6; ++i) bus.store["/" + std::to_string(i)] = std::to_string(i);

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fake_clock::reset();
        bus.busy_until_ns = fake_clock::now_ns + row.stall_seconds * fake_clock::second_ns;
        bus.answer_ns = row.answer_ms * 1'000'000;
        std::string read;

        for (int i = 0; i < 6; ++i) {
            std::string value = "-";
            helper->getconf("/" + std::to_string(i), value);
            read += value + " ";
        }
        std::string value;
        for (int i = 0; i < 3; ++i) {
            fake_clock::pauses.clear();
            helper->getconf("/0", value);
        }

        EXPECT_EQ(read, row.read);
        EXPECT_EQ(value, "0");
        EXPECT_TRUE(fake_clock::pauses.empty()) << "the peer is trusted again";
    }
}

TEST(IpcHelperDeathTest, EndsTheProcessWithoutABus) {
    fake_peermsg::reset();
    fake_peermsg::bus.init_fails = true;
    const running_flag running = true;

    fake_log::reset(log_mask_error);
    const auto join = [&] {
        std::atexit([] { std::fputs(fake_log::take().c_str(), stderr); });
        const helper_for_test helper(&running);
    };

    EXPECT_EXIT(join(), testing::ExitedWithCode(255), "error Error: couldn't ctx initialization\n");
    fake_peermsg::reset();
}

}  // namespace
}  // namespace rfcd
