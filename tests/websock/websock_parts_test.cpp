// The pieces around the worker: delays, the callback slot, names of reasons.
#include <gtest/gtest.h>

#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_lws.h"
#include "websock/connection_delay.h"
#include "websock/lws_callback.h"
#include "websock/socket_watch.h"

namespace rfcd {
namespace {

TEST(ConnectionDelay, RangesGrowToTheMaximum) {
    const struct {
        const char* name;
        std::uint64_t initial;
        std::uint64_t maximum;
        int reset_after = -1;  // attempts
        const char* ranges;    // of seven attempts
    } rows[] = {
        {.name = "up to the maximum",
         .initial = 5,
         .maximum = 60,
         .ranges = "2-7 5-15 10-30 20-60 30-90 30-90 30-90 "},
        {.name = "not settled yet",
         .initial = 10,
         .maximum = 300,
         .ranges = "5-15 10-30 20-60 40-120 80-240 150-450 150-450 "},
        {.name = "both zero", .initial = 0, .maximum = 0, .ranges = "1-3 1-3 1-3 1-3 1-3 1-3 1-3 "},
        {.name = "initial zero",
         .initial = 0,
         .maximum = 10,
         .ranges = "1-3 1-3 2-6 4-12 5-15 5-15 5-15 "},
        {.name = "maximum zero",
         .initial = 1,
         .maximum = 0,
         .ranges = "0-1 1-3 1-3 1-3 1-3 1-3 1-3 "},
        {.name = "a handshake starts over",
         .initial = 5,
         .maximum = 60,
         .reset_after = 4,
         .ranges = "2-7 5-15 10-30 20-60 2-7 5-15 10-30 "},
    };

    for (const auto& row : rows) {
        connection_delay delay(row.initial, row.maximum);
        std::string ranges;
        for (int attempt = 0; attempt < 7; ++attempt) {
            if (attempt == row.reset_after) delay.reset();
            const auto range = delay.next_range();
            ranges += std::to_string(range.begin) + "-" + std::to_string(range.end) + " ";
        }

        EXPECT_EQ(ranges, row.ranges) << row.name;
    }
}

TEST(SocketWatch, LeavesOutASocketThatTheLibraryDoesNotDrain) {
    const struct {
        const char* name;
        bool progress;
        int unread;
        bool watched_next;
    } calls[] = {
        {.name = "first call without progress",
         .progress = false,
         .unread = 5,
         .watched_next = true},
        {.name = "something was read", .progress = false, .unread = 3, .watched_next = true},
        {.name = "nothing was read", .progress = false, .unread = 3, .watched_next = false},
        {.name = "again nothing", .progress = false, .unread = 3, .watched_next = false},
        {.name = "an event", .progress = true, .unread = 3, .watched_next = true},
        {.name = "nothing after the event", .progress = false, .unread = 3, .watched_next = true},
    };
    socket_watch watch;

    for (const auto& call : calls) {
        watch.serviced(call.progress, call.unread);

        EXPECT_EQ(watch.next_wait_watches(), call.watched_next) << call.name;
        EXPECT_TRUE(watch.next_wait_watches()) << call.name << ", one wait only";
    }
}

TEST(LwsCallback, SlotServesWhoeverIsInstalled) {
    fake_log::reset();
    const auto place = [](std::uintptr_t number) { return reinterpret_cast<void*>(number); };
    const auto call = [&] {
        return lws_static_callback(static_cast<lws*>(place(0x10)), LWS_CALLBACK_CLIENT_RECEIVE,
                                   place(0x20), place(0x30), 7);
    };
    set_lws_dispatcher([](lws*, int reason, void*, void*, std::size_t) { return reason; });
    EXPECT_EQ(call(), LWS_CALLBACK_CLIENT_RECEIVE);

    remove_lws_dispatcher();
    EXPECT_EQ(call(), 0);
    EXPECT_EQ(fake_log::take(),
              "debug No function to process lws callback(0x10, 8, 0x20, 0x30, 7)\n");
}

TEST(LwsCallback, ReasonNames) {
    EXPECT_STREQ(lws_reason_name(LWS_CALLBACK_PROTOCOL_INIT), "LWS_CALLBACK_PROTOCOL_INIT");
    EXPECT_STREQ(lws_reason_name(LWS_CALLBACK_CLIENT_HTTP_WRITEABLE),
                 "LWS_CALLBACK_CLIENT_HTTP_WRITEABLE");
    EXPECT_STREQ(lws_reason_name(LWS_CALLBACK_USER), "LWS_CALLBACK_USER");
    for (const int reason : {28, 58, 999, -1})
        EXPECT_STREQ(lws_reason_name(reason), "UNKNOWN_LWS_CALLBACK_REASON");
}

TEST(LwsCallback, EveryServiceHasItsPrefix) {
    fake_log::reset();
    for (const auto& service : service_table) log_emitter(service.index)(4, "line\n");
    EXPECT_EQ(fake_log::take(),
              "debug portal->libwebsocket-debug> 4: line\n"
              "debug rrm->libwebsocket-debug> 4: line\n"
              "debug wids->libwebsocket-debug> 4: line\n");
}

}  // namespace
}  // namespace rfcd
