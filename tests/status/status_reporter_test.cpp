#include "status/status_reporter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <regex>
#include <thread>

#include "base/monotonic_clock.h"
#include "harness/child_process.h"
#include "harness/fakes/fake_clock.h"
#include "harness/fakes/queues.h"
#include "harness/notify_listener.h"

namespace rfcd {
namespace {

const std::string path = "/run/rfcd/rrm.status";

class told_status : public worker_status {
  public:
    void tell(const char* text) {
        text_ = text;
        note_change();
    }
    void append_to(status_lines& lines) const override { lines.add("worker", text_); }
    const char* summary() const override { return text_; }

  private:
    const char* text_ = "";
};

class StatusReporter : public testing::Test {
  protected:
    StatusReporter() {
        fake_clock::reset();
        std::filesystem::remove_all(status_folder);
        setenv("NOTIFY_SOCKET", lab::notify_listener::name, 1);
        setenv("WATCHDOG_USEC", "40000000", 1);
        manager = std::make_unique<service_manager>();
        reporter = std::make_unique<status_reporter>(service_index::rrm, "ws://h:1/p",
                                                     service_queues{to_send, received}, *manager);
    }
    void watch() { reporter->watch({link, worker, link_loop, service_loop}); }
    void set_state(link_state state) {
        link.state = state;
        link.since = monotonic_now().tv_sec;
        link.note_change();
    }
    void both_loops_pass() {
        link_loop.note_pass();
        service_loop.note_pass();
    }
    static ino_t file_number() {
        struct stat status {};
        stat(path.c_str(), &status);
        return status.st_ino;
    }

    lab::notify_listener listener;
    safe_queue to_send;
    safe_queue received;
    link_status link;
    told_status worker;
    loop_progress link_loop;
    loop_progress service_loop;
    std::unique_ptr<service_manager> manager;
    std::unique_ptr<status_reporter> reporter;
};

TEST_F(StatusReporter, FileHasEveryLine) {
    watch();
    both_loops_pass();
    fake_clock::advance(5);
    set_state(link_state::connected);
    link.attempts = 3;
    link.next_attempt = 1007;
    link.set_last_end({"words\nof the library", 1004});
    link.missed_pongs = 2;
    link.received_messages.add(1);
    link.received_bytes.add(10);
    link.sent_messages.add(2);
    link.sent_bytes.add(20);
    to_send.push(buffer_of("four"));
    received.note_dropped();
    worker.tell("fine");

    both_loops_pass();

    EXPECT_EQ(std::regex_replace(lab::read_file(path), std::regex("pid: [0-9]+"), "pid: P"),
              "version: 1.0.0\n"
              "service: rrm\n"
              "url: ws://h:1/p\n"
              "pid: P\n"
              "started: 1000\n"
              "written: 1005\n"
              "link: connected\n"
              "link-since: 1005\n"
              "attempts: 3\n"
              "next-attempt: 1007\n"
              "last-end: words?of the library\n"
              "last-end-at: 1004\n"
              "pings-unanswered: 2\n"
              "received-messages: 1\n"
              "received-bytes: 10\n"
              "sent-messages: 2\n"
              "sent-bytes: 20\n"
              "to-service-messages: 1\n"
              "to-service-bytes: 132\n"
              "to-service-dropped: 0\n"
              "from-service-messages: 0\n"
              "from-service-bytes: 0\n"
              "from-service-dropped: 1\n"
              "worker: fine\n"
              "link-loop: 1005\n"
              "service-loop: 1005\n");
    struct stat status {};
    stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0644U);
}

TEST_F(StatusReporter, WritesStatesAtOnceCountsOnceASecondAndElseNothing) {
    watch();
    both_loops_pass();
    fake_clock::advance(10);
    both_loops_pass();
    auto before = file_number();
    const auto written_anew = [&] {
        both_loops_pass();
        return std::exchange(before, file_number()) != before;
    };

    EXPECT_NE(lab::read_file(path).find("disconnected-since: 1000\n"), std::string::npos);
    fake_clock::now_ns += fake_clock::second_ns / 5;
    EXPECT_FALSE(written_anew()) << "nothing has changed";
    set_state(link_state::connecting);
    fake_clock::now_ns += fake_clock::second_ns / 5;
    EXPECT_TRUE(written_anew()) << "a state";
    link.sent_messages.add(1);
    fake_clock::now_ns += fake_clock::second_ns / 5;
    EXPECT_FALSE(written_anew()) << "a count, too soon";
    fake_clock::advance(1);
    EXPECT_TRUE(written_anew()) << "the count, a second later";
    for (int second = 0; second < 100; ++second) {
        fake_clock::advance(1);
        EXPECT_FALSE(written_anew()) << "at rest";
    }
}

TEST_F(StatusReporter, OneLoopTellsOfTheOther) {
    const auto text_after = [&](int seconds) {
        fake_clock::advance(seconds);
        service_loop.note_pass();
        return lab::read_file(path);
    };
    watch();
    both_loops_pass();
    EXPECT_EQ(text_after(2).find("busy"), std::string::npos);
    EXPECT_NE(text_after(1).find("link-loop-busy: unknown\n"), std::string::npos);

    std::thread link_thread([&] {
        link_loop.enter_loop();
        const long_wait lookup(wait_reason::name_lookup);
        EXPECT_EQ(text_after(2).find("busy"), std::string::npos);
        EXPECT_NE(text_after(1).find("link-loop-busy: name lookup\n"), std::string::npos);
    });
    link_thread.join();
    EXPECT_EQ(text_after(1).find("busy"), std::string::npos);
}

// Neither could tell of the other later.
TEST_F(StatusReporter, BothLoopsTellWhatTheyWaitForAsTheSecondOneBegins) {
    watch();
    both_loops_pass();

    std::string both;
    std::string after;
    std::thread link_thread([&] {
        link_loop.enter_loop();
        const long_wait lookup(wait_reason::name_lookup);
        std::thread service_thread([&] {
            service_loop.enter_loop();
            {
                const long_wait request(wait_reason::request);
                both = lab::read_file(path);
            }
            after = lab::read_file(path);
        });
        service_thread.join();
    });
    link_thread.join();

    EXPECT_NE(both.find("link-loop-busy: name lookup\n"), std::string::npos);
    EXPECT_NE(both.find("service-loop-busy: request to a local daemon\n"), std::string::npos);
    EXPECT_EQ(after.find("busy"), std::string::npos);
}

TEST_F(StatusReporter, FeedsTheWatchdogWhileBothLoopsMakeProgress) {
    const struct {
        const char* name;
        wait_reason reason;
        int seconds;
        bool fed;
    } rows[] = {
        {.name = "a pass may take a while",
         .reason = wait_reason::none,
         .seconds = 59,
         .fed = true},
        {.name = "a loop that hangs", .reason = wait_reason::none, .seconds = 62, .fed = false},
        {.name = "a slow request", .reason = wait_reason::request, .seconds = 89, .fed = true},
        {.name = "a command that hangs",
         .reason = wait_reason::command,
         .seconds = 22,
         .fed = false},
        {.name = "a name lookup", .reason = wait_reason::name_lookup, .seconds = 119, .fed = true},
        {.name = "a lookup without end",
         .reason = wait_reason::name_lookup,
         .seconds = 122,
         .fed = false},
    };
    watch();
    both_loops_pass();

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string told;
        std::thread service_thread([&] {
            service_loop.enter_loop();
            const long_wait wait(row.reason);
            fake_clock::advance(row.seconds);
            listener.take();
            link_loop.note_pass();
            told = listener.take();
        });
        service_thread.join();

        EXPECT_EQ(told.find("WATCHDOG=1") != std::string::npos, row.fed);
        fake_clock::advance(20);
        both_loops_pass();
        EXPECT_NE(listener.take().find("WATCHDOG=1"), std::string::npos) << "well again";
    }
}

