#include "platform/replywait.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "lab/bus_peer.h"
#include "lab/daemon.h"

namespace lab {
namespace {

// Module 28 asks peer 1, who says something of another kind first, has peer 6 answer in its place,
// and answers in the end.
TEST(Replywait, TakesTheAnswerOfThePeerThatWasAskedAndKeepsTheRest) {
    transcript story(nullptr);
    const bus_broker broker(story);
    bus_peer other(story, "other", 6);
    const bus_peer asked(story, "asked", 1, [&](bus_peer& self, const bus_peer::message& request) {
        self.send(request.source, "{\"command\":\"news\"}");
        self.send(request.source, "not a tree");
        other.send(request.source, R"({"command":"a","from":"other"})");
        std::this_thread::sleep_for(50ms);
        if (request.text == "ask") self.send(request.source, R"({"command":"a","from":"asked"})");
    });
    peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};
    peermsg_ctx* ctx = peermsg_init(28, &settings, PEERMSG_MODE_PEER);
    ASSERT_EQ(peermsg_peer_start(ctx), 0);
    ASSERT_EQ(peermsg_msg_send(ctx, "ask", 1, 3), 0);
    cfg_tree* answer = replywait_wait_answer(ctx, "a", "", 10);
    EXPECT_STREQ(cfg_get_param(answer, "from"), "asked");
    cfg_release(answer);
    std::string aside;
    while (auto* block = static_cast<char*>(peermsg_get_msg_from_queue_no_wait(ctx))) {
        aside += block + PEERMSG_TEXT_OFFSET;
        free(block);
    }
    EXPECT_EQ(aside, R"({"command":"news"}not a tree{"command":"a","from":"other"})");
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(peermsg_msg_send(ctx, "x", 1, 1), 0);
    EXPECT_EQ(replywait_wait_answer(ctx, "a", "", 1), nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 1s);
    peermsg_peer_stop(ctx);
    EXPECT_EQ(replywait_wait_answer(ctx, "a", "", 10), nullptr) << "at once, without an exchange";
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    peermsg_release(ctx);
}

class ReplywaitEnds : public testing::Test {
  protected:
    // Asks a module and waits for its answer for 20 s; returns how long that took. There is none.
    milliseconds wait_in_vain(std::uint8_t module) {
        peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};
        peermsg_ctx* ctx = peermsg_init(28, &settings, PEERMSG_MODE_PEER);
        EXPECT_EQ(peermsg_peer_start(ctx), 0);
        EXPECT_EQ(peermsg_msg_send(ctx, "x", module, 1), 0);
        const auto start = std::chrono::steady_clock::now();

        EXPECT_EQ(replywait_wait_answer(ctx, "a", "", 20), nullptr);

        const auto time = std::chrono::steady_clock::now() - start;
        peermsg_release(ctx);
        return std::chrono::duration_cast<milliseconds>(time);
    }

    transcript story{nullptr};
    bus_broker broker{story};
};

TEST_F(ReplywaitEnds, AtOnceWhenNobodyTookTheText) {
    EXPECT_LT(wait_in_vain(1), 1s) << "nobody was ever registered";

    auto asked = std::make_unique<bus_peer>(story, "asked", 1);
    asked.reset();
    EXPECT_LT(wait_in_vain(1), 1s) << "the one who was has gone";
}

TEST_F(ReplywaitEnds, WhenASignalHandlerRuns) {
    const bus_peer silent(story, "silent", 1);
    std::signal(SIGALRM, [](int) {});
    ualarm(300'000, 0);

    const auto time = wait_in_vain(1);

    EXPECT_GE(time, 200ms);
    EXPECT_LT(time, 5s);
}

}  // namespace
}  // namespace lab
