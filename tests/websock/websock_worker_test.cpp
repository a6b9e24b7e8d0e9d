#include "websock/websock_worker.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "harness/fakes/fake_clock.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_lws.h"
#include "harness/fakes/queues.h"

namespace rfcd {
namespace {

using fake_lws::library;
using fake_lws::take_record;

const std::string connected = R"({"version":"2.4","service":"internal-ipc","cmd":"connected"})";
const std::string disconnected =
    R"({"version":"2.4","service":"internal-ipc","cmd":"disconnected"})";

struct open_worker : websock_worker {
    using websock_worker::active_;
    using websock_worker::wait_for_wake;
    using websock_worker::websock_worker;
};

class WebsockWorker : public testing::Test {
  protected:
    WebsockWorker() {
        fake_clock::reset();
        fake_lws::reset();
        fake_log::reset(1);
        std::srand(0);
    }

    void event(int reason, std::string data = {}) {
        worker.worker_lws_callback(fake_lws::connection(), reason, nullptr, data.data(),
                                   data.size());
    }
    void receive(const std::string& piece, std::size_t remaining, bool final_fragment) {
        library.remaining = remaining;
        library.final_fragment = final_fragment;
        event(LWS_CALLBACK_CLIENT_RECEIVE, piece);
    }
    // What the worker does when it may write.
    std::string written() {
        take_record();
        event(LWS_CALLBACK_CLIENT_WRITEABLE);
        return take_record();
    }
    // Up to the completed handshake, with both queues and the record empty.
    void establish() {
        ASSERT_TRUE(worker.start_check());
        event(LWS_CALLBACK_CLIENT_ESTABLISHED);
        drain(received);
        take_record();
        fake_log::take();
    }
    bool wanted() { return worker.keep_running(&running); }

