// What must hold while things around the daemon go wrong, and afterwards.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "lab/raw_service.h"
#include "lab/roaming_world.h"
#include "lab/rrm_report.h"
#include "lab/service_world.h"

namespace lab {
namespace {

// The library that speeds up the clock does not work with a sanitizer, and a sanitizer needs some
// descriptors for itself.
#define NOT_UNDER_A_SANITIZER \
    if (TIME_SCALE != 1) GTEST_SKIP()

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class RoamingFaults : public testing::Test {
  protected:
    void start(const std::vector<std::string>& prefix, unsigned delay = 1) {
        agent = std::make_unique<daemon>(
            story,
            daemon::settings{{"log_level", "9"},
                             {"roam_service_url", loopback_url(raw_service::port, "/x")},
                             {"initial_connection_delay", std::to_string(delay)},
                             {"max_connection_delay", std::to_string(delay)}},
            prefix);
    }
    // True when a message reaches the echoing service and comes back.
    bool relays(const std::string& text) {
        return wait_until([&] {
            peer.send_quietly(bridge_module, text);
            return peer.received()
                .take_matching([&](const auto& m) { return m.text == text; }, 200ms)
                .has_value();
        });
    }
    pid_t pid() const { return agent->process().pid(); }

    transcript story{nullptr};
    bus_broker broker{story};
    bus_peer peer{story, "peer 3", roaming_module};
    std::unique_ptr<daemon> agent;
};

TEST_F(RoamingFaults, FrozenServiceIsLeftAfterThreePings) {
    NOT_UNDER_A_SANITIZER;
    raw_service service("echo");
    start(faster(30));
    EXPECT_TRUE(relays("before"));

    service.process().signal(SIGSTOP);
    EXPECT_TRUE(agent->wait_log("There are no 3 pong answer in a row from server"));

    service.process().signal(SIGCONT);
    EXPECT_TRUE(relays("after"));
}

TEST_F(RoamingFaults, ThousandReconnectsLeaveNothingBehind) {
    NOT_UNDER_A_SANITIZER;
    const raw_service service("close-frame");
    start(faster(60));
    service.wait_connections(100);
    const long memory = status_kilobytes(pid(), "VmRSS");

    ASSERT_TRUE(wait_until([&] { return service.connections() >= 1100; }, 100s));

    const auto fds = std::filesystem::directory_iterator("/proc/" + std::to_string(pid()) + "/fd");
    EXPECT_LE(std::distance(begin(fds), end(fds)), 20);
    EXPECT_EQ(status_kilobytes(pid(), "Threads"), 2);
    EXPECT_LT(status_kilobytes(pid(), "VmRSS"), memory + 512);
}

TEST_F(RoamingFaults, ClockThatJumpsLosesNothing) {
    NOT_UNDER_A_SANITIZER;
    const raw_service service("echo");
    write_file("/tmp/jump", "+0");
    start(jumping("/tmp/jump"));
    EXPECT_TRUE(relays("before"));

    for (const char* jump : {"+45", "+4000", "+400000"}) {
        write_file("/tmp/jump", jump);
        EXPECT_TRUE(relays(jump));
    }
}

TEST_F(RoamingFaults, DescriptorsRunOut) {
    NOT_UNDER_A_SANITIZER;
    const raw_service service("echo");
    start({"sh", "-c", "ulimit -S -n 6; exec \"$@\"", "sh"});
    EXPECT_TRUE(agent->wait_log("Creating libwebsocket context failed"));

    const rlimit plenty{1000, 1000};
    prlimit(pid(), RLIMIT_NOFILE, &plenty, nullptr);

    EXPECT_TRUE(relays("after"));
}

// The thread sanitizer sometimes loses a signal that arrives while a handler is being installed,
// even in the smallest program. With it, the signals begin later.
#ifdef __SANITIZE_THREAD__
constexpr int first_stage = 22;
#else
constexpr int first_stage = 0;
#endif

TEST_F(RoamingFaults, SignalsAtEveryStage) {
    const raw_service service("echo");
    for (int i = first_stage; i < 40; ++i) {
        const milliseconds age(i < 20 ? i : 100 * (i - 19));
        start({}, 0);
        std::this_thread::sleep_for(age);

        const auto ending = agent->stop();

        // Until the daemon has installed its handler, the signal has its default effect. Beside
        // other tests a daemon with a sanitizer may need some hundred milliseconds for that.
        const bool early = age < (TIME_SCALE > 1 ? 1000ms : 20ms);
        EXPECT_TRUE(ending.status == 0 || (early && ending.status == 128 + SIGTERM)) << i;
        EXPECT_LT(ending.time, 2s * TIME_SCALE);
    }
}

TEST_F(RoamingFaults, ServiceThatAnswersTheHandshakeAfterTwelveSeconds) {
    NOT_UNDER_A_SANITIZER;
    const raw_service service("late-answer");

    start(faster(6));  // the service sees two seconds

    EXPECT_TRUE(agent->wait_log("Connection established"));
    EXPECT_EQ(service.connections(), 1U);
}

TEST_F(RoamingFaults, ServiceThatNeverAnswersTheHandshakeIsLeftAfterTwentySeconds) {
    NOT_UNDER_A_SANITIZER;
    const raw_service service("silence");

    start(faster(10));

    EXPECT_TRUE(service.wait_connections(2));
    EXPECT_GE(agent->count_log("process_closed:122") +
                  agent->count_log("process_client_connection_error:90"),
              1U);
}

// The client handles ten messages a second, so the link reads nothing for hours. Pings must go on.
TEST(WidsFaults, FloodDoesNotEndTheLink) {
    NOT_UNDER_A_SANITIZER;
    transcript story(nullptr);
    const bus_broker broker(story);
    const raw_service service("flood");
    daemon agent(
        story,
        {{"log_level", "1"}, {"mac-list-service-url", loopback_url(raw_service::port, "/x")}},
        faster(60));
    ASSERT_TRUE(
        wait_until([&] { return status_kilobytes(agent.process().pid(), "VmRSS") > 64 << 10; }));

    std::this_thread::sleep_for(4s);  // four minutes for the daemon

    EXPECT_EQ(service.connections(), 1U);
    EXPECT_EQ(agent.stop().status, 0);
}

class RrmFaults : public testing::Test {
  protected:
    void TearDown() override {
        if (!world.agent) return;  // The test was skipped.
        const int status = world.agent->stop().status;
        const std::string log = world.agent->log();
        EXPECT_EQ(status, 0) << log.substr(log.size() - std::min<std::size_t>(log.size(), 4000));
    }
    std::string mode() {
        world.cloud.send(message::request_mode());
        return world.expect("rrm-mode-response", 60s);
    }

