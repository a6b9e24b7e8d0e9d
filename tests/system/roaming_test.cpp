// The whole daemon between the lab's service and the local bus.
#include <gtest/gtest.h>

#include <functional>

#include "lab/raw_service.h"
#include "lab/roaming_world.h"

namespace lab {
namespace {

class Roaming : public testing::Test {
  protected:
    void make(const roaming_world::options& options) {
        story = std::make_unique<transcript>(nullptr);
        world = std::make_unique<roaming_world>(*story, options);
        world->cloud.narrate(false);
        world->peer.narrate(false);
    }
    void TearDown() override {
        if (!world || !world->agent->process().running()) return;
        EXPECT_EQ(world->agent->stop().status, 0);
    }
    void link() {
        make({.log_level = "1"});
        ASSERT_TRUE(world->wait_linked());
    }
    pid_t pid() { return world->agent->process().pid(); }

    std::unique_ptr<transcript> story;
    std::unique_ptr<roaming_world> world;
};

TEST_F(Roaming, SlowReaderGetsEverythingInOrder) {
    constexpr int small = 200'000;
    constexpr int large = 20;
    const std::string filler(42, '.');
    const std::string megabyte(1'000'000, 'x');
    link();

    world->cloud.pause_reading();
    for (int i = 0; i < small; ++i) {
        char text[64];
        std::snprintf(text, sizeof text, "%08d %s", i, filler.c_str());
        ASSERT_TRUE(world->peer.send_quietly(bridge_module, text));
        if (i % 50'000 == 0) std::this_thread::sleep_for(50ms);  // otherwise the bus drops messages
    }
    for (int i = 0; i < large; ++i) {
        world->peer.send_quietly(bridge_module, std::to_string(i) + megabyte);
    }
    std::this_thread::sleep_for(500ms);
    world->cloud.resume_reading();

    for (int i = 0; i < small; ++i) {
        const auto text = world->cloud.received().take();
        ASSERT_TRUE(text) << "message " << i;
        ASSERT_EQ(std::stoi(*text), i);
    }
    for (int i = 0; i < large; ++i) EXPECT_EQ(world->cloud.expect(), std::to_string(i) + megabyte);
}

TEST_F(Roaming, EightMegabytesPassAtOnce) {
    const std::string text = R"({"blob":")" + std::string(8'000'000, 'x') + "\"}";
    link();
    const auto start = std::chrono::steady_clock::now();

    world->cloud.send(text);
    EXPECT_TRUE(world->next_on_bus() == text);
    world->peer.send_quietly(bridge_module, text);
    EXPECT_TRUE(world->cloud.expect() == text);

    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s * TIME_SCALE);
}

TEST_F(Roaming, ServiceIsHeldBackWhileTheBusIsDown) {
    link();
    world->broker.stop();

    std::string megabyte(1'000'000, 'm');
    for (int i = 0; i < 150; ++i) {
        megabyte.replace(0, 3, std::to_string(100 + i));
        world->cloud.send(megabyte);
    }
    std::this_thread::sleep_for(1500ms);

    EXPECT_LT(status_kilobytes(pid(), "VmRSS"), 100'000 * MEMORY_SCALE);

    world->broker.restart();

    // The bus drops messages that its peer cannot take, but keeps the order.
    int arrived = 0;
    int last = 0;
    while (const auto m = world->peer.received().take(3s)) {
        if (m->text.size() != megabyte.size()) continue;
        EXPECT_GT(std::stoi(m->text.substr(0, 3)), last);
        last = std::stoi(m->text.substr(0, 3));
        ++arrived;
    }
    EXPECT_GE(arrived, 60);
    world->peer.send_quietly(bridge_module, "and back");
    EXPECT_EQ(world->cloud.expect(), "and back");
    EXPECT_EQ(world->cloud.connections_so_far(), 1U) << "the link never noticed";
}

class RoamingStates : public Roaming {
  protected:
    void start_on(std::uint16_t port, const char* log_level) {
        make({.start_daemon = false});
        world->agent = std::make_unique<daemon>(
            *story, daemon::settings{{"log_level", log_level},
                                     {"roam_service_url", loopback_url(port, "/x")},
                                     {"initial_connection_delay", "1"}});
    }
    void start_with(const char* behaviour) {
        raw = std::make_unique<raw_service>(behaviour);
        start_on(raw_service::port, "0");
    }
    void unlink() {
        link();
        world->peer.send_quietly(bridge_module, R"({"service":"internal-ipc","cmd":"unlink"})");
        world->cloud.wait_disconnected();
    }
    void block_sending() {
        start_with("end-while-sending-is-blocked");
        ASSERT_TRUE(world->bus_hears(link_notice("connected")));
        const std::string megabyte(1'000'000, 'x');
        for (int i = 0; i < 20; ++i) world->peer.send_quietly(bridge_module, megabyte);
        std::this_thread::sleep_for(1s);
    }

    std::unique_ptr<raw_service> raw;
    const black_hole hole;
};

// In each state the daemon does not spin, and it stops within about a second.
TEST_F(RoamingStates, AreQuietAndEndAtAStop) {
    const struct {
        const char* name;
        std::function<void()> enter;
        long most_kb = 8'000;
    } rows[] = {
        {.name = "waiting for the first connection",
         .enter = [&] { make({.initial_delay = 1000, .max_delay = 1000}); }},
        {.name = "connected", .enter = [&] { link(); }},
        {.name = "unlinked", .enter = [&] { unlink(); }},
        {.name = "without a bus", .enter = [&] { link(), world->broker.stop(); }},
        {.name = "handshake not answered",
         .enter = [&] { start_with("silence"), raw->wait_connections(1); }},
        {.name = "ended by the service while sending is blocked",
         .enter = [&] { block_sending(); },
         .most_kb = 32'000},
        {.name = "connecting to a black hole",
         .enter = [&] { start_on(hole.port(), "8"), world->agent->wait_log("->Connected"); }},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        row.enter();
        const long switches = context_switches(pid());
        const double cpu = cpu_seconds(pid());
        std::this_thread::sleep_for(1500ms);

        EXPECT_LT(context_switches(pid()) - switches, 150) << "wake-ups in 1.5 s";
        EXPECT_LT(cpu_seconds(pid()) - cpu, 0.04 * TIME_SCALE);
        EXPECT_LT(status_kilobytes(pid(), "VmRSS"), row.most_kb * MEMORY_SCALE);

        const auto ending = world->agent->stop();

        EXPECT_EQ(ending.status, 0);
        EXPECT_LT(ending.time, 1500ms * TIME_SCALE);
        world.reset();
        raw.reset();
    }
}

}  // namespace
}  // namespace lab
