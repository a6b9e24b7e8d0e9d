#include "workers/abstract_worker.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <chrono>
#include <stdexcept>

#include "harness/fakes/fake_clock.h"

namespace rfcd {
namespace {

// A base class, so that the flag exists before the worker that uses it.
struct flag_owner {
    running_flag flag = true;
};

// Records what the loop does with it, and returns what a test sets.
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
    ~scripted_worker() override {
        join();
        fake_clock::on_pause = nullptr;
    }

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
    using abstract_worker::wake_fd;

    bool can_start = true;
    int passes = 2;
    int pauses = 0;
    int stop_after_pauses = 1;
    std::function<void()> on_pass;
    std::string record;
};

TEST(AbstractWorker, LoopOrder) {
    const struct {
        const char* name;
        std::function<void(scripted_worker&)> prepare;
        const char* record;
    } rows[] = {
        {.name = "stopped before the first activation",
         .prepare = [](auto& w) { w.flag = false; },
         .record = ""},
        {.name = "cannot start",
         .prepare =
             [](auto& w) {
                 w.can_start = false;
                 w.stop_after_pauses = 3;
             },
         .record = "start pause start pause start pause "},
        {.name = "not kept running",
         .prepare = [](auto& w) { w.passes = 0; },
         .record = "start stop pause "},
        {.name = "two passes", .prepare = [](auto&) {}, .record = "start pass pass stop pause "},
        {.name = "clears its activity in a pass",
         .prepare = [](auto& w) { w.on_pass = [&w] { w.active_ = false; }; },
         .record = "start pass stop pause "},
        {.name = "told to stop in a pass",
         .prepare = [](auto& w) { w.on_pass = [&w] { w.flag = false; }; },
         .record = "start pass stop "},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        scripted_worker worker;
        row.prepare(worker);

        worker.run();

        EXPECT_EQ(worker.record, row.record);
        EXPECT_EQ(fake_clock::pauses,
                  std::vector<std::uint32_t>(static_cast<std::size_t>(worker.pauses), 300));
    }
}

// The observer sees a burst of passes once, and the end of an activity before the pause.
TEST(AbstractWorker, ProgressIsObservedSeldomButBeforeAPause) {
    scripted_worker worker;
    worker.passes = 3;
    worker.progress().set_observer([&] { worker.record += "seen "; });

    worker.run();

    EXPECT_EQ(worker.record, "seen start pass pass pass stop seen pause ");
    EXPECT_EQ(worker.progress().look().last_ms, 1'000'000);
}

// Runs the worker's loop and returns how long that took.
std::chrono::milliseconds time_of(scripted_worker& worker) {
    const auto start = std::chrono::steady_clock::now();
    worker.run();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start);
}

TEST(AbstractWorker, WritesBeforeAWaitEndThatWaitAlone) {
    scripted_worker worker(200'000);
    worker.passes = 2;
    worker.on_pass = [&worker] {
        if (worker.passes == 1) {
            worker.wake();
            worker.wake();
        }
    };

    const auto time = time_of(worker);

    EXPECT_EQ(worker.record, "start pass pass stop pause ");
    EXPECT_GE(time.count(), 200) << "the second wait is a whole one";
    EXPECT_LT(time.count(), 400) << "the first one is none";
}

TEST(AbstractWorker, DoesNotWaitWithoutADescriptorOrATimeout) {
    scripted_worker without_timeout(999);
    EXPECT_LT(time_of(without_timeout).count(), 100);

    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    scripted_worker without_descriptor(5'000'000);
    setrlimit(RLIMIT_NOFILE, &before);
    ASSERT_EQ(without_descriptor.wake_fd(), -1);

    EXPECT_LT(time_of(without_descriptor).count(), 100);
    EXPECT_EQ(without_descriptor.record, "start pass pass stop pause ");
}

TEST(AbstractWorker, HasOneThread) {
    scripted_worker worker;

    worker.start_thread();

    EXPECT_THROW(worker.start_thread(), std::logic_error);
    worker.join();
    worker.join();
    EXPECT_EQ(worker.record, "start pass pass stop pause ");
}

// Sends what the end of a worker prints to standard error, because death tests read that.
void end_on_standard_error(scripted_worker& worker, void (*go)(scripted_worker&)) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);  // text that is not flushed is lost
    go(worker);
}

TEST(AbstractWorkerDeathTest, EscapedExceptionEndsTheProcessFromEitherThread) {
    const struct {
        const char* name;
        void (*go)(scripted_worker&);
    } rows[] = {
        {.name = "on the calling thread", .go = [](scripted_worker& w) { w.run(); }},
        {.name = "in the first pass of a thread of its own",
         .go =
             [](scripted_worker& w) {
                 w.start_thread();
                 w.join();
             }},
        {.name = "without room for a thread",
         .go =
             [](scripted_worker& w) {
                 pthread_attr_t no_such_stack;
                 pthread_attr_init(&no_such_stack);
                 pthread_attr_setstacksize(&no_such_stack, std::size_t{1} << 47);
                 pthread_setattr_default_np(&no_such_stack);
                 w.start_thread();
             }},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        scripted_worker worker;
        worker.on_pass = [] { throw std::runtime_error("anything"); };

        EXPECT_EXIT(end_on_standard_error(worker, row.go), testing::ExitedWithCode(255),
                    "Unhandled exception at worker 'scripted'\n");
    }
}

}  // namespace
}  // namespace rfcd
