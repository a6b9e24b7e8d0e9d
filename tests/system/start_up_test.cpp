// The daemon from its command line to its exit status.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <set>

#include "harness/notify_listener.h"
#include "lab/roaming_world.h"

namespace lab {
namespace {

TEST(StartUp, ExitStatusWithoutAService) {
    write_file("/tmp/empty.conf", "# nothing\nlog_level=15\n");
    write_file("/tmp/incomplete.conf", "roam_service_url=ws://host:80\nlog_level=15\n");
    const struct {
        const char* name;
        std::vector<std::string> options = {};
        int status = 0;
        const char* output = "";
    } rows[] = {
        {.name = "no option"},
        {.name = "no such file", .options = {"-f", "/no/such/file"}},
        {.name = "a folder", .options = {"-f", "/tmp"}},
        {.name = "no service", .options = {"-f", "/tmp/empty.conf"}},
        {.name = "no path in the file, and options of old",
         .options = {"-f", "/tmp/incomplete.conf", "-d", "host", "-p", "/x", "-P", "80"}},
        {.name = "unknown option",
         .options = {"-x"},
         .status = 255,
         .output = "invalid option -- 'x'"},
        {.name = "no argument",
         .options = {"-f"},
         .status = 255,
         .output = "option requires an argument -- 'f'"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<std::string> arguments{RFCD_BINARY};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());

        child_process process(arguments, "/tmp/start.out");

        EXPECT_EQ(process.wait(), row.status);
        const std::string printed = read_file("/tmp/start.out");
        EXPECT_NE(printed.find(row.output), std::string::npos) << printed;
        EXPECT_EQ(printed.empty(), row.status == 0) << printed;
    }
}

const char* const leftovers[] = {"/tmp/.skylark_notify", "/tmp/.skylark_notify_hostapd_started",
                                 "/tmp/.skylark_notify_config_updated",
                                 "/tmp/.skylark_notify_timezone_changed",
                                 "/tmp/.skylark-connected"};

class RunningDaemon : public testing::Test {
  protected:
    void TearDown() override {
        std::filesystem::remove("/tmp/factory");
        for (const char* path : leftovers) std::filesystem::remove(path);
    }
    daemon start(const std::string& log_file) {
        return {story,
                {{"log_level", "0x0f"},
                 {"log_file", log_file},
                 {"roam_service_url", "ws://127.0.0.1:1/refused"},
                 {"initial_connection_delay", "1"},
                 {"max_connection_delay", "1"}}};
    }
    // The names of the process's threads, except those of a sanitizer.
    static std::string threads_of(pid_t pid) {
        std::string names;
        for (const auto& task :
             std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
            const std::string name = read_file(task.path() / "comm");
            if (name != "rfcd:main\n" && name != "rfcd\n") names += name;
        }
        std::replace(names.begin(), names.end(), '\n', ' ');
        return names;
    }
    // A hexadecimal number from /proc/PID/status.
    static unsigned long signals_of(pid_t pid, const std::string& field) {
        const std::string status = read_file("/proc/" + std::to_string(pid) + "/status");
        return std::stoul(status.substr(status.find(field + ":") + field.size() + 1), nullptr, 16);
    }