    running_flag running = true;
    safe_queue to_send;
    safe_queue received;
    open_worker worker{{to_send, received},
                       {.service = service_index::rrm,
                        .host = "host",
                        .path = "/path",
                        .port = 80,
                        .initial_delay = 10,
                        .max_delay = 300,
                        .running = &running}};
};

TEST_F(WebsockWorker, AttemptFollowsTheDelay) {
    fake_log::reset();
    EXPECT_TRUE(worker.start_check());
    EXPECT_EQ(library.log_level, 1023);
    EXPECT_EQ(take_record(), "create, websock-rrm connect host:80/path, ");
    EXPECT_EQ(drain(received), texts{disconnected});
    const auto log = fake_log::take();
    const auto seconds = fake_clock::pauses.size() / 10;  // pauses of 100 ms
    EXPECT_TRUE(seconds >= 5 && seconds < 15) << seconds;
    EXPECT_EQ(log, "debug Generate delay into [5;15) range\ndebug Delay before connection: " +
                       std::to_string(seconds) +
                       " sec\ndebug websock-rrm-> _connect: Try to establish connect with server "
                       "host:80/path\ndebug websock-rrm->Connected\n");
    EXPECT_EQ(library.handshake_seconds, 20U);
    EXPECT_GT(library.connect_seconds, library.handshake_seconds);
    EXPECT_EQ(library.service_buffer, 65536U);
    EXPECT_TRUE(wanted());
    running = false;
    EXPECT_FALSE(wanted());
}

TEST_F(WebsockWorker, FailedAttemptsLeaveNothingBehind) {
    library.context_fails = true;
    EXPECT_FALSE(worker.start_check());
    EXPECT_EQ(fake_log::take(), "error websock-rrm->Creating libwebsocket context failed\n");
    EXPECT_EQ(library.log_level, 0) << "no library lines without the debug level";
    library.context_fails = false;
    library.connect_fails = true;
    take_record();
    EXPECT_FALSE(worker.start_check());
    EXPECT_EQ(take_record(), "create, websock-rrm connect host:80/path, destroy, ");
    fake_log::reset();
    EXPECT_FALSE(worker.start_check());
    EXPECT_NE(fake_log::take().find("[20;60)"), std::string::npos)
        << "only a handshake resets the delay";
    running = false;
    take_record();
    EXPECT_FALSE(worker.start_check());
    EXPECT_EQ(take_record(), "") << "a daemon that stops does not connect any more";
}

TEST_F(WebsockWorker, WaitingTakesLinkCommandsAndDropsTheRest) {
    to_send.push(buffer_of("not for anybody"));
    to_send.push(buffer_of(R"({"service":"INTERNAL-IPC","cmd":"Status"})"));
    EXPECT_TRUE(worker.start_check());
    EXPECT_EQ(drain(received), (texts{disconnected, disconnected}));
    EXPECT_TRUE(to_send.empty());
    EXPECT_EQ(take_record(), "create, websock-rrm connect host:80/path, ");
}

TEST_F(WebsockWorker, EstablishedConnectionStartsOver) {
    establish();

    event(LWS_CALLBACK_CLIENT_CLOSED);
    EXPECT_FALSE(wanted());
    worker.on_stop();
    EXPECT_EQ(drain(received), texts{disconnected});
    to_send.push(buffer_of("nobody to wake"));
    EXPECT_EQ(take_record(), "destroy, ");

    fake_log::reset();
    worker.start_check();
    EXPECT_NE(fake_log::take().find("[5;15)"), std::string::npos) << "the delay is reset";
}

TEST_F(WebsockWorker, PushWakesTheWaitOnce) {
    library.wait_ms = 60'000;
    worker.active_ = true;
    establish();

    to_send.push(buffer_of("woken"));
    to_send.push(buffer_of("awake already"));
    EXPECT_EQ(take_record(), "cancel, ");
    worker.wait_for_wake();
    to_send.push(buffer_of("woken again"));
    EXPECT_EQ(take_record(), "cancel, ") << "after the wait";
    worker.wait_for_wake();
}

TEST_F(WebsockWorker, ReasonsThatEndTheConnection) {
    for (const int reason :
         {LWS_CALLBACK_CLIENT_CONNECTION_ERROR, LWS_CALLBACK_CLOSED, LWS_CALLBACK_CLOSED_HTTP,
          LWS_CALLBACK_CLOSED_CLIENT_HTTP, LWS_CALLBACK_CLIENT_CLOSED}) {
        SCOPED_TRACE(reason);
        worker.start_check();
        fake_log::reset();
        event(reason);
        EXPECT_EQ(fake_log::take(), reason == LWS_CALLBACK_CLIENT_CONNECTION_ERROR
                                        ? "debug websock-rrm->process_client_connection_error:90\n"
                                        : "debug websock-rrm->process_closed:122\n");
        EXPECT_FALSE(wanted());
        worker.on_stop();
    }
}

TEST_F(WebsockWorker, MessagesAreJoinedAndHandedOverWhole) {
    establish();
    receive("one ", 8, true);
    receive("mess", 4, false);
    receive("", 0, false);
    EXPECT_TRUE(received.empty());
    receive("age!", 0, true);
    receive("second", 0, true);
    receive("", 0, true);
    EXPECT_EQ(drain(received), (texts{"one message!", "second", ""}));
    fake_log::reset();
    worker.worker_lws_callback(fake_lws::connection(), LWS_CALLBACK_CLIENT_RECEIVE, nullptr,
                               nullptr, 0);
    EXPECT_EQ(fake_log::take(),
              "debug websock-rrm->process_client_receive:129\n"
              "debug process_client_receive: Bad Input data\n");
    EXPECT_TRUE(received.empty());
}

TEST_F(WebsockWorker, PartOfAMessageDoesNotReachTheNextConnection) {
    establish();
    receive("half of", 100, true);
    event(LWS_CALLBACK_CLIENT_CLOSED);
    worker.on_stop();
    establish();
    receive("whole", 0, true);
    EXPECT_EQ(drain(received), texts{"whole"});
}

TEST_F(WebsockWorker, EndlessMessageIsDroppedWithItsConnection) {
    establish();
    receive("x", websock_worker::max_message_size - 1, true);
    EXPECT_TRUE(wanted());
    receive("x", websock_worker::max_message_size, true);
    EXPECT_FALSE(wanted());
    EXPECT_EQ(fake_log::take(),
              "error websock-rrm->process_client_receive: Message too long, drop the connection\n");
    EXPECT_TRUE(received.empty());
}

TEST_F(WebsockWorker, WriteableSendsEverythingInOrder) {
    establish();
    for (const char* text : {"a", "", R"({"service":"rrm"})", "c"}) to_send.push(buffer_of(text));
    take_record();
    fake_log::reset(7);
    EXPECT_EQ(written(), R"(write 0 a, write 0 , write 0 {"service":"rrm"}, write 0 c, ask, )");
    const auto log = fake_log::take();
    EXPECT_EQ(log.substr(0, log.find('\n')),
              "info websock-rrm->lws_send:Send msg type [0] len [1/1]  to websocket");
    EXPECT_EQ(written(), "ask, ");
}

TEST_F(WebsockWorker, ChokedPipeKeepsTheRestForTheNextEvent) {
    establish();
    library.room = 2;
    for (const char* text : {"a", "b", "c"}) to_send.push(buffer_of(text));
    EXPECT_EQ(written(), "write 0 a, write 0 b, ask, ");
    fake_clock::advance(31);
    EXPECT_EQ(written(), "ask, ") << "no ping on top of a buffered message either";
    library.room = 5;
    EXPECT_EQ(written(), "write 5 , ask, write 0 c, ask, ");
}

TEST_F(WebsockWorker, FailedSendIsLoggedAndLost) {
    establish();
    library.write_result = -1;
    to_send.push(buffer_of("a"));
    event(LWS_CALLBACK_CLIENT_WRITEABLE);
    EXPECT_EQ(fake_log::take(),
              "error websock-rrm->lws_send:Can't send msg type [0] to websocket\n");
    EXPECT_TRUE(to_send.empty());
    EXPECT_TRUE(wanted());
}

// Seconds go by with a writeable event each; what is written is counted.
TEST_F(WebsockWorker, ThreeUnansweredPingsEndTheConnection) {
    establish();
    int second = 0;
    std::string pings;
    const auto pass_until = [&](int end) {
        while (second < end) {
            fake_clock::advance(1);
            ++second;
            if (written().find("write 5") != std::string::npos)
                pings += std::to_string(second) + " ";
        }
    };
    pass_until(61);
    EXPECT_EQ(pings, "30 60 ");
    event(LWS_CALLBACK_CLIENT_RECEIVE_PONG, "any payload");
    pass_until(150);
    EXPECT_EQ(pings, "30 60 90 120 150 ");
    EXPECT_TRUE(wanted());
    fake_log::reset();
    event(LWS_CALLBACK_CLIENT_RECEIVE_PONG);
    EXPECT_EQ(fake_log::take(),
              "debug websock-rrm->There are no 3 pong answer in a row from server\n")
        << "a pong after the third ping is too late";
    EXPECT_FALSE(wanted());
}

// While reading is held back, pongs lie unread.
TEST_F(WebsockWorker, PingsOfAHeldLinkAreNotCounted) {
    establish();
    received.push(buffer_of(std::string(heavy_queue, 'x')));
    worker.process();
    EXPECT_EQ(take_record(), "hold back, serve, ");

    std::string pings;
    for (int ping = 0; ping < 6; ++ping) {
        fake_clock::advance(30);
        pings += written();
    }

    EXPECT_EQ(pings,
              "write 5 , ask, ask, write 5 , ask, ask, write 5 , ask, ask, "
              "write 5 , ask, ask, write 5 , ask, ask, write 5 , ask, ask, ");
    EXPECT_TRUE(wanted());
    drain(received);
    worker.process();
    EXPECT_EQ(take_record(), "read on, serve, ");
}

TEST_F(WebsockWorker, WatchdogEndsAConnectionWithoutWriteableEvents) {
    worker.active_ = true;
    establish();
    fake_log::reset();

    fake_clock::advance(59);
    worker.process();
    EXPECT_TRUE(worker.active_);
    fake_clock::advance(1);
    worker.process();

    EXPECT_EQ(fake_log::take(), "debug websock-rrm->ping_timeout:281\n");
    EXPECT_FALSE(worker.active_);
}

TEST_F(WebsockWorker, ExceptionInAnEventLeavesTheNextPass) {
    establish();
    received.set_on_push([] { throw std::runtime_error("no memory"); });

    receive("text", 0, true);

    EXPECT_FALSE(wanted());
    EXPECT_THROW(worker.process(), std::runtime_error);
    worker.process();
}

TEST_F(WebsockWorker, SendsNothingMoreAtTheStop) {
    establish();
    to_send.push(buffer_of("late"));
    running = false;

    EXPECT_EQ(written(), "ask, ");
}

// A socket that can always be written to: whoever asks for that does not wait.
TEST_F(WebsockWorker, WaitsForTheSocketToBeWritableOnlyWithSomethingToWrite) {
    const struct {
        const char* name;
        std::function<void()> prepare;
        bool waits;
    } rows[] = {
        {.name = "connecting", .prepare = [] {}, .waits = false},
        {.name = "handshake sent",
         .prepare = [this] { event(LWS_CALLBACK_CLIENT_APPEND_HANDSHAKE_HEADER); },
         .waits = true},
        {.name = "redirected to another address",
         .prepare =
             [this] {
                 event(LWS_CALLBACK_CLIENT_APPEND_HANDSHAKE_HEADER);
                 event(LWS_CALLBACK_CLIENT_HTTP_REDIRECT);
             },
         .waits = false},
        {.name = "connected",
         .prepare = [this] { event(LWS_CALLBACK_CLIENT_ESTABLISHED); },
         .waits = true},
        {.name = "connected, with a message",
         .prepare =
             [this] {
                 to_send.push(buffer_of("a"));
                 event(LWS_CALLBACK_CLIENT_ESTABLISHED);
             },
         .waits = false},
        {.name = "connected, part of a message unsent",
         .prepare =
             [this] {
                 event(LWS_CALLBACK_CLIENT_ESTABLISHED);
                 library.partial = true;
             },
         .waits = false},
    };
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);

