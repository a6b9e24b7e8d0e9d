#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "aplocald/configuration.h"
#include "aplocald/local_services.h"
#include "aplocald/utf8.h"
#include "harness/child_process.h"
#include "linux/fake_access_point.h"

namespace {

using namespace aplocal;
using fakes::kind;
using std::chrono_literals::operator""ms;

constexpr const char* store_file = "/tmp/store.json";

// An access point whose hostapd moves wlan1 as it is told, unless a test says otherwise.
class Settings : public testing::Test {
  public:  // for the rows of the tables
    Settings() {
        fake_clock::reset();
        hostapd.replies = {{"IFNAME=wlan1 STATUS", "state=ENABLED\nieee80211n=1\nieee80211ac=1"}};
        on_switch("5220 center_freq1=5210 bandwidth=80 sec_channel_offset=1 ht vht", "OK");
    }
    ~Settings() override { std::filesystem::remove(store_file); }

    void on_switch(const std::string& words, const char* reply) {
        hostapd.replies["IFNAME=wlan1 CHAN_SWITCH 5 " + words] = reply;
    }
    hostapd_control::reply ask_hostapd(const std::string& command) {
        const auto reply = hostapd(command);
        const bool moved = command.find("CHAN_SWITCH") != std::string::npos && reply.text == "OK";
        if (moved && moves) kernel.interfaces["wlan1"].on = {5220, 80, 5210};
        return reply;
    }
    std::string ask_networkd(const std::string& request) {
        std::string answer;
        services.ask_networkd(request, [&](const std::string& text) {
            answer = text;
            loop.stop();
        });
        loop.run();
        return answer;
    }
    std::string ask_configd(const std::string& request) {
        std::string answer;
        services.ask_configd(request, [&](const std::string& text) { answer = text; });
        return answer;
    }
    // The reason, or "ok".
    std::string update(const std::string& params, const std::string& ifname = "wlan1") {
        const auto answer = parse_object(ask_networkd(R"({"command":"update-skylark","ifname":")" +
                                                      ifname + R"(","params":)" + params + "}"));
        const std::string reason = text_member(answer.get(), "reason");
        return reason.empty() ? text_member(answer.get(), "status") : reason;
    }

    fakes::fake_hostapd hostapd;
    fakes::fake_radios kernel;
    bool moves = true;
    event_loop loop;
    store stored{store_file};
    hostapd_view view{[this](const auto& command) { return ask_hostapd(command); }};
    live_values live{view, kernel, stored};
    radio_settings radio{{.loop = loop,
                          .kernel = kernel,
                          .live = live,
                          .stored = stored,
                          .hostapd = [this](const auto& command) { return ask_hostapd(command); },
                          .switch_limit = 200ms}};
    local_services::action nothing = [](json_object*) { return std::nullopt; };
    local_services services{{.stored = stored,
                             .live = live,
                             .radio = radio,
                             .update_fast_transition = nothing,
                             .reset_fast_transition = nothing,
                             .take_mac_lists = nothing}};
};

