// What the link receives and sends, and which messages it obeys itself.
#include <ctime>

#include "support/websock_fixture.h"

namespace rfcd {
namespace {

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
    EXPECT_EQ(worker.status().received_messages.value(), 3U);
    EXPECT_EQ(worker.status().received_bytes.value(), 18U);

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
    fake_log::reset(7);

    EXPECT_EQ(written(), R"(write 0 a, write 0 , write 0 {"service":"rrm"}, write 0 c, ask, )");
    const auto log = fake_log::take();
    EXPECT_EQ(log.substr(0, log.find('\n')),
              "info websock-rrm->lws_send:Send msg type [0] len [1/1]  to websocket");
    EXPECT_EQ(written(), "ask, ");
    EXPECT_EQ(worker.status().sent_messages.value(), 4U);
    EXPECT_EQ(worker.status().sent_bytes.value(), 19U);
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

TEST_F(WebsockWorker, SendsNothingMoreAtTheStop) {
    establish();
    to_send.push(buffer_of("late"));
    running = false;

    EXPECT_EQ(written(), "ask, ");
}

TEST_F(WebsockWorker, LinkCommands) {
    const struct {
        const char* name;
        std::string text;
        bool sent = true;  // to the service
        texts answer = {};
    } rows[] = {
        {.name = "status",
         .text = R"({"service":"internal-ipc","cmd":"status"})",
         .sent = false,
         .answer = {connected}},
        {.name = "any case",
         .text = R"({"service":"INTERNAL-ipc","cmd":"STATUS","more":1})",
         .sent = false,
         .answer = {connected}},
        {.name = "escaped",
         .text = R"({"s\u0065rvice":"int\u0045rnal-ipc","cmd":"stat\u0075s"})",
         .sent = false,
         .answer = {connected}},
        {.name = "no command", .text = R"({"service":"internal-ipc"})", .sent = false},
        {.name = "unknown",
         .text = R"({"service":"internal-ipc","cmd":"whatever"})",
         .sent = false},
        {.name = "null", .text = R"({"service":"internal-ipc","cmd":null})", .sent = false},
        {.name = "a longer name", .text = R"({"service":"internal-ipc-2","cmd":"status"})"},
        {.name = "in the wrong place", .text = R"({"cmd":"internal-ipc","service":"status"})"},
        {.name = "the end of the name alone", .text = "-ipc"},
        {.name = "the name cut short", .text = "internal-ip"},
        {.name = "another service", .text = R"({"service":"rrm","cmd":"status"})"},
        {.name = "no service", .text = R"({"cmd":"status"})"},
        {.name = "acted on and sent", .text = R"({"command":"update-timezone"})"},
        {.name = "an array", .text = "[1,2]"},
        {.name = "empty", .text = ""},
        {.name = "not JSON", .text = "{broken"},
    };
    establish();

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        to_send.push(buffer_of(row.text));

        EXPECT_EQ(written(), row.sent ? "write 0 " + row.text + ", ask, " : "ask, ");

        EXPECT_EQ(drain(received), row.answer);
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
    const std::string status = R"({"service":"internal-ipc","cmd":"status"})";
    establish();
    to_send.push(buffer_of(R"({"service":"internal-ipc","cmd":"unlink"})"));
    to_send.push(buffer_of(status));
    fake_log::reset();

    event(LWS_CALLBACK_CLIENT_WRITEABLE);
    EXPECT_NE(fake_log::take().find("debug websock-rrm->process_internal_unlink:69\n"),
              std::string::npos);
    EXPECT_FALSE(wanted());
    EXPECT_EQ(drain(received), texts{connected}) << "until the loop has ended it";

    worker.on_stop();
    take_record();
    drain(received);
    to_send.push(buffer_of(status));
    EXPECT_FALSE(worker.start_check());
    EXPECT_EQ(take_record(), "");
    EXPECT_EQ(drain(received), (texts{disconnected, disconnected}));
}

}  // namespace
}  // namespace rfcd