    worker.active_ = true;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(worker.start_check());
        row.prepare();
        library.socket = sockets[0];
        library.wait_ms = 100;
        const auto start = std::chrono::steady_clock::now();

        worker.wait_for_wake();

        EXPECT_EQ(std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(100),
                  row.waits);
        drain(to_send);
        worker.on_stop();
        fake_lws::reset();
    }
    close(sockets[0]);
    close(sockets[1]);
}

TEST_F(WebsockWorker, LinkCommands) {
    const struct {
        const char* text;
        bool sent;
        const char* answer;
    } rows[] = {
        {R"({"service":"internal-ipc","cmd":"status"})", false, connected.c_str()},
        {R"({"service":"INTERNAL-ipc","cmd":"STATUS","more":1})", false, connected.c_str()},
        {R"({"service":"internal-ipc"})", false, nullptr},
        {R"({"service":"internal-ipc","cmd":"whatever"})", false, nullptr},
        {R"({"service":"internal-ipc","cmd":null})", false, nullptr},
        {R"({"s\u0065rvice":"int\u0045rnal-ipc","cmd":"stat\u0075s"})", false, connected.c_str()},
        {R"({"service":"internal-ipc-2","cmd":"status"})", true, nullptr},
        {R"({"cmd":"internal-ipc","service":"status"})", true, nullptr},
        {"internal-ip", true, nullptr},
        {"-ipc", true, nullptr},
        {R"({"service":"rrm","cmd":"status"})", true, nullptr},
        {R"({"cmd":"status"})", true, nullptr},
        {R"({"command":"update-timezone"})", true, nullptr},
        {"[1,2]", true, nullptr},
        {"5", true, nullptr},
        {"", true, nullptr},
        {"{broken", true, nullptr},
    };
    establish();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        to_send.push(buffer_of(row.text));
        take_record();
        event(LWS_CALLBACK_CLIENT_WRITEABLE);
        EXPECT_EQ(take_record(),
                  row.sent ? std::string("write 0 ") + row.text + ", ask, " : "ask, ");
        EXPECT_EQ(drain(received), row.answer != nullptr ? texts{row.answer} : texts{});
        EXPECT_TRUE(wanted());
    }
}

