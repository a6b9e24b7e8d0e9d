// Dispatch, and the operations that the worker's loop calls.
#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

using RrmWorker = RrmTest;

// The worker waits 5 s for a message, which a pass must not do while messages are put aside.
TEST_F(RrmWorker, MessagesPutAsideDoNotWaitForOthers) {
    make_worker(std::chrono::seconds(5));
    drv->take();
    drv->scanning = true;
    for (int i = 0; i < 3; ++i) receive(rrm("fbt-info"));
    drv->scanning = false;
    const auto start = std::chrono::steady_clock::now();

    for (int i = 0; i < 3; ++i) worker->process();

    EXPECT_EQ(drv->take(), "fbt reset 0, fbt reset 0, fbt reset 0, ");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(RrmWorker, SuccessTakesDomainAndSettings) {
    drv->radios_up = true;
    const auto answer = rrm("subscribe-response", R"("status":"Success","domain":"other","config":)"
                                                  R"({"use-tpc":1,"radios":[{"id":1,"power":9}]})");

    EXPECT_EQ(effects_of(answer),
              "power wlan1 9, clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, ");
    receive(rrm("rrm-request-mode"));
    EXPECT_STREQ(read(drain(out).at(0)).get_string("domain"), "other");
    EXPECT_EQ(effects_of(rrm("subscribe-response", R"("status":"success","config":[1])")), "")
        << "only an object is a configuration";
}

// The lines for those who watch the daemon, as one text.
TEST_F(RrmWorker, StatusFollowsTheWorker) {
    const auto after = [this](const std::string& message) {
        receive(message);
        status_lines lines;
        worker->status().append_to(lines);
        return lines.text() + worker->status().summary();
    };
    const std::string hostapd_runs = "subscription-since: 1000\nhostapd: running\n";

    EXPECT_EQ(after(link("connected")), "subscription: subscribing\n" + hostapd_runs +
                                            "scan: idle\n, asking for the subscription");
    EXPECT_EQ(after(rrm("subscribe-response", R"("status":"success")")),
              "subscription: subscribed\n" + hostapd_runs + "scan: idle\n, subscribed");
    const auto version = worker->status().version();

    fake_clock::advance(5);
    drv->scanning = true;
    EXPECT_EQ(after(rrm("fbt-info")),
              "subscription: subscribed\n" + hostapd_runs + "scan: sweep 1 of 1\n, subscribed");
    EXPECT_NE(worker->status().version(), version);

    EXPECT_EQ(after(link("disconnected")),
              "subscription: none\nsubscription-since: 1005\nhostapd: running\n"
              "scan: idle\n, not subscribed");
}

TEST_F(RrmWorker, MessagesThatChangeNothing) {
    const std::string rows[] = {"",
                                "[]",
                                R"({"service":null,"cmd":"rrm-request-mode"})",
                                R"({"service":"rrm","cmd":null})",
                                R"({"service":"other","cmd":"connected"})",
                                R"({"service":"internal-ipc"})",
                                R"({"service":["rrm"],"cmd":"rrm-request-mode"})",
                                link("status"),
                                rrm("rrm-unknown")};

    for (const auto& row : rows) EXPECT_EQ(effects_of(row), "") << row;
}

TEST_F(RrmWorker, Versions) {
    const auto with_version = [](const std::string& version) {
        return R"({"service":"RRM","cmd":"RRM-Request-Mode","version":)" + version + "}";
    };

    for (const char* version :
         {R"("2.4")", R"("2.10")", R"("3.0")", "2.4", R"("2147483647.2147483647")"}) {
        EXPECT_EQ(effects_of(with_version(version)), "rrm-mode-response ") << version;
    }
    for (const char* version :
         {R"("2.3")", R"("1.9")", R"("2")", R"("new")", "null", R"("-1.99999")"}) {
        EXPECT_EQ(effects_of(with_version(version)), "unsubscribe-request unlink ") << version;
    }
}

TEST_F(RrmWorker, MessagesArePutAsideUpToALimit) {
    const auto megabyte = rrm("fbt-info", R"("x":")" + std::string(1'000'000, 'd') + "\"");
    drv->scanning = true;
    for (int i = 0; i < 70; ++i) receive(megabyte);
    drv->scanning = false;

    for (int i = 0; i < 70; ++i) worker->process();

    const auto acted = drv->take();
    EXPECT_EQ(std::count(acted.begin(), acted.end(), ','), 68);
}

TEST_F(RrmWorker, TimeZoneIsReadAgainWhenItsFileTells) {
    setenv("TZ", "XYZ-3", 1);
    touch(flag_files::timezone_changed);
    touch(flag_files::notify);

    worker->keep_running(&running);

    EXPECT_STREQ(tzname[0], "XYZ");
    EXPECT_FALSE(there(flag_files::timezone_changed));
    unsetenv("TZ");
    tzset();
}

TEST_F(RrmWorker, TheEndOfTheDaemonLeavesFastTransitionAsItIs) {
    drv->radios_up = true;
    receive(rrm("rrm-info", R"("use-80211r":1)"));
    drv->take();
    const std::string clears = "clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, ";
    running = false;

    EXPECT_FALSE(worker->keep_running(&running));
    worker->on_stop();
    EXPECT_EQ(drv->take(), clears + "stop all, fbt reset 1, off, reset, ");

    touch(flag_files::connected);
    drv->radios_up = true;
    worker.reset();
    EXPECT_EQ(drv->take(), clears + "stop all, reset, ");
    EXPECT_FALSE(there(flag_files::connected));
}

// Operations that must not throw keep their exception for the next pass.
TEST_F(RrmWorker, ExceptionsReachThePass) {
    receive(rrm("subscribe-response", R"("status":"success")"));
    drv->radios_up = true;
    drv->throws = true;
    touch(flag_files::config_updated);
    touch(flag_files::notify);
    EXPECT_TRUE(worker->keep_running(&running));
    EXPECT_THROW(worker->process(), std::invalid_argument);

    receive(rrm("rrm-update", R"("rrm-scan-delay":1)"));
    fake_clock::advance(1);
    std::filesystem::remove(flag_files::hostapd_pid);
    EXPECT_TRUE(worker->start_check());
    EXPECT_TRUE(worker->keep_running(&running));
    EXPECT_THROW(worker->process(), std::out_of_range);
}

}  // namespace
}  // namespace rfcd
