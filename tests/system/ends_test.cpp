// How the daemon ends: by a stop, whatever it is waiting for, and by an exception of a worker.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include "lab/service_world.h"

namespace lab {
namespace {

class Stop : public testing::Test {
  protected:
    static pid_t hostapd_pid() { return std::stoi(read_file("/run/hostapd.pid")); }

    // Makes wpa_cli hang at this command, until a test makes another access point.
    static void hang_wpa_cli(const std::string& command) {
        write_file("/bin/wpa_cli", "#!/bin/sh\ncase \"$*\" in *" + command +
                                       "*) exec sleep 60 ;; esac\nexec /usr/sbin/wpa_cli \"$@\"\n");
    }

    // Stops the daemon while it waits.
    void expect_end_in_time() {
        std::this_thread::sleep_for(300ms);

        const auto ending = world->agent->stop();

        EXPECT_EQ(ending.status, 0);
        EXPECT_LT(ending.time, 2s * TIME_SCALE);
    }

    transcript story{nullptr};
    std::unique_ptr<service_world> world;
};

TEST_F(Stop, EndsEveryStateOfRrm) {
    const struct {
        const char* name;
        std::function<void(service_world&)> enter;
        const char* logged = "";  // the line that shows that the daemon is in this state
    } rows[] = {
        {.name = "configd is silent while the radios are described",
         .enter =
             [](auto& w) {
                 w.point.config.set_mood(mood::silent);
                 w.cloud.send(message::request_mode());
             }},
        {.name = "networkd is silent about fast transition",
         .enter =
             [](auto& w) {
                 w.send_and_settle(message::use_80211r(true));
                 w.point.network.set_mood(mood::silent);
                 w.cloud.send(message::fast_transition(1, 0, 2));
             },
         .logged = "Try to send update-skylark-fbt"},
        {.name = "hostapd hangs, and every list is to be cleared",
         .enter =
             [](auto& w) {
                 kill(hostapd_pid(), SIGSTOP);
                 w.cloud.send(message::neighbour("02:00:00:00:00:01", 36, 5));
             },
         .logged = "Execute del neighbor list"},
        {.name = "wpa_cli hangs when a neighbour is added",
         .enter =
             [](auto& w) {
                 hang_wpa_cli("SET_NEIGHBOR");
                 w.cloud.send(message::neighbour("02:00:00:00:00:01", 36, 5));
             },
         .logged = "Execute add neighbor"},
        {.name = "the broker hangs",
         .enter =
             [](auto& w) {
                 w.broker.process().signal(SIGSTOP);
                 w.cloud.send(message::request_mode());
             }},
        {.name = "a scan runs",
         .enter = [](auto& w) { w.cloud.send(message::update(true)); },
         .logged = "Start active scanning for radio 'wlan2'"},
        {.name = "hostapd has gone",
         .enter = [](auto& w) { w.point.stop_hostapd(); },
         .logged = "Hostapd is not running, waiting for restart"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        world = std::make_unique<service_world>(story, service_world::service::rrm);
        world->subscribe();

        row.enter(*world);

        EXPECT_TRUE(world->agent->wait_log(row.logged));
        expect_end_in_time();
        world->broker.process().signal(SIGCONT);
        if (std::filesystem::exists("/run/hostapd.pid")) kill(hostapd_pid(), SIGCONT);
        world.reset();
    }
}

TEST_F(Stop, EndsTheWaitForNetworkdThatWasGivenAList) {
    world = std::make_unique<service_world>(story, service_world::service::wids);
    world->point.network.set_mood(mood::silent);
    world->start_daemon();
    ASSERT_TRUE(world->cloud.wait_connections(1));

    world->cloud.send(R"({"service":"wids-mac-service","Name":"list-of-building-7"})");

    EXPECT_TRUE(world->point.network.requests().take());
    expect_end_in_time();
}

TEST(RrmEnds, ValueThatIsNoNumberLeavesTheWorker) {
    transcript story(nullptr);
    service_world world(story, service_world::service::rrm);
    world.subscribe();
    world.point.store.set("/interface/wlan1/wlan/radio/tx-power-max", "much");

    world.cloud.send(message::request_mode());

    EXPECT_EQ(world.agent->process().wait(), 255);
    EXPECT_TRUE(world.agent->wait_log("Unhandled exception at worker 'rrm'\n", 0ms));
}

}  // namespace
}  // namespace lab
