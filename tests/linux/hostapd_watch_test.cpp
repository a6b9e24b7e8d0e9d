// How aplocald notices what hostapd does, and what it gives hostapd, with a real hostapd.
#include "aplocald/hostapd_watch.h"

#include "aplocald/access_lists.h"
#include "aplocald/fast_transition.h"
#include "aplocald/hostapd_requests.h"
#include "aplocald/json.h"
#include "aplocald/notify_files.h"
#include "harness/inbox.h"
#include "tests/linux/hostapd_fixture.h"

namespace aplocal {
namespace {

class HostapdWatch : public HostapdTest {
  protected:
    ~HostapdWatch() override { thread_.reset(); }

    void watch() {
        watch_ = std::make_unique<hostapd_watch>(
            loop_, hostapd_watch::settings{.ping_pause = 100ms, .ping_limit = 200ms},
            hostapd_watch::callbacks{.started = [this] { told_.put("started"); },
                                     .stopped = [this] { told_.put("stopped"); },
                                     .changed = [this] { told_.put("changed"); },
                                     .said = [this](const std::string& line) { told_.put(line); }});
        thread_ = std::make_unique<loop_thread>(loop_);
    }
    std::string next(std::chrono::milliseconds time = lab::patience) {
        return told_.take(time).value_or("nothing");
    }

