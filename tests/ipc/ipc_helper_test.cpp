#include "ipc/ipc_helper.h"

#include <gtest/gtest.h>

#include "harness/fakes/fake_clock.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_peermsg.h"
#include "main/logging.h"

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
    const std::tuple<const char*, int, const char*, const char*> rows[] = {
        {R"({"value":"plain"})", 0, "plain", ""},
        {R"({"value":5,"status":"fail"})", 0, "5", ""},
        {R"({"value":{"a":"b"}})", 0, "{\n  \"a\":\"b\"\n}", ""},
        {R"({"value":["x"]})", 0, "[\n  \"x\"\n]", ""},
        {R"({"value":null})", -1, "old",
         "error Child 'value' has type 'none' in configd response: {\n  \"value\":null\n}\n"},
        {R"({"status":"ok"})", -1, "old",
         "error Child 'value' not found in configd response: {\n  \"status\":\"ok\"\n}\n"},
        {"", -1, "old", "error Error: path (/a/b) reason (not found)\n"},
        {"{garbage", -1, "old", "error Error: path (/a/b) reason (not found)\n"},
    };
    for (const auto& [answer, result, read, logged] : rows) {
        SCOPED_TRACE(answer);
        bus.answer_all = [text = std::string(answer)](const auto&) { return text; };
        std::string value = "old";
        EXPECT_EQ(helper->getconf("/a/b", value), result);
        EXPECT_EQ(value, read);
        EXPECT_EQ(fake_log::take(), logged);
        EXPECT_EQ(take_record(),
                  "start, send 1 {\"command\":\"get\",\"path\":\"/a/b\"}, wait "
                  "get-response 20 Error: can't get config\nstop, ");
    }
    std::string value;
    EXPECT_EQ(helper->getconf("", value), -1);
    EXPECT_EQ(take_record() + fake_log::take(), "");
}

TEST_F(IpcHelper, GettersKnowTheirPathsAndValues) {
    const auto& h = *helper;
    const std::tuple<const char*, std::function<bool()>, const char*> rows[] = {
        {"/interface/wlan0/wlan/radio/auto-channel", [&] { return h.get_auto_channel("wlan0"); },
         "true "},
        {"/interface/wlan1-vap2/vap/ap-security/mode", [&] { return h.get_wpa2_or_wpa3_vap(1, 2); },
         "WPA2-PSK x WPA3 WPA2_1X "},
        {"/interface/wlan1-vap2/vap/ap-security/mode",
         [&] { return h.get_enterprise_vap("wlan1-vap2"); }, "WPA2_1X "},
        {"/interface/wlan1-vap2/vap/w80211kv-config/enabled",
         [&] { return h.get_802dot11k_vap("wlan1-vap2"); }, "true "},
        {"/interface/wlan1-vap2/common/enabled",
         [&] { return h.get_vap_enabled_state("wlan1-vap2"); }, "true "},
        {"/interface/wlan1-vap2/vap/captive-portal/enabled",
         [&] { return h.get_captive_portal_state("wlan1-vap2"); }, "true "},
    };
    for (const auto& [path, get, accepted] : rows) {
        bus.store.clear();
        std::string got = get() ? "nothing " : "";
        for (const std::string value :
             {"true", "True", "1", "OPEN", "WPA2-PSK", "x WPA3", "WPA_WPA2", "wpa2", "WPA2_1X"}) {
            bus.store[path] = "\"" + value + "\"";
            if (get()) got += value + " ";
        }
        EXPECT_EQ(got, accepted) << path;
    }
    EXPECT_EQ(h.get_country("wlan0") + h.get_ssid("wlan1-vap2"), "RU");
    bus.store["/interface/wlan0/wlan/radio/country"] = "\"\"";
    bus.store["/interface/wlan1-vap2/vap/ssid"] = "\"my net\"";
    EXPECT_EQ(h.get_country("wlan0") + h.get_ssid("wlan1-vap2"), "my net");
}

