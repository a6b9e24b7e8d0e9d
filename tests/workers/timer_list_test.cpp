#include "workers/timer_list.h"

#include <gtest/gtest.h>

#include <string>

#include "harness/fakes/fake_clock.h"

namespace rfcd {
namespace {

class TimerList : public testing::Test {
  protected:
    TimerList() { fake_clock::reset(); }

    void add(const std::string& name, int identifier, int delay) {
        timers.add_timer([=, this] { ran += name; }, identifier, delay);
    }
    // What ran since the last call.
    std::string run_at(std::int64_t second, long nanoseconds = 0) {
        fake_clock::set(second, nanoseconds);
        ran.clear();
        timers.run_expired();
        return ran;
    }

    timer_list timers;
    std::string ran;
};

TEST_F(TimerList, DeadlinesAreWholeSeconds) {
    fake_clock::set(100, 900'000'000);
    add("two", 1, 2);
    add("now", 1, 0);

    EXPECT_EQ(run_at(100, 900'000'000), "now");
    EXPECT_EQ(run_at(101, 999'999'999), "");
    EXPECT_EQ(run_at(102), "two");
    EXPECT_EQ(run_at(200), "");
}

TEST_F(TimerList, EqualDeadlinesKeepTheirOrder) {
    add("a", 1, 5);
    add("b", 2, 5);
    add("c", 1, 5);
    add("d", 3, 4);
    add("e", 3, -7);

    EXPECT_EQ(run_at(1005), "edabc");
}

TEST_F(TimerList, CancelTakesEveryTimerOfTheIdentifier) {
    add("a", 7, 1);
    add("b", 8, 1);
    add("c", 7, 2);

    timers.cancel_timers(7);
    timers.cancel_timers(9);

    EXPECT_EQ(run_at(2000), "b");
}

TEST_F(TimerList, CallbacksMayAddAndCancel) {
    timers.add_timer(
        [this] {
            ran += "first";
            timers.cancel_timers(2);
            add("added", 3, 0);
        },
        1, 1);
    add("taken out with it", 2, 1);
    add("cancelled by it", 2, 9);

    EXPECT_EQ(run_at(1001), "firsttaken out with it");
    EXPECT_EQ(run_at(1001), "added");
    EXPECT_EQ(run_at(2000), "");
}

TEST_F(TimerList, EmptyCallbackThrowsAndIsGone) {
    timers.add_timer(nullptr, 1, 0);
    EXPECT_THROW(timers.run_expired(), std::bad_function_call);
    EXPECT_NO_THROW(timers.run_expired());
}

}  // namespace
}  // namespace rfcd
