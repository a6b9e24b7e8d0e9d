// aplocald as a process, on a real bus and with a real hostapd, which has no radios here.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "lab/access_point.h"
#include "lab/bus_peer.h"
#include "lab/daemon.h"
#include "lab/json.h"

namespace lab {
namespace {

constexpr const char* configuration_file = "/tmp/aplocald.conf";
constexpr const char* output_file = "/tmp/aplocald.out";
constexpr const char* store_file = "/tmp/store.json";
constexpr const char* notify_file = "/tmp/.skylark_notify";  // the last one that is made

class Aplocald : public testing::Test {
  protected:
    Aplocald() {
        std::filesystem::create_directories("/run/hostapd");
        write_file(configuration_file, std::string("store=") + store_file + "\n");
    }
    ~Aplocald() override {
        stop_hostapd();
        for (const char* file :
             {configuration_file, store_file, notify_file, "/run/aplocald-ft.json"}) {
            std::filesystem::remove(file);
        }
        for (const char* what : {"_hostapd_started", "_config_updated"}) {
            std::filesystem::remove(std::string(notify_file) + what);
        }
    }

    static std::unique_ptr<child_process> run(const std::string& output = output_file) {
        return std::make_unique<child_process>(
            std::vector<std::string>{APLOCALD_BINARY, "-f", configuration_file}, output);
    }
    // Returns when it answers.
    std::unique_ptr<child_process> start(const std::string& output = output_file) {
        auto process = run(output);
        wait_until([&] {
            asker.send_quietly(1, R"({"command":"get","path":"/a"})");
            return asker.received().take(50ms).has_value();
        });
        return process;
    }
    static pid_t hostapd_pid() {
        return static_cast<pid_t>(std::atol(read_file("/run/hostapd.pid").c_str()));
    }
    static void start_hostapd(const std::string& more = "") {
        write_file("/tmp/office.conf",
                   "interface=wlan1\ndriver=none\nctrl_interface=/run/hostapd\nssid=office\n"
                   "hw_mode=a\nchannel=36\nrrm_neighbor_report=1\n" +
                       more);
        child_process({"hostapd", "-B", "-g", "/run/hostapd/global.hostapd", "-P",
                       "/run/hostapd.pid", "/tmp/office.conf"},
                      "/tmp/hostapd.out")
            .wait();
        ASSERT_TRUE(wait_until([] { return hostapd_pid() > 0; })) << read_file("/tmp/hostapd.out");
    }
    static void stop_hostapd() {
        if (hostapd_pid() <= 0) return;
        kill(hostapd_pid(), SIGCONT);
        kill(hostapd_pid(), SIGTERM);
        wait_until([] { return !std::filesystem::exists("/run/hostapd.pid"); });
    }
    // The value at a path, or the reason why there is none; asks again until somebody answers.
    std::string get(const std::string& path) {
        std::string value;
        wait_until([&] {
            asker.received().clear();
            asker.send_quietly(1, R"({"command":"get","path":")" + path + "\"}");
            const auto answer = asker.received().take(2s);
            if (!answer) return false;
            const json parsed = parse_json(answer->text);
            value = text_of(parsed, parsed.contains("value") ? "value" : "reason");
            return true;
        });
        return value;
    }

    // The status of networkd's answer, or the reason.
    std::string ask_networkd(const std::string& request) {
        asker.received().clear();
        asker.send_quietly(6, request);
        const auto answer = asker.received().take();
        const json parsed = parse_json(answer ? answer->text : "");
        return text_of(parsed, parsed.contains("reason") ? "reason" : "status");
    }
    // What hostapd replies to a command.
    static std::string ask_hostapd(const std::string& command) {
        child_process({"/usr/sbin/wpa_cli", "-g", "/run/hostapd/global", "raw", command},
                      "/tmp/wpa_cli.out")
            .wait();
        return read_file("/tmp/wpa_cli.out");
    }
    static bool denies(const std::string& mac, const std::string& ifname = "wlan1") {
        return ask_hostapd("IFNAME=" + ifname + " DENY_ACL SHOW").find(mac) != std::string::npos;
    }