    transcript story{nullptr};
    service_world world{story, service_world::service::rrm};
};

// Each request without an answer costs 20 seconds of the daemon's time. Because the clock is sped
// up, a busy machine may look like a slow local daemon, so the expected values may only come with a
// later description.
TEST_F(RrmFaults, LocalDaemonsThatDoNotAnswer) {
    NOT_UNDER_A_SANITIZER;
    const struct {
        const char* name;
        mood local_daemons;
    } rows[] = {
        {.name = "silent", .local_daemons = mood::silent},
        {.name = "refusing", .local_daemons = mood::refusing},
    };
    const auto describes = [&](const char* power) {
        return wait_until([&] { return contains(radio_in(mode(), 1), power); }, 60s);
    };
    world.subscribe(faster(10));

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        world.point.config.set_mood(row.local_daemons, "/wlan1/wlan/radio/tx-power");
        EXPECT_TRUE(describes(R"("power":16,"power-max":16,"power-min":11)")) << "defaults";
        world.point.config.set_mood(mood::helpful);
        EXPECT_TRUE(describes(R"("power":20,"power-max":23,"power-min":8)")) << "the store's";

        world.point.network.set_mood(row.local_daemons);
        world.send_and_settle(message::move_radio(1, 44, 80, "ul", 14));
        world.point.network.set_mood(mood::helpful);
    }

    EXPECT_TRUE(contains(world.agent->log(), "Error: no response (update_skylark)"));
    EXPECT_TRUE(contains(world.agent->log(), "Error: ifname (wlan1) reason (not today)"));
}

TEST_F(RrmFaults, BrokerDiesAndComesBack) {
    world.subscribe();
    world.broker.process().signal(SIGKILL);
    world.broker.process().wait();
    EXPECT_TRUE(contains(radio_in(mode(), 1), R"("power":16)")) << "defaults, at once";

    world.broker.restart();
    std::this_thread::sleep_for(200ms);  // until the local daemons have joined it again

    EXPECT_TRUE(wait_until([&] { return contains(radio_in(mode(), 1), R"("power":20)"); }));
    EXPECT_TRUE(is_connected_flag_set());
}

TEST_F(RrmFaults, LinkIsLostDuringAScanWhileHostapdRestarts) {
    world.subscribe();
    world.cloud.send(message::update(true));
    ASSERT_TRUE(world.agent->wait_log("Start active scanning for radio 'wlan2'"));

    world.cloud.go_down();
    world.point.stop_hostapd();
    world.point.start_hostapd();
    world.cloud.come_up();

    world.expect("subscribe-request");
    world.cloud.send(message::subscribed());
    EXPECT_TRUE(wait_until(is_connected_flag_set));
    world.cloud.send(message::update(true));
    EXPECT_TRUE(contains(world.expect("rrm-response", 30s), "02:00:00:00:05:15"));
}

// The tree is much larger than the text. A second later, the daemon has at most 4 MB more memory
// than before.
TEST(Memory, GoesBackAfterALargeMessage) {
    NOT_UNDER_A_SANITIZER;
    std::string objects = "{}";
    for (int i = 1; i < 140'000; ++i) objects += ",{}";
    const struct {
        const char* name;
        service_world::service service;
        std::string message;
    } rows[] = {
        {.name = "rrm",
         .service = service_world::service::rrm,
         .message = message::rrm("rrm-request-mode", "\"x\":[" + objects + "]")},
        {.name = "wids",
         .service = service_world::service::wids,
         .message = R"({"service":"wids-mac-service","Name":"another","x":[)" + objects + "]}"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        transcript story(nullptr);
        service_world world(story, row.service);
        if (row.service == service_world::service::rrm) {
            world.subscribe();
        } else {
            world.start_daemon();
            ASSERT_TRUE(world.cloud.wait_connections(1));
        }
        const pid_t pid = world.agent->process().pid();
        const long before = status_kilobytes(pid, "VmRSS");

        world.cloud.send(row.message);
        world.expect(row.service == service_world::service::rrm ? "rrm-mode-response"
                                                                : "mac-list-rejected");
        std::this_thread::sleep_for(1s);

        EXPECT_GT(status_kilobytes(pid, "VmHWM"), before + 50'000);
        EXPECT_LT(status_kilobytes(pid, "VmRSS"), before + 4'000);
        EXPECT_EQ(world.agent->stop().status, 0);
    }
}

}  // namespace
}  // namespace lab
