#include "platform/replywait.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "lab/bus_peer.h"
#include "lab/daemon.h"

namespace lab {
namespace {

using context = std::unique_ptr<peermsg_ctx, decltype(&peermsg_release)>;
using answer_tree = std::unique_ptr<cfg_tree, decltype(&cfg_release)>;

class Replywait : public testing::Test {
  protected:
    Replywait() : ctx(peermsg_init(28, &settings, PEERMSG_MODE_PEER), &peermsg_release) {
        EXPECT_EQ(peermsg_peer_start(ctx.get()), 0);
    }

    void ask(std::string_view text = "ask") {
        EXPECT_EQ(peermsg_msg_send(ctx.get(), text.data(), 1, text.size()), 0);
    }

    // Waits for an answer that does not come; returns how long that took.
    milliseconds wait_in_vain(unsigned timeout_s = 20) {
        const auto start = std::chrono::steady_clock::now();

        EXPECT_EQ(replywait_wait_answer(ctx.get(), "a", "", timeout_s), nullptr);

        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
    }

    transcript story{nullptr};
    bus_broker broker{story};
    peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};
    context ctx;
};

// The peer first sends something else, has another peer answer in its place, and then answers.
TEST_F(Replywait, TakesTheAnswerOfThePeerThatWasAskedAndKeepsTheRest) {
    bus_peer other(story, "other", 6);
    const bus_peer asked(story, "asked", 1, [&](bus_peer& self, const bus_peer::message& request) {
        self.send(request.source, "{\"command\":\"news\"}");
        self.send(request.source, "not a tree");
        other.send(request.source, R"({"command":"a","from":"other"})");
        std::this_thread::sleep_for(50ms);
        self.send(request.source, R"({"command":"a","from":"asked"})");
    });
    ask();

    const answer_tree answer(replywait_wait_answer(ctx.get(), "a", "", 10), &cfg_release);

    EXPECT_STREQ(cfg_get_param(answer.get(), "from"), "asked");
    std::string aside;
    while (auto* block = static_cast<char*>(peermsg_get_msg_from_queue_no_wait(ctx.get()))) {
        aside += block + PEERMSG_TEXT_OFFSET;
        free(block);
    }
    EXPECT_EQ(aside, R"({"command":"news"}not a tree{"command":"a","from":"other"})");
}

TEST_F(Replywait, EndsAtTheTimeLimit) {
    const bus_peer silent(story, "silent", 1);
    ask();
    EXPECT_GE(wait_in_vain(1), 1s);
}

TEST_F(Replywait, EndsAtOnceWhenNobodyTookTheText) {
    ask();
    EXPECT_LT(wait_in_vain(), 1s) << "nobody was ever registered";

    std::make_unique<bus_peer>(story, "asked", 1).reset();
    ask();
    EXPECT_LT(wait_in_vain(), 1s) << "the one who was has gone";
}

}  // namespace
}  // namespace lab