    transcript story{nullptr};
    bus_broker broker{story};
    bus_peer asker{story, "asker", 28};
};

TEST_F(Aplocald, FollowsHostapdAndTheBus) {
    const std::string vap = "/interface/wlan1-vap0/";
    const auto process = start();
    EXPECT_EQ(get(vap + "common/enabled"), "false");
    EXPECT_EQ(std::filesystem::status("/run/aplocald.pid").permissions() &
                  std::filesystem::perms::others_read,
              std::filesystem::perms::none)
        << "anybody could lock the file, and aplocald would not start after a crash";

    start_hostapd();
    EXPECT_TRUE(wait_until([] { return std::filesystem::exists(notify_file); }));
    EXPECT_TRUE(std::filesystem::exists("/run/hostapd/global"));
    EXPECT_TRUE(std::filesystem::exists("/tmp/.skylark_notify_hostapd_started"));
    EXPECT_EQ(get(vap + "vap/ssid"), "office");
    EXPECT_EQ(get(vap + "vap/ap-security/mode"), "OPEN");
    EXPECT_EQ(get(vap + "vap/w80211kv-config/enabled"), "true");

    broker.stop();
    broker.restart();
    EXPECT_EQ(get(vap + "vap/ssid"), "office");

    stop_hostapd();
    EXPECT_TRUE(wait_until([&] { return get(vap + "common/enabled") == "false"; }));
    EXPECT_TRUE(wait_until([] { return !std::filesystem::exists("/run/hostapd/global"); }));
}

// Told that the configuration has changed, the daemon would not look which radios are up.
TEST_F(Aplocald, TellsOfARadioThatGoesDownAsOfAStart) {
    const struct {
        const char* name;
        const char* command;  // for hostapd
        bool up;              // wlan1, when hostapd has obeyed
        std::string told;
    } rows[] = {
        {.name = "GoesDown", .command = "DISABLE", .up = false, .told = "hostapd_started"},
        {.name = "StaysDown", .command = "ENABLE", .up = false, .told = "config_updated"},
    };
    const auto process = start();
    access_point::set_device("wlan1", true);
    start_hostapd();
    ASSERT_TRUE(wait_until([] { return std::filesystem::exists(notify_file); }));

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::filesystem::remove(std::string(notify_file) + "_config_updated");
        std::filesystem::remove(std::string(notify_file) + "_hostapd_started");
        access_point::set_device("wlan1", row.up);

        ask_hostapd(std::string("IFNAME=wlan1 ") + row.command);

        EXPECT_TRUE(
            wait_until([&] { return std::filesystem::exists(notify_file + ("_" + row.told)); }));
    }
    access_point::remove_device("wlan1");
}

TEST_F(Aplocald, AnswersAndEndsWhileHostapdHangs) {
    const auto process = start();
    start_hostapd();
    ASSERT_TRUE(wait_until([] { return std::filesystem::exists(notify_file); }));
    ASSERT_EQ(get("/interface/wlan1-vap0/vap/ssid"), "office");
    kill(hostapd_pid(), SIGSTOP);
    std::this_thread::sleep_for(1100ms);  // the answers before it count for a second

    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 35; ++i) EXPECT_EQ(get("/interface/wlan1-vap0/vap/ssid"), "office");
    const auto read = std::chrono::steady_clock::now();
    const int status = process->stop();
    const auto ended = std::chrono::steady_clock::now();

    EXPECT_LT(read - begin, 3s * TIME_SCALE);
    EXPECT_EQ(status, 0) << read_file(output_file);
    EXPECT_LT(ended - read, 1s * TIME_SCALE);
    EXPECT_FALSE(std::filesystem::exists("/run/hostapd/global"));
    EXPECT_FALSE(std::filesystem::exists("/run/aplocald.pid"));
}