TEST_F(Settings, OfARadioCountAsAppliedWhenTheRadioShowsThem) {
    const struct {
        const char* name;
        const char* params;
        const char* result;
        const char* ifname = "wlan1";
        std::function<void(Settings&)> before = [](Settings&) {};
        bool switched = false;  // hostapd was asked to
        int power = 20;         // afterwards
    } rows[] = {
        {.name = "channel",
         .params = R"({"auto-channel":"false","channel":"44","bandwidth":"80"})",
         .result = "ok",
         .switched = true},
        {.name = "channel and power",
         .params = R"({"channel":"44","tx-power":"17"})",
         .result = "ok",
         .switched = true,
         .power = 17},
        {.name = "a wide channel after one that needed no 802.11ac",
         .params = R"({"channel":"44"})",
         .result = "ok",
         .before = [](Settings& s) { s.hostapd.replies["IFNAME=wlan1 STATUS"] = "ieee80211ac=0"; },
         .switched = true},
        {.name = "by the name of the first VAP",
         .params = R"({"channel":"44"})",
         .result = "ok",
         .ifname = "wlan1-vap0",
         .switched = true},
        {.name = "the channel that it has", .params = R"({"channel":"36"})", .result = "ok"},
        {.name = "hostapd refuses",
         .params = R"({"channel":"44","tx-power":"10"})",
         .result = "hostapd refuses channel 44 with 80 MHz: FAIL bad",
         .before =
             [](Settings& s) {
                 s.on_switch("5220 center_freq1=5210 bandwidth=80 sec_channel_offset=1 ht vht",
                             "FAIL bad\n");
             },
         .switched = true},
        {.name = "hostapd agrees and the radio stays",
         .params = R"({"channel":"44","tx-power":"10"})",
         .result = "hostapd accepted channel 44 with 80 MHz, but the radio did not move there",
         .before = [](Settings& s) { s.moves = false; },
         .switched = true},
        {.name = "hostapd hangs",
         .params = R"({"channel":"44"})",
         .result = "hostapd does not answer",
         .before = [](Settings& s) { s.hostapd.mood = kind::silent; }},
        {.name = "too much power for the new channel, so nothing changes",
         .params = R"({"channel":"44","tx-power":"18"})",
         .result = "18 dBm are more than the 17 dBm allowed on this channel"},
        {.name = "the kernel makes another power of it",
         .params = R"({"tx-power":"10"})",
         .result = "the radio sends with 13 dBm instead of 10",
         .before = [](Settings& s) { s.kernel.power_offset = 3; },
         .power = 13},
        {.name = "the kernel refuses",
         .params = R"({"tx-power":"10"})",
         .result = "busy",
         .before = [](Settings& s) { s.kernel.refusal = "busy"; }},
        {.name = "a power beyond what the kernel's unit can hold",
         .params = R"({"tx-power":"-2147483648"})",
         .result = "tx-power cannot be \"-2147483648\""},
        {.name = "unknown parameter",
         .params = R"({"tx-power":"10","colour":"red"})",
         .result = "unknown parameter colour"},
        {.name = "no such radio",
         .params = R"({"channel":"44"})",
         .result = "there is no radio wlan5",
         .ifname = "wlan5"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        hostapd = {.mood = kind::answer, .replies = hostapd.replies, .commands = {}};
        on_switch("5220 center_freq1=5210 bandwidth=80 sec_channel_offset=1 ht vht", "OK");
        kernel = {};
        moves = true;
        row.before(*this);

        EXPECT_EQ(update(row.params, row.ifname), row.result);

        EXPECT_EQ(hostapd.commands.size() == 2, row.switched);
        EXPECT_EQ(kernel.interfaces["wlan1"].tx_power_dbm, row.power);
    }
}

TEST_F(Settings, WaitForEachOtherWhileARadioMoves) {
    moves = false;
    std::string story;
    const auto note = [&](const char* name) {
        return [&, name](const std::optional<std::string>& problem) {
            story += std::string(name) + (problem ? " failed, " : " done, ");
            if (story.ends_with("power done, ")) loop.stop();
        };
    };

    radio.apply("wlan1", {{"channel", "44"}}, note("channel"));
    radio.apply("wlan1", {{"tx-power", "10"}}, note("power"));
    EXPECT_EQ(ask_configd(R"({"command":"get","path":"/interface/wlan1/wlan/radio/channel"})"),
              R"({"command":"get-response","status":"ok","value":"36"})");
    loop.run();

    EXPECT_EQ(story, "channel failed, power done, ");
}

TEST_F(Settings, OfTheStoreAreAnsweredAsConfigdDoes) {
    stored.set("/interface/wlan1/wlan/radio/country", R"("RU")");
    stored.set("/tree", R"({"a":["1",2]})");
    hostapd.replies["INTERFACES"] = "wlan1";
    hostapd.replies["IFNAME=wlan1 GET_CONFIG"] = R"(ssid=gr\xfcn)";
    const struct {
        const char* name;
        const char* request;
        const char* answer;
    } rows[] = {
        {.name = "the kernel knows better than the store",
         .request = R"({"command":"get","path":"/interface/wlan1/wlan/radio/country"})",
         .answer = R"({"command":"get-response","status":"ok","value":"DE"})"},
        {.name = "a tree",
         .request = R"({"command":"get","path":"/tree"})",
         .answer = R"({"command":"get-response","status":"ok","value":{"a":["1",2]}})"},
        {.name = "a VAP that does not exist",
         .request = R"({"command":"get","path":"/interface/wlan1-vap3/common/enabled"})",
         .answer = R"({"command":"get-response","status":"ok","value":"false"})"},
        {.name = "not in the hands of the store",
         .request = R"({"command":"set","path":"/interface/wlan1-vap0/vap/ssid","value":"x"})",
         .answer = R"({"command":"set-response","status":"fail",)"
                   R"("reason":"hostapd and the kernel decide about this value"})"},
        {.name = "unknown command",
         .request = R"({"command":"dance"})",
         .answer = R"({"command":"dance-response","status":"fail","reason":"unknown command"})"},
        {.name = "an answer is not answered, or two daemons would never stop",
         .request = R"({"command":"get-response"})",
         .answer = ""},
        {.name = "garbage", .request = R"({"command":"get","path":)", .answer = ""},
        {.name = "an SSID that is not UTF-8",
         .request = R"({"command":"get","path":"/interface/wlan1-vap0/vap/ssid"})",
         .answer = "{\"command\":\"get-response\",\"status\":\"ok\",\"value\":\"gr\uFFFDn\"}"},
        {.name = "a command that is not UTF-8",
         .request = "{\"command\":\"\xff\"}",
         .answer = "{\"command\":\"\uFFFD-response\",\"status\":\"fail\","
                   "\"reason\":\"unknown command\"}"},
    };

    for (const auto& row : rows) EXPECT_EQ(ask_configd(row.request), row.answer) << row.name;
}

// A strict service closes the connection over a text that is not UTF-8.
TEST(Utf8, MarksEachByteThatDoesNotBelongToIt) {
    const struct {
        const char* name;
        const char* bytes;
        const char* text;
    } rows[] = {
        {.name = "one to four bytes", .bytes = "aü€😀", .text = "aü€😀"},
        {.name = "cut at the end", .bytes = "ü\xe2\x82", .text = "ü\uFFFD\uFFFD"},
        {.name = "cut by another", .bytes = "\xf0\x9f\x98ü", .text = "\uFFFD\uFFFD\uFFFDü"},
        {.name = "two bytes where one is enough", .bytes = "\xc0\xaf", .text = "\uFFFD\uFFFD"},
        {.name = "three where two are enough",
         .bytes = "\xe0\x80\xaf",
         .text = "\uFFFD\uFFFD\uFFFD"},
        {.name = "four where three are enough",
         .bytes = "\xf0\x80\x80\xaf",
         .text = "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {.name = "half of a surrogate pair", .bytes = "\xed\xa0\x80", .text = "\uFFFD\uFFFD\uFFFD"},
        {.name = "beyond U+10FFFF",
         .bytes = "\xf4\x90\x80\x80",
         .text = "\uFFFD\uFFFD\uFFFD\uFFFD"},
    };

    for (const auto& row : rows) EXPECT_EQ(utf8_text(row.bytes), row.text) << row.name;
}

TEST_F(Settings, OfUnknownCommandsDoNotShowTheirKeysInTheLog) {
    testing::internal::CaptureStderr();

    ask_configd(R"({"r0-kh-key":"secret","command":"dance"})");
    ask_configd(R"({"r0-kh-key":"secret","command":)");

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "aplocald: unknown request \"dance\"\n"
              "aplocald: a request of 32 bytes is not a JSON object with a command\n");
}

TEST(Store, RefusesAFileThatItCannotKeep) {
    const struct {
        const char* name;
        const char* text;
        const char* problem;  // behind the name of the file
    } rows[] = {
        {.name = "more behind",
         .text = R"({"/a":"1"} x)",
         .problem = " is not a JSON object of paths and values"},
        {.name = "a list", .text = "[]", .problem = " is not a JSON object of paths and values"},
        {.name = "no path", .text = R"({"a":"1"})", .problem = ": \"a\" is not a path"},
    };

    for (const auto& row : rows) {
        lab::write_file(store_file, row.text);
        try {
            const store stored(store_file);
            ADD_FAILURE() << row.name << " was taken";
        } catch (const std::runtime_error& problem) {
            EXPECT_EQ(problem.what(), store_file + std::string(row.problem)) << row.name;
        }
    }
    std::filesystem::remove(store_file);
}

TEST(LocalConfiguration, NamesTheWrongLine) {
    const std::string long_socket = "client_control=/" + std::string(107, 'x');
    const struct {
        const char* name;
        const char* text;
        const char* problem;
    } rows[] = {
        {.name = "unknown",
         .text = "# x\n\nshop=/a\n",
         .problem = "line 3: there is no setting \"shop\""},
        {.name = "a blank",
         .text = "store =/a",
         .problem = "line 1: there is no setting \"store \""},
        {.name = "a socket that would end the process when hostapd starts",
         .text = long_socket.c_str(),
         .problem = "line 1: client_control is too long for the path of a socket"},
        {.name = "switch",
         .text = "radar_channels=1",
         .problem = "line 1: radar_channels needs \"yes\" or \"no\""},
        {.name = "group",
         .text = "client_group=no-such-group",
         .problem = "line 1: client_group names a group that does not exist"},
    };

    for (const auto& row : rows) {
        try {
            read_configuration(row.text);
            ADD_FAILURE() << row.name << " was taken";
        } catch (const std::runtime_error& problem) {
            EXPECT_STREQ(problem.what(), row.problem) << row.name;
        }
    }
    const auto config = read_configuration("store=/a=b\ndeny_list=black\nradar_channels=yes");
    EXPECT_EQ(config.store, "/a=b");
    EXPECT_EQ(config.deny_list, "black");
    EXPECT_TRUE(config.radar_channels);
}

}  // namespace