    event_loop loop_;
    lab::inbox<std::string> told_;
    std::unique_ptr<hostapd_watch> watch_;
    std::unique_ptr<loop_thread> thread_;
};

TEST_F(HostapdWatch, TellsOfEveryEndAndBeginning) {
    watch();

    EXPECT_EQ(next(), "started");
    for (const int signal : {SIGTERM, SIGKILL}) {
        kill(signal);
        EXPECT_EQ(next(), "stopped");
        EXPECT_TRUE(lab::wait_until([] { return !std::filesystem::exists("/run/hostapd.pid"); }));
        start();
        EXPECT_EQ(next(), "started");
    }
}

// The daemon takes a pid file for a running hostapd.
TEST_F(HostapdWatch, RemovesAPidFileThatNamesAnotherProcess) {
    kill(SIGKILL);
    lab::write_file("/run/hostapd.pid", std::to_string(getpid()));
    watch();

    EXPECT_EQ(next(500ms), "nothing");
    EXPECT_FALSE(std::filesystem::exists("/run/hostapd.pid"));
    start();

    EXPECT_EQ(next(), "started");
}

TEST_F(HostapdWatch, KnowsAHostapdOfAnotherNameByItsSockets) {
    kill(SIGKILL);
    std::filesystem::create_symlink("/usr/sbin/hostapd", "/tmp/access-pointd");
    start("/tmp/access-pointd");
    watch();

    EXPECT_EQ(next(), "started");
    std::filesystem::remove("/tmp/access-pointd");
}

TEST_F(HostapdWatch, SaysOnceThatHostapdHangs) {
    watch();
    ASSERT_EQ(next(), "started");

    kill(SIGSTOP);
    EXPECT_EQ(next(), "hostapd does not reply");
    EXPECT_EQ(next(1s), "nothing");
    kill(SIGCONT);

    EXPECT_EQ(next(), "hostapd replies again");
}

TEST_F(HostapdWatch, HearsAHostapdThatHungAtFirst) {
    kill(SIGSTOP);
    watch();
    EXPECT_EQ(next(1s * TIME_SCALE), "hostapd does not reply");
    EXPECT_EQ(next(1s * TIME_SCALE), "started") << "each interface was waited for";

    kill(SIGCONT);
    EXPECT_EQ(next(), "hostapd replies again");
    EXPECT_EQ(next(), "changed") << "the interfaces are new to the watch";
    control_client("/run/hostapd/wlan2").ask("DISABLE");

    EXPECT_EQ(next(), "changed");
}

TEST_F(HostapdWatch, TellsOnlyOfChangesThatAplocaldDidNotMake) {
    watch();
    ASSERT_EQ(next(), "started");

    control_client("/run/hostapd/wlan2").ask("DISABLE");
    EXPECT_EQ(next(), "changed");
    thread_.reset();
    watch_->expect_own_changes(2s);
    thread_ = std::make_unique<loop_thread>(loop_);
    control_client("/run/hostapd/wlan2").ask("ENABLE");
    EXPECT_EQ(next(2500ms), "nothing");
    control_client(inner_socket).ask("REMOVE wlan2");

    EXPECT_EQ(next(), "changed");
}

TEST_F(HostapdWatch, IsOutlivedByFilesOfTheDaemonOnly) {
    std::filesystem::create_symlink("/tmp/victim", "/tmp/.skylark_notify_hostapd_started");

    EXPECT_FALSE(notify_daemon("hostapd_started"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/victim"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/.skylark_notify"));
    EXPECT_TRUE(notify_daemon("config_updated"));
    EXPECT_TRUE(notify_daemon("config_updated"));
    EXPECT_TRUE(std::filesystem::exists("/tmp/.skylark_notify_config_updated"));
    EXPECT_TRUE(std::filesystem::exists("/tmp/.skylark_notify"));
    for (const char* name : {"", "_config_updated", "_hostapd_started"}) {
        std::filesystem::remove(std::string("/tmp/.skylark_notify") + name);
    }
}

using GivenToHostapd = HostapdTest;

TEST_F(GivenToHostapd, DenyListsDifferByNothingFromWhatWasAsked) {
    hostapd_requests requests({});
    const auto deny = [&](const std::string& macs) {
        const auto request = parse_object(R"({"black":)" + macs + "}");
        return requests.deny(request.get(), "black", {"wlan0-gone", "wlan1"});
    };
    const control_client wlan1("/run/hostapd/wlan1");
    const char* const gone = "wlan0-gone: hostapd has no such interface";

    EXPECT_EQ(deny(R"(["02:00:00:00:03:01","02-00-00-00-03-02"])"), gone);
    EXPECT_EQ(deny(R"(["020000000302","02:00:00:00:03:03"])"), gone);
    EXPECT_EQ(deny(R"(["me"])"), "'me' is not a MAC address");

    const std::set<std::string> expected{"02:00:00:00:03:02", "02:00:00:00:03:03"};
    EXPECT_EQ(read_access_list(wlan1.ask("DENY_ACL SHOW")), expected);
}

// hostapd shows no more than 4 KiB of a list.
TEST_F(GivenToHostapd, DenyListsMayBeLongerThanHostapdShows) {
    access_lists lists;
    const control_client wlan1("/run/hostapd/wlan1");
    const auto numbered = [](int first, int end) {
        std::set<std::string> macs;
        for (int i = first; i < end; ++i) {
            macs.insert("02:00:00:00:0" + std::to_string(i / 50) + ":" +
                        std::to_string(10 + i % 50));
        }
        return macs;
    };

    EXPECT_FALSE(lists.deny("wlan1", numbered(0, 400)));
    EXPECT_FALSE(lists.deny("wlan1", numbered(10, 410)));
    EXPECT_FALSE(lists.deny("wlan1", numbered(400, 405)));

    EXPECT_EQ(read_access_list(wlan1.ask("DENY_ACL SHOW")), numbered(400, 405));
}

// With one other access point, whose keys consist of this digit.
ft_parameters with_keys(char digit) {
    ft_parameters parameters{
        .enabled = true, .r0_key_holder = "ap-a", .r1_key_holder = "02:00:00:00:01:00"};
    parameters.remotes.push_back({.r0_id = "ap-b",
                                  .r1_id = "02:00:00:00:02:00",
                                  .r0_key = std::string(64, digit),
                                  .r1_key = std::string(64, digit)});
    return parameters;
}

TEST_F(GivenToHostapd, FastTransitionComesAndGoes) {
    fast_transition ft({});
    const control_client wlan1("/run/hostapd/wlan1");
    ft_parameters parameters = with_keys('a');

    EXPECT_EQ(ft.apply({{"wlan1-vap0", parameters}}), std::nullopt);
    EXPECT_NE(wlan1.ask("GET_CONFIG").find("key_mgmt=WPA-PSK FT-PSK\n"), std::string::npos);
    EXPECT_EQ(ft.reset({"wlan1-vap0", "wlan0-vap3"}), std::nullopt);
    EXPECT_NE(wlan1.ask("GET_CONFIG").find("key_mgmt=WPA-PSK\n"), std::string::npos);

    parameters.remotes[0].r0_key = "secret";
    EXPECT_EQ(ft.apply({{"wlan2-vap0", parameters}}),
              "wlan2: hostapd replied \"FAIL\" to SET r0kh 02:00:00:00:02:00 ap-b");
}

// hostapd keeps the first key that it got, until it reads its configuration again. It drops its
// deny lists then, so they show whether it did.
TEST_F(GivenToHostapd, KeysOfFastTransitionAreKnownToTheNextAplocald) {
    const struct {
        const char* name;
        char key;
        bool hostapd_anew = false;
        bool reads_again;
    } rows[] = {
        {.name = "the same key", .key = 'a', .reads_again = false},
        {.name = "another key", .key = 'b', .reads_again = true},
        {.name = "new hostapd", .key = 'c', .hostapd_anew = true, .reads_again = false},
    };
    const auto apply = [](char key) {
        return fast_transition({}).apply({{"wlan1-vap0", with_keys(key)}});
    };
    ASSERT_EQ(apply('a'), std::nullopt);
    EXPECT_EQ(std::filesystem::status(ft_record_file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.hostapd_anew) {
            kill(SIGTERM);
            start();
        }
        const control_client wlan1("/run/hostapd/wlan1");
        wlan1.ask("DENY_ACL ADD_MAC 02:00:00:00:03:01");

        EXPECT_EQ(apply(row.key), std::nullopt);

        EXPECT_EQ(read_access_list(wlan1.ask("DENY_ACL SHOW")).empty(), row.reads_again);
    }

    kill(SIGTERM);
    start();
    EXPECT_EQ(fast_transition({}).hostapd_started(), std::nullopt);
    EXPECT_NE(control_client("/run/hostapd/wlan1").ask("GET_CONFIG").find("FT-PSK"),
              std::string::npos);
}

// One VAP that the service knows from earlier must not cost the others their fast transition.
TEST_F(GivenToHostapd, FastTransitionComesBesideAVapThatIsMissing) {
    fast_transition ft({});
    const ft_parameters parameters = with_keys('a');

    EXPECT_EQ(ft.apply({{"wlan1-vap1", parameters}, {"wlan2-vap0", parameters}}),
              "wlan1-vap1: hostapd has no such interface");

    EXPECT_NE(control_client("/run/hostapd/wlan2").ask("GET_CONFIG").find("FT-PSK"),
              std::string::npos);
}

TEST_F(GivenToHostapd, FastTransitionWaitsOnceForAHostapdThatHangs) {
    fast_transition ft({});
    const ft_parameters parameters = with_keys('a');
    kill(SIGSTOP);

    const auto begin = std::chrono::steady_clock::now();
    const auto applied = ft.apply({{"wlan1-vap0", parameters}, {"wlan2-vap0", parameters}});
    const auto between = std::chrono::steady_clock::now();
    const auto reset = ft.reset({"wlan1-vap0", "wlan2-vap0"});
    const auto end = std::chrono::steady_clock::now();

    EXPECT_EQ(applied, "wlan1: hostapd does not reply to GET_CONFIG");
    EXPECT_EQ(reset, "wlan1: hostapd does not reply to GET_CONFIG");
    EXPECT_LT(between - begin, 3s * TIME_SCALE);
    EXPECT_LT(end - between, 3s * TIME_SCALE);
}

}  // namespace
}  // namespace aplocal
