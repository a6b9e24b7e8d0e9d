// The daemon from its command line to its exit status.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "lab/roaming_world.h"

namespace lab {
namespace {

TEST(StartUp, ExitStatusWithoutAService) {
    write_file("/tmp/empty.conf", "# nothing\nlog_level=15\n");
    write_file("/tmp/incomplete.conf", "roam_service_url=ws://host:80\nlog_level=15\n");
    const std::tuple<std::vector<std::string>, int, const char*> rows[] = {
        {{}, 0, ""},
        {{"-f", "/no/such/file"}, 0, ""},
        {{"-f", "/tmp"}, 0, ""},
        {{"-f", "/tmp/empty.conf"}, 0, ""},
        {{"-f", "/tmp/incomplete.conf", "-d", "host", "-p", "/x", "-P", "80"}, 0, ""},
        {{"-x"}, 255, "invalid option -- 'x'"},
        {{"-f"}, 255, "option requires an argument -- 'f'"},
    };
    for (const auto& [options, status, output] : rows) {
        SCOPED_TRACE(options.empty() ? "no option" : options.front());
        std::vector<std::string> arguments{RFCD_BINARY};
        arguments.insert(arguments.end(), options.begin(), options.end());
        std::filesystem::remove("/tmp/start.out");
        child_process process(arguments, "/tmp/start.out");
        EXPECT_EQ(process.wait(), status);
        const std::string printed = read_file("/tmp/start.out");
        EXPECT_NE(printed.find(output), std::string::npos) << printed;
        EXPECT_EQ(printed.empty(), *output == '\0') << printed;
    }
}

class RunningDaemon : public testing::Test {
  protected:
    daemon start(const std::string& log_file) {
        return {story,
                {{"log_level", "0x0f"},
                 {"log_file", log_file},
                 {"skylark_service_url", "ws://127.0.0.1:2/not-chosen"},
                 {"roam_service_url", "ws://127.0.0.1:1/refused"},
                 {"initial_connection_delay", "1"},
                 {"max_connection_delay", "1"}}};
    }

    transcript story{nullptr};
};

TEST_F(RunningDaemon, ThreadsAreNamedAndBothSignalsStop) {
    for (const int signal : {SIGTERM, SIGINT}) {
        auto agent = start("");
        ASSERT_TRUE(agent.wait_log("Try to establish connect with server 127.0.0.1:1/refused"));
        const std::string tasks = "/proc/" + std::to_string(agent.process().pid()) + "/task";
        std::string names;
        for (const auto& task : std::filesystem::directory_iterator(tasks)) {
            const std::string name = read_file(task.path() / "comm");
            if (name != "rfcd:main\n") names += name;  // a sanitizer's own thread
        }
        EXPECT_EQ(names, "rfcd:websock-ro\nrfcd:ipc\n");
        agent.process().signal(signal);
        EXPECT_EQ(agent.process().wait(), 0);
    }
}

TEST_F(RunningDaemon, LogFileIsUsed) {
    auto agent = start("/tmp/rfcd.log");
    ASSERT_TRUE(wait_until([] { return !read_file("/tmp/rfcd.log").empty(); }));
    EXPECT_EQ(agent.stop().status, 0);
    const std::string log = read_file("/tmp/rfcd.log");
    EXPECT_NE(log.find(" debug rfcd["), std::string::npos);
    EXPECT_EQ(agent.log(), "") << "nothing on standard error";
}

TEST_F(RunningDaemon, UnusableLogFileStopsNothing) {
    for (const char* place : {"/no/such/folder/x.log", "/dev/full"}) {
        auto agent = start(place);
        EXPECT_TRUE(agent.wait_log("Try to establish connect")) << "standard error takes over";
        EXPECT_EQ(agent.stop().status, 0);
    }
}

}  // namespace
}  // namespace lab
