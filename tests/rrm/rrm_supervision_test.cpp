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

// Which of the files exist, and what is left and done after one look.
TEST_F(RrmSupervision, NotifyFiles) {
    const struct {
        const char* name;
        bool master;
        std::vector<const char*> files;
        bool hostapd_runs;
        bool subscribed;
        const char* done;
        const char* sent;
        std::size_t left;
    } rows[] = {
        {"no master", false, {flag_files::hostapd_started, flag_files::config_updated}, true, true, "", "", 2},
        {"hostapd",
         true,
         {flag_files::hostapd_started},
         true,
         true,
         "on, reset, init, stop all, ",
         "rrm-config-changed ",
         0},
        {"hostapd and widsd",
         true,
         {flag_files::hostapd_started, flag_files::widsd_started},
         true,
         false,
         "on, reset, init, stop all, ",
         "",
         0},
        {"hostapd without its pid file", true, {flag_files::hostapd_started}, false, true, "off, reset, ", "", 0},
        {"widsd", true, {flag_files::widsd_started}, true, true, "off, reset, init, ", "rrm-config-changed ", 0},
        {"configuration", true, {flag_files::config_updated}, true, true, "", "rrm-config-changed ", 0},
        {"configuration, not subscribed", true, {flag_files::config_updated}, true, false, "", "", 0},
        {"hostapd and configuration",
         true,
         {flag_files::hostapd_started, flag_files::config_updated},
         true,
         true,
         "on, reset, init, stop all, ",
         "rrm-config-changed ",
         0},
        {"time zone", true, {flag_files::timezone_changed}, true, true, "", "", 0},
        {"nothing", true, {}, true, true, "", "", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        drv->initialized = true;
        if (row.subscribed) {
            subscribe();
        } else {
            receive(link("disconnected"));
        }
        drv->take();
        hostapd(row.hostapd_runs);
        for (const char* file : row.files) touch(file);
        if (row.master) touch(flag_files::notify);
        EXPECT_TRUE(keeps());
        EXPECT_EQ(drv->take(), row.done);
        EXPECT_EQ(sent(), row.sent);
        EXPECT_FALSE(there(flag_files::notify));
        std::size_t left = 0;
        for (const char* file : row.files) left += std::filesystem::remove(file) ? 1U : 0U;
        EXPECT_EQ(left, row.left);
    }
}

TEST_F(RrmSupervision, HostapdIsWaitedForAMinute) {
    subscribe();
    receive(rrm("rrm-update", R"("rrm-scan-delay":5)"));
    hostapd(false);
    fake_log::reset();
    EXPECT_TRUE(keeps());
    EXPECT_EQ(fake_log::take(),
              "debug Hostapd is not running, waiting for restart\n"
              "debug process_hostapd_stopped : deinitializing\n");
    EXPECT_EQ(drv->take(), "off, reset, ");
    EXPECT_EQ(pass_until(60) + drv->take(), "") << "the scan's timer is gone";
    EXPECT_TRUE(keeps());
    fake_clock::advance(1);
    fake_log::take();
    EXPECT_FALSE(keeps());
    EXPECT_EQ(fake_log::take(), "debug Hostapd has not restarted\n");
    worker->on_stop();
    EXPECT_EQ(drv->take(), "stop all, ");
    touch(flag_files::hostapd_started);
    touch(flag_files::notify);
    hostapd(true);
    EXPECT_TRUE(keeps());
    EXPECT_EQ(sent(), "rrm-config-changed ");
    hostapd(false);
    EXPECT_TRUE(keeps()) << "a new minute";
}

TEST_F(RrmSupervision, PidFileThatComesBackWithoutNoticeKeepsTheOldStopTime) {
    hostapd(false);
    EXPECT_TRUE(keeps());
    fake_clock::advance(30);
    hostapd(true);
    EXPECT_TRUE(keeps());
    fake_clock::advance(40);
    hostapd(false);
    EXPECT_FALSE(keeps());
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
