#include "workers/abstract_worker.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/fake_clock.h"

namespace rfcd {
namespace {

// The flag has to be there before the worker that is made with it.
struct flag_owner {
    running_flag flag = true;
};

// Writes down what the loop does with it, and answers as a test tells it to.
class scripted_worker : public flag_owner, public abstract_worker {
  public:
    explicit scripted_worker(std::int32_t poll_timeout_us = 0)
        : abstract_worker(&flag, "scripted", poll_timeout_us, 300) {
        fake_clock::reset();
        fake_clock::on_pause = [this] {
            record += "pause ";
            if (++pauses == stop_after_pauses) flag = false;
        };
    }
    ~scripted_worker() override { join(); }

    bool start_check() override {
        record += "start ";
        return can_start;
    }
    bool process() override {
        record += "pass ";
        if (on_pass) on_pass();
        return true;
    }
    void on_stop() override { record += "stop "; }
    bool keep_running(const running_flag* running) override { return *running && passes-- > 0; }

    using abstract_worker::active_;
    using abstract_worker::wake;

    bool can_start = true;
    int passes = 2;
    int pauses = 0;
    int stop_after_pauses = 1;
    std::function<void()> on_pass;
    std::string record;
};

TEST(AbstractWorker, LoopOrder) {
    const std::tuple<const char*, std::function<void(scripted_worker&)>, const char*> rows[] = {
        {"stopped before the first activation", [](auto& w) { w.flag = false; }, ""},
        {"cannot start",
         [](auto& w) {
             w.can_start = false;
             w.stop_after_pauses = 3;
         },
         "start pause start pause start pause "},
        {"not kept running", [](auto& w) { w.passes = 0; }, "start stop pause "},
        {"two passes", [](auto&) {}, "start pass pass stop pause "},
        {"clears its activity in a pass", [](auto& w) { w.on_pass = [&w] { w.active_ = false; }; },
         "start pass stop pause "},
        {"told to stop in a pass", [](auto& w) { w.on_pass = [&w] { w.flag = false; }; }, "start pass stop "},
    };
    for (const auto& [name, prepare, record] : rows) {
        SCOPED_TRACE(name);
        scripted_worker worker;
        prepare(worker);
        worker.run();
        EXPECT_EQ(worker.record, record);
    }
}

TEST(AbstractWorker, WakingEndsOneWait) {
    // A wait that is not ended would take the hour of the poll time-out, and the test's deadline.
    scripted_worker worker(3'600'000'000 / 2);
    worker.passes = 3;
    worker.on_pass = [&worker] {
        worker.wake();
        worker.wake();
        if (worker.passes == 0) worker.active_ = false;
    };
    worker.run();
    EXPECT_EQ(worker.record, "start pass pass pass stop pause ");
}

TEST(AbstractWorker, HasOneThread) {
    scripted_worker worker;
    worker.start_thread();
    EXPECT_THROW(worker.start_thread(), std::logic_error);
    worker.join();
    worker.join();
    EXPECT_EQ(worker.record, "start pass pass stop pause ");
}

TEST(AbstractWorkerDeathTest, EscapedExceptionEndsTheProcess) {
    scripted_worker worker;
    worker.on_pass = [] { throw std::runtime_error("anything"); };
    const auto run = [&] {
        dup2(2, 1);  // the line goes to standard output; death tests read standard error
        worker.run();
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(255), "Unhandled exception at worker 'scripted'\n");
}

}  // namespace
}  // namespace rfcd