    transcript story{nullptr};
};

// Which service of the file the daemon chooses, which files of an earlier run it removes, and
// whether it logs anything.
TEST_F(RunningDaemon, ModesFilesAndSignals) {
    const struct {
        const char* name;
        daemon::settings lines;
        const char* service;
        const char* threads;
        std::size_t files_left;
        bool logs;
    } rows[] = {
        {.name = "roaming before the others",
         .lines = {{"log_level", "9"},
                   {"mac-list-service-url", "ws://127.0.0.1:1/x"},
                   {"skylark_service_url", "ws://127.0.0.1:1/x"},
                   {"roam_service_url", "ws://127.0.0.1:1/x"}},
         .service = "roaming",
         .threads = "rfcd:websock-ro rfcd:ipc ",
         .files_left = 5,
         .logs = true},
        {.name = "RRM before WIDS",
         .lines = {{"mac-list-service-url", "ws://127.0.0.1:1/x"},
                   {"log_level", "1"},
                   {"skylark_service_url", "ws://127.0.0.1:1/x"}},
         .service = "rrm",
         .threads = "rfcd:rrm rfcd:websock-rr ",
         .files_left = 2,
         .logs = false},
        {.name = "WIDS",
         .lines = {{"mac-list-service-url", "ws://127.0.0.1:1/x?key=secret"}},
         .service = "wids",
         .threads = "rfcd:wids rfcd:websock-wi ",
         .files_left = 5,
         .logs = false},
    };
    const bus_broker broker(story);
    const notify_listener manager;
    write_file("/tmp/factory", "");

    for (const auto& row : rows) {
        for (const int signal : {SIGTERM, SIGINT}) {
            SCOPED_TRACE(row.name);
            for (const char* path : leftovers) write_file(path, "");

            daemon agent(story, row.lines,
                         {"/usr/bin/env", std::string("NOTIFY_SOCKET=") + notify_listener::name});
            const pid_t pid = agent.process().pid();
            EXPECT_TRUE(wait_until([&] { return threads_of(pid) == row.threads; }))
                << threads_of(pid);

            const auto most = row.logs ? patience : milliseconds(100);
            EXPECT_EQ(wait_until([&] { return !agent.log().empty(); }, most), row.logs)
                << agent.log();
            EXPECT_EQ(std::count_if(std::begin(leftovers), std::end(leftovers),
                                    [](const char* path) { return std::filesystem::exists(path); }),
                      row.files_left);
            EXPECT_NE(signals_of(pid, "SigIgn") & (1UL << (SIGPIPE - 1)), 0U);
            const std::string status = std::string("/run/rfcd/") + row.service + ".status";
            EXPECT_TRUE(wait_until([&] {
                return read_file(status).find("link: waiting\n") != std::string::npos;
            })) << read_file(status);
            EXPECT_EQ(read_file(status).find("secret"), std::string::npos);

            agent.process().signal(signal);
            EXPECT_EQ(agent.process().wait(), 0);
            EXPECT_FALSE(std::filesystem::exists(status));
            const std::string told = manager.take();
            EXPECT_NE(told.find("READY=1; "), std::string::npos) << told;
            EXPECT_TRUE(told.ends_with("STOPPING=1; ")) << told;
        }
    }
}

TEST_F(RunningDaemon, StandardDescriptorsThatCameClosedAreOpened) {
    daemon agent(story, {{"roam_service_url", "ws://127.0.0.1:1/x"}},
                 {"sh", "-c", "exec \"$@\" <&- >&- 2>&-", "sh"});
    const std::string fd = "/proc/" + std::to_string(agent.process().pid()) + "/fd/";

    EXPECT_TRUE(wait_until(
        [&] { return threads_of(agent.process().pid()) == "rfcd:websock-ro rfcd:ipc "; }));

    for (const char* number : {"0", "1", "2"}) {
        std::error_code none;
        EXPECT_EQ(std::filesystem::read_symlink(fd + number, none), "/dev/null") << number;
    }
}

// Daemons that start in the same second have different delays, although the seed of the generator
// is the time in seconds.
TEST_F(RunningDaemon, DelaysOfOneSecondDiffer) {
    if (TIME_SCALE != 1) GTEST_SKIP();
    std::set<int> drawn;
    for (int i = 0; i < 4; ++i) {
        daemon agent(story,
                     {{"log_level", "9"},
                      {"roam_service_url", "ws://127.0.0.1:1/x"},
                      {"initial_connection_delay", "1000000000"}},
                     {"faketime", "-f", "2026-01-01 00:00:00"});
        ASSERT_TRUE(agent.wait_log("Delay before connection: "));
        const std::string log = agent.log();
        drawn.insert(std::stoi(log.substr(log.find("connection: ") + 12)));
        agent.stop();
    }

    EXPECT_GT(drawn.size(), 1U);
}

TEST_F(RunningDaemon, LogFileIsUsed) {
    auto agent = start("/tmp/rfcd.log");

    EXPECT_TRUE(wait_until(
        [] { return read_file("/tmp/rfcd.log").find(" debug rfcd[") != std::string::npos; }));

    EXPECT_EQ(agent.stop().status, 0);
    EXPECT_EQ(agent.log(), "") << "nothing on standard error";
}

TEST_F(RunningDaemon, UnusableLogFileStopsNothing) {
    for (const char* place : {"/no/such/folder/x.log", "/dev/full", "/tmp"}) {
        auto agent = start(place);
        EXPECT_TRUE(agent.wait_log("Try to establish connect")) << "standard error takes over";
        EXPECT_EQ(agent.stop().status, 0);
    }
}

}  // namespace
}  // namespace lab
