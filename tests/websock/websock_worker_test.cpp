// The connection: attempts, states, pings, waiting.
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

#include "base/monotonic_clock.h"
#include "support/websock_fixture.h"

namespace rfcd {
namespace {

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
    EXPECT_EQ(to_send.dropped(), 1U);
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

TEST_F(WebsockWorker, NameLookupMayTakeLong) {
    auto reason = wait_reason::none;
    worker.progress().enter_loop();
    library.on_connect = [&] { reason = worker.progress().look().reason; };

    EXPECT_TRUE(worker.start_check());

    EXPECT_EQ(reason, wait_reason::name_lookup);
    EXPECT_EQ(worker.progress().look().reason, wait_reason::none);
    worker.progress().leave_loop();
}

// The status shows people why the connection ended.
TEST_F(WebsockWorker, StatusSaysWhyTheConnectionEnded) {
    const auto fail = [this](const char* words) {
        event(LWS_CALLBACK_CLIENT_CONNECTION_ERROR, words);
    };
    const struct {
        const char* name;
        int lookup_seconds = 0;
        std::function<void()> happen;
        const char* reason;
    } rows[] = {
        {.name = "known words",
         .happen = [&] { fail("Unable to connect"); },
         .reason = "connection refused, or the address cannot be reached"},
        {.name = "known words after the library's wait for an address",
         .happen =
             [&] {
                 fake_clock::advance(20);
                 fail("Unable to connect");
             },
         .reason = "the address of the service does not answer"},
        {.name = "known words after a long name lookup",
         .lookup_seconds = 30,
         .happen = [&] { fail("Unable to connect"); },
         .reason = "connection refused, or the address cannot be reached"},
        {.name = "other words", .happen = [&] { fail("HS: \x01 hash"); }, .reason = "HS: ? hash"},
        {.name = "closed with a code and a text",
         .happen =
             [&] {
                 event(LWS_CALLBACK_CLIENT_ESTABLISHED);
                 event(LWS_CALLBACK_WS_PEER_INITIATED_CLOSE,
                       "\x03\xe9"
                       "later");
                 event(LWS_CALLBACK_CLIENT_CLOSED);
             },
         .reason = "the service closed the connection with code 1001, later"},
        {.name = "closed without a word",
         .happen =
             [&] {
                 event(LWS_CALLBACK_CLIENT_ESTABLISHED);
                 event(LWS_CALLBACK_CLIENT_CLOSED);
             },
         .reason = "the service closed the connection"},
        {.name = "no name for it", .happen = [] {}, .reason = "the connection was lost"},
    };

    std::uint32_t attempts = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto version = worker.status().version.load();
        library.on_connect = [&] { fake_clock::advance(row.lookup_seconds); };
        ASSERT_TRUE(worker.start_check());
        EXPECT_EQ(worker.status().attempts, ++attempts);
        row.happen();
        if (worker.status().state == link_state::closing) attempts = 0;
        worker.on_stop();

        EXPECT_EQ(worker.status().lost == monotonic_now().tv_sec, attempts == 0);
        EXPECT_EQ(worker.status().last_end().reason, row.reason);
        EXPECT_EQ(worker.status().last_end().time, monotonic_now().tv_sec);
        EXPECT_EQ(worker.status().state, link_state::idle);
        EXPECT_NE(worker.status().version, version);
    }
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

// Each second brings a writeable event; the test notes when the link writes a ping.
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

// While reading is held back, pongs stay unread.
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

TEST_F(WebsockWorker, ReadsOnWithoutAWaitAfterAMessage) {
    worker.active_ = true;
    establish();
    library.wait_ms = 60'000;
    library.on_service = [this] { receive("message", 0, true); };

    worker.process();  // the service call takes as long as a whole pass may
    worker.wait_for_wake();

    EXPECT_EQ(drain(received), texts{"message"});
}

TEST_F(WebsockWorker, ServesOnceMoreAfterAReadableSocket) {
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    worker.active_ = true;
    establish();
    library.socket = sockets[0];
    library.wait_ms = 60'000;
    library.service_ms = 1;
    ASSERT_EQ(write(sockets[1], "x", 1), 1);

    worker.wait_for_wake();
    worker.process();

    EXPECT_EQ(take_record(), "serve, serve, ");
    close(sockets[0]);
    close(sockets[1]);
}

// The socket is always writable, so a wait that asks for that returns at once.
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

}  // namespace
}  // namespace rfcd
