#include "workers/safe_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "harness/fakes/fake_log.h"
#include "harness/fakes/queues.h"

namespace rfcd {
namespace {

using namespace std::chrono_literals;

TEST(SafeQueue, HandsOverOneMessageAtATimeAndNoMoreThanItsBound) {
    safe_queue queue(2);
    int pushes = 0;
    queue.set_on_push([&] { ++pushes; });

    EXPECT_TRUE(queue.empty());
    EXPECT_TRUE(queue.push(buffer_of("a")));
    EXPECT_TRUE(queue.push(buffer_of("b")));
    EXPECT_FALSE(queue.push(buffer_of("c")));
    EXPECT_EQ(pushes, 2);

    std::string got;
    EXPECT_TRUE(queue.try_pop([&](const buffer_ptr& b) { got += b->data; }));
    EXPECT_EQ(got, "a");

    queue.reset_on_push();
    EXPECT_TRUE(queue.push(buffer_of("d")));
    EXPECT_EQ(pushes, 2);
    EXPECT_EQ(drain(queue), (texts{"b", "d"}));
    EXPECT_FALSE(queue.try_pop([](const buffer_ptr&) { FAIL(); }));
}

TEST(SafeQueue, HandlersAndCallbacksMayUseTheQueue) {
    safe_queue queue;
    queue.set_on_push([&] { queue.reset_on_push(); });
    queue.push(buffer_of("a"));
    queue.try_pop([&](const buffer_ptr& b) { queue.push(b); });
    EXPECT_EQ(drain(queue), texts{"a"});

    queue.push(buffer_of("b"));
    EXPECT_THROW(queue.try_pop(nullptr), std::bad_function_call);
    EXPECT_TRUE(queue.empty()) << "a message whose handler throws is gone";
}

TEST(SafeQueue, BlockingTakeIsWokenByAPush) {
    safe_queue queue;
    EXPECT_FALSE(queue.pop_for([](const buffer_ptr&) { FAIL(); }, 1ms));
    std::thread producer([&] {
        std::this_thread::sleep_for(50ms);  // until the other thread waits
        queue.push(buffer_of("late"));
    });
    const auto start = std::chrono::steady_clock::now();
    std::string got;

    EXPECT_TRUE(queue.pop_for([&](const buffer_ptr& b) { got = b->data; }, 10s));

    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    producer.join();
    EXPECT_EQ(got, "late");
}

TEST(SafeQueue, WeightIsThatOfThePush) {
    safe_queue queue;
    const auto message = buffer_of("four");
    queue.push(message);
    queue.push(nullptr);
    EXPECT_EQ(queue.weight(), 2 * message_bytes::overhead + 4);

    message->data = "changed behind the queue's back";
    queue.try_pop([](const buffer_ptr&) {});
    queue.try_pop([](const buffer_ptr& b) { EXPECT_EQ(b, nullptr); });

    EXPECT_EQ(queue.weight(), 0U);
}

TEST(SafeQueue, StatesThatNobodyTakesDoNotPileUp) {
    const auto up = buffer_of("up");
    const auto down = buffer_of("down");
    const struct {
        const char* name;
        const char* pushed;  // u, d: states; s: a message with the text of a state; m: a message
        texts left;
    } rows[] = {
        {.name = "an equal one", .pushed = "dd", .left = {"down"}},
        {.name = "a change", .pushed = "du", .left = {"down", "up"}},
        {.name = "there and back", .pushed = "dud", .left = {"down"}},
        {.name = "for weeks", .pushed = "dudduduududdud", .left = {"down"}},
        {.name = "messages keep their place",
         .pushed = "dumdud",
         .left = {"down", "up", "m", "down"}},
        {.name = "only its own are told by identity",
         .pushed = "dsd",
         .left = {"down", "up", "down"}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        safe_queue queue;

        for (const char* at = row.pushed; *at != '\0'; ++at) {
            switch (*at) {
                case 'u': queue.push_state(up, down); break;
                case 'd': queue.push_state(down, up); break;
                case 's': queue.push(buffer_of("up")); break;
                default: queue.push(buffer_of("m")); break;
            }
        }

        EXPECT_EQ(drain(queue), row.left);
        EXPECT_EQ(queue.weight(), 0U);
    }
}

// For ThreadSanitizer: pushes, takes and changes the callback at the same time.
TEST(SafeQueue, ProducerConsumerAndCallbackDoNotRace) {
    constexpr int count = 20000;
    safe_queue queue;
    std::atomic<int> called = 0;
    std::thread producer([&] {
        for (int i = 0; i < count; ++i) queue.push(buffer_of(std::to_string(i)));
    });

    int next = 0;
    while (next < count) {
        queue.set_on_push([&called, copy = std::string(64, 'x')] { called += copy[0] == 'x'; });
        queue.try_pop([&](const buffer_ptr& b) { EXPECT_EQ(b->data, std::to_string(next++)); });
        queue.reset_on_push();
    }
    producer.join();
    EXPECT_LE(called, count);
}

TEST(BufferInfo, AppendsWhatIsThere) {
    const auto buffer = buffer_of("a");

    EXPECT_STREQ(buffer->append("bc", 2), "abc");
    EXPECT_STREQ(buffer->append(nullptr, 5), "abc");
    EXPECT_STREQ(buffer->append("x", 0), "abc");
}

TEST(BufferInfo, DumpShowsJsonReadablyAndTheRestAsItIs) {
    fake_log::reset();
    dump_buffer(*buffer_of(R"({"a":{"b":"c/d"}})"));
    EXPECT_EQ(fake_log::take(), "debug Buffer info dump:\n{\n  \"a\":{\n    \"b\":\"c/d\"\n  }\n}");

    dump_buffer(*buffer_of("{broken"));
    EXPECT_EQ(fake_log::take(), "debug Buffer info dump: {broken\n");

    fake_log::reset(7);
    dump_buffer(*buffer_of("{}"));
    EXPECT_EQ(fake_log::take(), "");
}

}  // namespace
}  // namespace rfcd
