#include "workers/safe_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/fake_log.h"
#include "support/queues.h"

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

TEST(SafeQueue, BlockingTakeWaitsForAPush) {
    safe_queue queue;
    EXPECT_FALSE(queue.pop_for([](const buffer_ptr&) { FAIL(); }, 1ms));
    std::thread producer([&] { queue.push(buffer_of("late")); });
    std::string got;
    EXPECT_TRUE(queue.pop_for([&](const buffer_ptr& b) { got = b->data; }, 60s));
    producer.join();
    EXPECT_EQ(got, "late");
}

// Run under ThreadSanitizer: pushes, takes and changes of the callback at the same time.
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