// hostapd drops the list when it starts, and when it has to take another key of an access point.
TEST_F(Aplocald, GivesTheDenyListToHostapdAgain) {
    const std::string mac = "02:00:00:00:03:00";
    const auto transition = [](const std::string& key) {
        return R"({"command":"update-skylark-fbt","wlan1-vap0":{"ft-config":{"enabled":"true",)"
               R"("mobility-domain":1,"r0-key-holder-id":"a","r1-key-holder-id":"020000000100",)"
               R"("mac":{"x":{"r0-kh-id":"b","r1-kh-id":"020000000200","r0-kh-key":")" +
               key + R"(","r1-kh-key":")" + key + R"("}}}}})";
    };
    const std::string security =
        "wpa=2\nwpa_key_mgmt=WPA-PSK FT-PSK\nwpa_passphrase=12345678\nrsn_pairwise=CCMP\n"
        "nas_identifier=a\nmobility_domain=0001\n";
    write_file(configuration_file, std::string("store=") + store_file +
                                       "\nmac_lists=/tmp/lists.json\ndeny_list=black\n");
    const auto process = start();
    start_hostapd(security);
    ASSERT_TRUE(wait_until([] { return std::filesystem::exists(notify_file); }));

    EXPECT_EQ(ask_networkd(R"({"command":"update-wids-mac-lists","black":[")" + mac + "\"]}"),
              "ok");
    EXPECT_TRUE(denies(mac));

    EXPECT_EQ(ask_networkd(transition("000102030405060708090a0b0c0d0e0f")), "ok");
    EXPECT_EQ(ask_networkd(transition("ff0102030405060708090a0b0c0d0e0f")), "ok");
    EXPECT_TRUE(denies(mac)) << "after another key";

    std::filesystem::remove(notify_file);
    stop_hostapd();
    start_hostapd(security);
    ASSERT_TRUE(wait_until([] { return std::filesystem::exists(notify_file); }));
    EXPECT_TRUE(denies(mac)) << "after a start";

    write_file("/tmp/guests.conf",
               "interface=wlan2\ndriver=none\nctrl_interface=/run/hostapd\nssid=guests\n");
    ASSERT_EQ(ask_hostapd("ADD bss_config=guests:/tmp/guests.conf"), "OK\n");
    EXPECT_TRUE(wait_until([&] { return denies(mac, "wlan2"); })) << "of another VAP";
    std::filesystem::remove("/tmp/lists.json");
}

TEST_F(Aplocald, KeepsTheOldSettingsWhenTheDiskIsFull) {
    const std::string file = "/tmp/small-disk/store.json";
    write_file(file, R"({"/a":"old"})");
    write_file(configuration_file, "store=" + file + "\n");
    const auto process = start();
    ASSERT_EQ(get("/a"), "old");
    write_file("/tmp/small-disk/ballast", std::string(255'000, 'x'));

    asker.send_quietly(
        1, R"({"command":"set","path":"/a","value":")" + std::string(20'000, 'y') + "\"}");
    const auto answer = asker.received().take();

    ASSERT_TRUE(answer);
    EXPECT_EQ(text_of(parse_json(answer->text), "reason"),
              "cannot write " + file + ": No space left on device");
    EXPECT_EQ(get("/a"), "old");
    EXPECT_EQ(read_file(file), R"({"/a":"old"})");
    EXPECT_FALSE(std::filesystem::exists(file + ".new"));
    for (const char* name : {"ballast", "store.json"}) {
        std::filesystem::remove(std::string("/tmp/small-disk/") + name);
    }
}

TEST_F(Aplocald, SaysWhyItDoesNotStart) {
    const struct {
        const char* name;
        const char* store = "{}";
        std::string configuration = std::string("store=") + store_file;
        bool second = false;
        std::string line;
    } rows[] = {
        {.name = "bad store",
         .store = "{\"/a\":",
         .line = "/tmp/store.json is not a JSON object of paths and values"},
        {.name = "bad configuration",
         .configuration = "shop=1",
         .line = "/tmp/aplocald.conf: line 1: there is no setting \"shop\""},
        {.name = "second instance",
         .second = true,
         .line = "/run/aplocald.pid: another aplocald is running"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        write_file(store_file, row.store);
        write_file(configuration_file, row.configuration);
        const auto first = row.second ? start("/tmp/first.out") : nullptr;
        const std::string before = first ? get("/skylark/dca") : "";

        const auto status = run()->wait();

        EXPECT_EQ(status, 1);
        EXPECT_EQ(read_file(output_file), "aplocald: " + row.line + "\n");
        EXPECT_EQ(read_file(store_file), row.store);
        EXPECT_EQ(first ? get("/skylark/dca") : "", before) << "the first instance goes on";
    }
}

}  // namespace
}  // namespace lab
