// The whole daemon against services other than the lab's.
#include <gtest/gtest.h>

#include "lab/raw_service.h"
#include "lab/roaming_world.h"

namespace lab {
namespace {

bool is_notice(const std::string& text) { return text.find("internal-ipc") != std::string::npos; }

// A bus with peer 3, and a daemon that connects to a raw service.
class Link : public testing::Test {
  protected:
    void start(const std::string& url = loopback_url(raw_service::port, roaming_path)) {
        agent = std::make_unique<daemon>(story, daemon::settings{{"log_level", "15"},
                                                                 {"roam_service_url", url},
                                                                 {"initial_connection_delay", "1"},
                                                                 {"max_connection_delay", "1"}});
    }
    void TearDown() override {
        if (!agent || !agent->process().running()) return;
        EXPECT_EQ(agent->stop().status, 0);
    }
    // What peer 3 receives up to `last`, without the notices of the link.
    std::vector<std::string> bus_until(const std::string& last) {
        std::vector<std::string> got;
        while (got.empty() || got.back() != last) {
            auto arrived = peer.received().take();
            if (!arrived) break;
            if (!is_notice(arrived->text)) got.push_back(arrived->text);
        }
        return got;
    }
    bool hears(const std::string& command) {
        return peer.received()
            .take_matching([&](const auto& m) { return m.text == link_notice(command); })
            .has_value();
    }
    unsigned attempts() const { return agent->count_log("Try to establish connect"); }

    // Attempts that failed and connections that ended.
    unsigned ends() const {
        return agent->count_log("process_client_connection_error:90") +
               agent->count_log("process_closed:122");
    }

    transcript story{nullptr};
    bus_broker broker{story};
    bus_peer peer{story, "peer 3", roaming_module};
    std::unique_ptr<daemon> agent;
};

TEST_F(Link, MessagesAreWholeHoweverTheyAreCut) {
    const std::string message = R"({"text":"0123456789"})";
    const struct {
        const char* behaviour;
        std::size_t copies;
        std::vector<std::string> others;
    } rows[] = {
        {.behaviour = "every-split",
         .copies = 2 * message.size() + 2,
         .others = {std::string("\x01\xff\x00\xfe", 4)}},
        {.behaviour = "one-byte-at-a-time", .copies = 1, .others = {}},
        {.behaviour = "with-the-handshake", .copies = 20, .others = {}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.behaviour);
        const raw_service service(row.behaviour);
        std::vector<std::string> expected(row.copies, message);
        expected.insert(expected.end(), row.others.begin(), row.others.end());
        expected.emplace_back("end");

        start();

        EXPECT_EQ(bus_until("end"), expected);
        agent.reset();
        peer.received().clear();
    }
}

// The text that the service sends; it is different at every place.
std::string numbered(std::size_t size) {
    std::string text;
    for (int number = 0; text.size() < size; ++number) text += std::to_string(number) + ' ';
    text.resize(size);
    return text;
}

TEST_F(Link, FramesAreWholeAtEveryEdgeOfTheReceiveBuffer) {
    std::vector<std::size_t> sizes{5000};
    for (const std::size_t size : {4095, 4096, 4097, 65535, 65536, 65537, 131071, 131072, 131073}) {
        sizes.insert(sizes.end(), 15, size);
    }
    const raw_service service("around-the-buffer");

    start();

    for (const std::size_t size : sizes) {
        const auto arrived =
            peer.received().take_matching([](const auto& m) { return !is_notice(m.text); });
        ASSERT_TRUE(arrived) << size;
        ASSERT_EQ(arrived->text.size(), size);
        ASSERT_TRUE(arrived->text == numbered(size)) << size;
    }
}

TEST_F(Link, ConnectionsThatBreakAreMadeAnewAndLeaveNothing) {
    for (const char* behaviour : {"half-then-reset", "garbage-frames", "huge-announcement",
                                  "endless-message", "half-close", "close-frame"}) {
        SCOPED_TRACE(behaviour);
        const raw_service service(behaviour);

        start();

        EXPECT_TRUE(hears("connected"));
        EXPECT_TRUE(hears("disconnected"));
        EXPECT_TRUE(service.wait_connections(2));
        EXPECT_LT(status_kilobytes(agent->process().pid(), "VmHWM"), 300'000 * MEMORY_SCALE);
        EXPECT_EQ(agent->stop().status, 0);
        while (auto m = peer.received().take(0ms)) EXPECT_TRUE(is_notice(m->text)) << m->text;
    }
}

TEST_F(Link, FailedAttemptsEndOnceAndAreRepeated) {
    for (const char* behaviour : {"http-200", "http-401", "http-404", "not-http", "wrong-accept",
                                  "end-before-answer", "reset-before-answer"}) {
        SCOPED_TRACE(behaviour);
        const raw_service service(behaviour);
        start();
        EXPECT_TRUE(service.wait_connections(2));

        EXPECT_EQ(agent->stop().status, 0);

        EXPECT_GE(ends() + 1, attempts()) << "the stop may have cut the last attempt short";
        EXPECT_LE(ends(), attempts());
        EXPECT_EQ(agent->count_log("websock-roaming->Stopping"), attempts());
        while (auto m = peer.received().take(0ms)) EXPECT_EQ(m->text, link_notice("disconnected"));
    }
}

TEST_F(Link, PingIsAnsweredAtOnce) {
    const raw_service service("ask-for-pongs");
    start();

    ASSERT_TRUE(
        wait_until([&] { return service.output().find("slowest pong") != std::string::npos; }));

    const std::string slowest = service.output().substr(service.output().find("pong") + 5);
    EXPECT_LT(std::stoi(slowest), 30 * TIME_SCALE) << "milliseconds";
}

TEST_F(Link, RedirectIsFollowedAFewTimesAndEndsTheAttempt) {
    const raw_service service("redirect");
    start();

    ASSERT_TRUE(wait_until([&] { return attempts() >= 2; }));

    EXPECT_GE(ends(), 1U);
    EXPECT_LE(service.connections(), 10U) << "of two attempts at most";
}

TEST_F(Link, AddressesThatLeadNowhere) {
    for (const char* url : {"ws://127.0.0.1:1/refused", "ws://no-such-host.invalid:80/x",
                            "ws://:80/no-host", "ws://127.0.0.1:0/x"}) {
        SCOPED_TRACE(url);
        start(url);
        EXPECT_TRUE(wait_until([&] { return attempts() >= 2; }));
        EXPECT_EQ(agent->stop().status, 0);
    }
}

TEST_F(Link, IndependentServiceEchoes) {
    std::vector<std::string> sent{"{}", "\xc3\xa9\xe2\x82\xac"};
    for (const std::size_t size : {125, 126, 65535, 65536, 1'000'000}) sent.emplace_back(size, 'x');
    sent.emplace_back("end");
    const raw_service service("echo");
    start();
    ASSERT_TRUE(hears("connected"));

    for (const auto& text : sent) peer.send_quietly(bridge_module, text);

    EXPECT_EQ(bus_until("end"), sent);
}

}  // namespace
}  // namespace lab
