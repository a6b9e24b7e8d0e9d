// hostapd and widsd coming and going, the notify files.
#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

class RrmSupervision : public RrmTest {
  protected:
    RrmSupervision() { std::filesystem::remove(flag_files::widsd_pid); }

    bool keeps() { return worker->keep_running(&running); }
    // The hostapd's pid file goes, or comes back.
    static void hostapd(bool runs) {
        std::filesystem::remove(flag_files::hostapd_pid);
        if (runs) touch(flag_files::hostapd_pid);
    }
};

TEST_F(RrmSupervision, BecomesActiveWithEitherPidFile) {
    fake_log::reset();
    EXPECT_TRUE(worker->start_check());
    hostapd(false);
    EXPECT_FALSE(worker->start_check());
    touch(flag_files::widsd_pid);
    EXPECT_TRUE(worker->start_check());
    EXPECT_EQ(fake_log::take(), "debug Connected to hostapd\ndebug Connected to widsd\n");
    running = false;
    EXPECT_FALSE(keeps());
}

// What is left of the files, by their letters, and done after one look at them.
TEST_F(RrmSupervision, NotifyFiles) {
    const std::map<char, const char*> files{{'h', flag_files::hostapd_started},
                                            {'w', flag_files::widsd_started},
                                            {'c', flag_files::config_updated},
                                            {'t', flag_files::timezone_changed},
                                            {'n', flag_files::notify}};
    const char* started = "on, reset, init, stop all, ";
    const char* changed = "rrm-config-changed ";
    const std::tuple<std::string, bool, bool, const char*, const char*, const char*> rows[] = {
        {"hc", true, true, "", "", "hc"},
        {"hn", true, true, started, changed, ""},
        {"hwn", true, false, started, "", ""},
        {"hn", false, true, "off, reset, ", "", ""},
        {"wn", true, true, "off, reset, init, ", changed, ""},
        {"cn", true, true, "", changed, ""},
        {"cn", true, false, "", "", ""},
        {"hcn", true, true, started, changed, ""},
        {"tn", true, true, "", "", ""},
        {"n", true, true, "", "", ""},
    };
    for (const auto& [there_before, hostapd_runs, subscribed, done, told, left] : rows) {
        SCOPED_TRACE(there_before + (hostapd_runs ? " hostapd" : "") +
                     (subscribed ? " subscribed" : ""));
        drv->initialized = true;
        subscribed ? subscribe() : receive(link("disconnected"));
        drv->take();
        hostapd(hostapd_runs);
        for (const char letter : there_before) touch(files.at(letter));
        EXPECT_TRUE(keeps());
        EXPECT_EQ(drv->take(), done);
        EXPECT_EQ(sent(), told);
        std::string still_there;
        for (const char letter : there_before) {
            if (std::filesystem::remove(files.at(letter))) still_there += letter;
        }
        EXPECT_EQ(still_there, left);
    }
}

TEST_F(RrmSupervision, TimeZoneIsTakenUpWhenItsFileTells) {
    setenv("TZ", "XYZ-3", 1);
    touch(flag_files::timezone_changed);
    EXPECT_TRUE(keeps());
    EXPECT_STRNE(tzname[0], "XYZ") << "only with the master file";

    touch(flag_files::notify);
    EXPECT_TRUE(keeps());

    EXPECT_STREQ(tzname[0], "XYZ");
    unsetenv("TZ");
    tzset();
}

TEST_F(RrmSupervision, LeavingTheActiveStateCleansUp) {
    drv->radios_up = true;
    receive(rrm("rrm-info", R"("use-80211r":1)"));
    drv->take();
    const std::string clears = "clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, ";
    worker->on_stop();
    EXPECT_EQ(drv->take(), clears + "stop all, fbt reset 0, off, reset, ");
    drv->radios_up = drv->initialized = true;
    running = false;
    worker->on_stop();
    EXPECT_EQ(drv->take(), clears + "stop all, fbt reset 1, off, reset, ");
    touch(flag_files::connected);
    drv->radios_up = true;
    worker.reset();
    EXPECT_EQ(drv->take(), clears + "stop all, reset, ");
    EXPECT_FALSE(there(flag_files::connected));
}

// What must not throw hands its exception to the next pass.
TEST_F(RrmSupervision, ExceptionsReachThePass) {
    subscribe();
    drv->radios_up = drv->throws = true;
    touch(flag_files::config_updated);
    touch(flag_files::notify);
    EXPECT_TRUE(keeps());
    EXPECT_THROW(worker->process(), std::invalid_argument);
    receive(rrm("rrm-update", R"("rrm-scan-delay":1)"));
    fake_clock::advance(1);
    hostapd(false);
    EXPECT_TRUE(worker->start_check());
    EXPECT_TRUE(keeps());
    EXPECT_THROW(worker->process(), std::out_of_range);
}

}  // namespace
}  // namespace rfcd