TEST_F(StatusReporter, TellsTheServiceManagerInOneLine) {
    EXPECT_EQ(std::getenv("NOTIFY_SOCKET"), nullptr) << "not for the commands that it starts";
    watch();
    manager->ready();
    EXPECT_EQ(listener.take(), "STATUS=Not connected to ws://h:1/p; WATCHDOG=1; READY=1; ");

    link.attempts = 2;
    link.set_last_end({"connection refused", 1000});
    both_loops_pass();
    worker.tell(", fine");
    fake_clock::advance(1);
    set_state(link_state::connected);
    both_loops_pass();
    link.unlinked = true;
    link.note_change();
    fake_clock::advance(1);
    both_loops_pass();
    manager->stopping();

    EXPECT_EQ(listener.take(),
              "STATUS=Not connected to ws://h:1/p, 2 attempts, last: connection refused; "
              "STATUS=Connected to ws://h:1/p, fine; "
              "STATUS=Gave the service up for good; STOPPING=1; ");
}

TEST_F(StatusReporter, LeavesWorkersAloneThatAreDestroyed) {
    watch();
    both_loops_pass();
    const auto before = file_number();

    reporter->stop();
    set_state(link_state::connected);
    fake_clock::advance(10);
    both_loops_pass();

    EXPECT_EQ(file_number(), before);
}

TEST_F(StatusReporter, WorksWithoutItsFile) {
    lab::write_file(status_folder, "a file where the folder should be");
    watch();
    both_loops_pass();
    set_state(link_state::connected);
    both_loops_pass();
    EXPECT_NE(listener.take().find("STATUS=Not connected"), std::string::npos);

    std::filesystem::remove(status_folder);
    std::filesystem::create_directory(status_folder);
    lab::write_file("/tmp/victim", "untouched");
    std::filesystem::create_symlink("/tmp/victim", path + ".new");
    set_state(link_state::closing);
    fake_clock::advance(1);
    both_loops_pass();

    EXPECT_NE(lab::read_file(path).find("link: closing"), std::string::npos);
    EXPECT_EQ(lab::read_file("/tmp/victim"), "untouched") << "a link is not followed";
    reporter.reset();
    EXPECT_FALSE(std::filesystem::exists(path)) << "a daemon that ends leaves no status";
}

// The file of a state that is over would tell people what is not so.
TEST_F(StatusReporter, RemovesAFileThatItCannotReplaceAndTriesAgain) {
    watch();
    both_loops_pass();

    std::filesystem::create_directory(path + ".new");
    set_state(link_state::connected);
    fake_clock::now_ns += fake_clock::second_ns / 5;
    both_loops_pass();
    EXPECT_FALSE(std::filesystem::exists(path));

    std::filesystem::remove(path + ".new");
    fake_clock::now_ns += fake_clock::second_ns / 5;
    both_loops_pass();
    EXPECT_FALSE(std::filesystem::exists(path)) << "too soon";
    fake_clock::advance(1);
    both_loops_pass();
    EXPECT_NE(lab::read_file(path).find("link: connected"), std::string::npos);
}

}  // namespace
}  // namespace rfcd