TEST_F(WebsockWorker, TimeZoneIsTakenUpOnItsExactCommand) {
    const char* before = tzname[0];
    const std::string utc = before == nullptr ? "" : before;
    establish();
    setenv("TZ", "XYZ-3", 1);
    to_send.push(buffer_of(R"({"command":"UPDATE-TIMEZONE"})"));
    event(LWS_CALLBACK_CLIENT_WRITEABLE);
    EXPECT_STRNE(tzname[0], "XYZ");
    to_send.push(buffer_of(R"({"command":"update-timezone"})"));
    event(LWS_CALLBACK_CLIENT_WRITEABLE);
    EXPECT_STREQ(tzname[0], "XYZ");
    setenv("TZ", "ABC-3", 1);
    to_send.push(buffer_of(R"({"command":"update\u002dtimezone"})"));
    event(LWS_CALLBACK_CLIENT_WRITEABLE);
    EXPECT_STREQ(tzname[0], "ABC");
    unsetenv("TZ");
    tzset();
}

TEST_F(WebsockWorker, UnlinkIsForGood) {
    establish();
    to_send.push(buffer_of(R"({"service":"internal-ipc","cmd":"unlink"})"));
    fake_log::reset();
    event(LWS_CALLBACK_CLIENT_WRITEABLE);
    EXPECT_NE(fake_log::take().find("debug websock-rrm->process_internal_unlink:69\n"),
              std::string::npos);
    EXPECT_FALSE(wanted());
    worker.on_stop();
    take_record();
    drain(received);
    to_send.push(buffer_of(R"({"service":"internal-ipc","cmd":"status"})"));
    EXPECT_FALSE(worker.start_check());
    EXPECT_EQ(take_record(), "");
    EXPECT_EQ(drain(received), (texts{disconnected, disconnected}));
}

}  // namespace
}  // namespace rfcd