TEST_F(IpcHelper, GettersLogTheirReads) {
    const struct {
        const char* name;
        std::function<void(const std::string& vap)> get;
        const char* path;
        int failure_line;
        int success_line;
    } rows[] = {
        {"get_enterprise_vap", [&](auto& v) { helper->get_enterprise_vap(v); },
         "/vap/ap-security/mode", 429, 432},
        {"get_802dot11k_vap", [&](auto& v) { helper->get_802dot11k_vap(v); },
         "/vap/w80211kv-config/enabled", 445, 448},
        {"get_vap_enabled_state", [&](auto& v) { helper->get_vap_enabled_state(v); },
         "/common/enabled", 461, 464},
        {"get_ssid", [&](auto& v) { helper->get_ssid(v); }, "/vap/ssid", 477, 480},
        {"get_captive_portal_state", [&](auto& v) { helper->get_captive_portal_state(v); },
         "/vap/captive-portal/enabled", 492, 495},
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
    bus.store["/interface/wlan1-vap2/vap/ft-config/enabled"] = "\"false\"";
    bus.store["/interface/wlan1-vap2/vap/ap-security/mode"] = "\"WPA2\"";
    EXPECT_FALSE(helper->get_ft_enabled_vap(1, 2));
    EXPECT_EQ(fake_log::take(),
              "debug getconf '/interface/wlan1-vap2/vap/ft-config/enabled'\n"
              "debug getconf '/interface/wlan1-vap2/vap/ap-security/mode'\n");
    bus.store["/interface/wlan1-vap2/vap/ft-config/enabled"] = "\"true\"";
    EXPECT_TRUE(helper->get_ft_enabled_vap(1, 2));
    fake_log::take();
    helper->get_country(std::string(80, 'x').c_str());
    EXPECT_EQ(fake_log::take().substr(0, 80),
              "debug getconf '/interface/" + std::string(52, 'x') + "'\n")
        << "cut to 63 characters";
}

TEST_F(IpcHelper, NetworkdAnswers) {
    const std::tuple<const char*, int, const char*, const char*> rows[] = {
        {R"({"status":"ok"})", 0, "", ""},
        {R"({"status":"fail","reason":"busy"})", -1, "error Error: ifname (wlan0) reason (busy)\n",
         "error Error: reason (busy)\n"},
        {R"({"reason":7})", -1, "error Error: ifname (wlan0) reason (7)\n",
         "error Error: reason (7)\n"},
        {R"({"status":"OK"})", -1, "error Error: ifname (wlan0) reason (invalid response)\n",
         "error Error: reason (invalid response)\n"},
        {"", -1, "error Error: no response (update_skylark)\n", "error Error: no response\n"},
    };
    fake_log::reset(7);
    for (const auto& [answer, result, update_log, list_log] : rows) {
        SCOPED_TRACE(answer);
        bus.answer_all = [text = std::string(answer)](const auto&) { return text; };
        EXPECT_EQ(helper->update_skylark("wlan0", {{"b", "2"}, {"a", "1"}}), result);
        EXPECT_EQ(fake_log::take(), update_log);
        EXPECT_EQ(take_record(),
                  R"(start, send 6 {"command":"update-skylark","ifname":"wlan0","params":)"
                  R"({"b":"2","a":"1"}}, wait update-skylark-response 20 )"
                  "Error: can't update SkyLark params\nstop, ");
        EXPECT_EQ(helper->set_wisd_bw_list(R"({"command":"x","Name":"l","a":[1]})"), result);
        EXPECT_EQ(fake_log::take(), list_log);
        EXPECT_EQ(take_record(),
                  R"(start, send 6 {"command":"update-wids-mac-lists","Name":"l","a":[1]}, )"
                  "wait update-wids-mac-lists-response 20 Error: can't update wids b/w params\n"
                  "stop, ");
    }
}

TEST_F(IpcHelper, RequestsThatAreNotMade) {
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

// A configd that stalls for as long as given while the first of a row of values is read. An answer
// that comes after its request was given up must not be taken for that to a later one.
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
