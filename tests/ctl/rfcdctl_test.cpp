// The whole program, with status files written by hand and processes that pass for the daemon.
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <regex>

#include "harness/child_process.h"

namespace lab {
namespace {

const std::string folder = "/run/rfcd/";

struct result {
    int status;
    std::string output;
};

result rfcdctl(std::vector<std::string> words) {
    words.insert(words.begin(), RFCDCTL_BINARY);
    child_process program(words, "/tmp/rfcdctl.out");
    const int status = program.wait().value_or(-1);
    return {status, read_file("/tmp/rfcdctl.out")};
}

std::uint64_t monotonic_seconds() {
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec);
}

class Rfcdctl : public testing::Test {
  protected:
    Rfcdctl() { std::filesystem::create_directories(folder); }
    ~Rfcdctl() override { std::filesystem::remove_all(folder); }

    // Passes for a daemon: its name begins like the daemon's, and it wakes up ten times a second.
    static child_process start_daemon(const std::string& path = "/tmp/rfcd-fake") {
        write_file(path, "#!/bin/sh\nwhile :; do sleep 0.1; done\n");
        chmod(path.c_str(), 0755);
        return {{path}, "/tmp/fake.out"};
    }

    static void write_status(const std::string& service, const std::string& link, pid_t pid,
                             std::uint64_t started = monotonic_seconds()) {
        const std::string now = std::to_string(monotonic_seconds());
        const std::string text =
            "version: 1.0.0\nservice: " + service + "\npid: " + std::to_string(pid) +
            "\nstarted: " + std::to_string(started) + "\nwritten: " + now + "\nlink: " + link +
            "\nlink-since: " + now + "\nfrom-service-dropped: 0\nlink-loop: " + now +
            "\nservice-loop: " + now + "\n";
        write_file(folder + service + ".status.new", text);
        std::filesystem::rename(folder + service + ".status.new", folder + service + ".status");
    }
};

TEST_F(Rfcdctl, Words) {
    write_file("/tmp/fine.conf", "roam_service_url=ws://h:1/x\n");
    write_file("/tmp/empty.conf", "");
    write_file("/tmp/wrong.conf", "roam_service_url=ws://h:0/x\n");
    const struct {
        std::vector<std::string> words;
        int status;
        const char* output;
    } rows[] = {
        {.words = {}, .status = 2, .output = "usage: "},
        {.words = {"--help"}, .status = 0, .output = "usage: "},
        {.words = {"stop"}, .status = 2, .output = "usage: "},
        {.words = {"version"}, .status = 0, .output = "rfcdctl 1"},
        {.words = {"version", "x"}, .status = 2, .output = "usage: "},
        {.words = {"status", "portal"}, .status = 2, .output = "usage: "},
        {.words = {"status", "rrm", "wids"}, .status = 2, .output = "usage: "},
        {.words = {"watch", "--json"}, .status = 2, .output = "usage: "},
        {.words = {"watch"}, .status = 2, .output = "rfcdctl: watch needs a terminal\n"},
        {.words = {"check"}, .status = 2, .output = "usage: "},
        {.words = {"check", "/tmp/fine.conf"},
         .status = 0,
         .output = "/tmp/fine.conf: the service is roaming, ws://h:1/x\n"},
        {.words = {"check", "/tmp/wrong.conf"}, .status = 1, .output = "/tmp/wrong.conf:1: has a "},
        {.words = {"check", "/tmp/empty.conf"},
         .status = 1,
         .output = "/tmp/empty.conf: no service is chosen"},
        {.words = {"check", "/tmp"}, .status = 2, .output = "rfcdctl: /tmp is not a regular file"},
        {.words = {"check", "/no/file"},
         .status = 2,
         .output = "rfcdctl: /no/file cannot be read: No such file or directory\n"},
    };

    for (const auto& row : rows) {
        const auto [status, output] = rfcdctl(row.words);

        EXPECT_EQ(status, row.status) << output;
        EXPECT_TRUE(output.starts_with(row.output)) << output;
    }
}

TEST_F(Rfcdctl, FilesThatAreNotBelieved) {
    const struct {
        const char* name;
        void (*make)(const std::string& path);
        const char* output;
    } rows[] = {
        {.name = "none",
         .make = [](const std::string&) {},
         .output = "RRM: not running: /run/rfcd/rrm.status does not exist\n"},
        {.name = "link",
         .make =
             [](const std::string& path) {
                 write_status("wids", "connected", getpid());
                 std::filesystem::create_symlink(folder + "wids.status", path);
             },
         .output = "RRM: unreadable: /run/rfcd/rrm.status is a link\n"},
        {.name = "pipe",
         .make = [](const std::string& path) { mkfifo(path.c_str(), 0644); },
         .output = "RRM: unreadable: /run/rfcd/rrm.status is not a regular file\n"},
        {.name = "huge",
         .make = [](const std::string& path) { write_file(path, std::string(1 << 20, 'x')); },
         .output = "RRM: unreadable: /run/rfcd/rrm.status is too large\n"},
        {.name = "of another service",
         .make =
             [](const std::string& path) {
                 write_status("wids", "connected", getpid());
                 std::filesystem::rename(folder + "wids.status", path);
             },
         .output = "RRM: unreadable: /run/rfcd/rrm.status is of another service\n"},
    };

    for (const auto& row : rows) {
        std::filesystem::remove(folder + "rrm.status");
        row.make(folder + "rrm.status");

        const auto [status, output] = rfcdctl({"status", "rrm"});

        EXPECT_EQ(status, 2) << row.name;
        EXPECT_EQ(output, row.output) << row.name;
    }
}

TEST_F(Rfcdctl, StateOfTheProcess) {
    auto daemon = start_daemon();
    auto stranger = start_daemon("/tmp/other");
    std::filesystem::copy_file("/usr/bin/sleep", "/tmp/rfcd-frozen",
                               std::filesystem::copy_options::overwrite_existing);
    const child_process frozen({"/tmp/rfcd-frozen", "100"}, "/tmp/frozen.out");
    auto stopped = start_daemon("/tmp/rfcd-stopped");
    stopped.signal(SIGSTOP);
    const auto now = monotonic_seconds();
    const struct {
        const char* name;
        pid_t pid;
        std::uint64_t started;
        int status;
        const char* verdict;
        const char* reason = "";
    } rows[] = {
        {.name = "running",
         .pid = daemon.pid(),
         .started = now,
         .status = 0,
         .verdict = "WIDS: connected for "},
        {.name = "started at another time",
         .pid = daemon.pid(),
         .started = now - 100,
         .status = 2,
         .verdict = "WIDS: not running: ",
         .reason = " is another program\n"},
        {.name = "another program",
         .pid = stranger.pid(),
         .started = now,
         .status = 2,
         .verdict = "WIDS: not running: ",
         .reason = " is another program\n"},
        {.name = "no process",
         .pid = 2'000'000'000,
         .started = now,
         .status = 2,
         .verdict = "WIDS: not running: ",
         .reason = " has ended\n"},
        {.name = "no thread runs",
         .pid = frozen.pid(),
         .started = now,
         .status = 2,
         .verdict = "WIDS: stuck: ",
         .reason = " does not run\n"},
        {.name = "stopped",
         .pid = stopped.pid(),
         .started = now,
         .status = 2,
         .verdict = "WIDS: stuck: ",
         .reason = " is stopped\n"},
    };

    for (const auto& row : rows) {
        write_status("wids", "connected", row.pid, row.started);

        const auto [status, output] = rfcdctl({"status"});

        EXPECT_EQ(status, row.status) << row.name << ": " << output;
        EXPECT_TRUE(output.starts_with(row.verdict)) << row.name << ": " << output;
        EXPECT_NE(output.find(row.reason), std::string::npos) << row.name << ": " << output;
    }
}

// Ages grow by a second between one run of the program and the next.
std::string without_ages(const std::string& json) {
    static const std::regex age(R"(,"[a-z-]+-age":\d+)");
    return std::regex_replace(json, age, "");
}

TEST_F(Rfcdctl, SeveralServicesEndWithTheWorst) {
    auto daemon = start_daemon();
    write_status("wids", "connected", daemon.pid());
    write_status("roaming", "connecting", daemon.pid());

    const auto both = rfcdctl({"status", "--json"});
    const auto one = rfcdctl({"status", "--json", "wids"});

    EXPECT_EQ(both.status, 1);
    EXPECT_TRUE(both.output.starts_with(R"({"verdict":"not connected",)")) << both.output;
    EXPECT_TRUE(without_ages(both.output).ends_with(without_ages(one.output)))
        << both.output << one.output;
    EXPECT_EQ(one.status, 0);
    EXPECT_TRUE(one.output.starts_with(R"({"verdict":"connected",)")) << one.output;
}

// The program behind a terminal of its own.
class terminal {
  public:
    terminal() : child_(forkpty(&descriptor_, nullptr, nullptr, nullptr)) {
        if (child_ == 0) {
            execl(RFCDCTL_BINARY, RFCDCTL_BINARY, "watch", nullptr);
            _exit(127);
        }
    }
    terminal(const terminal&) = delete;
    terminal& operator=(const terminal&) = delete;
    ~terminal() {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        close(descriptor_);
    }

    bool shows(const std::string& text) {
        return wait_until([&] { return seen().find(text) != std::string::npos; });
    }
    // How many different ages behind the text it has drawn so far, of the first 60 seconds.
    int ages_behind(const std::string& text) {
        int ages = 0;
        for (int second = 0; second < 60; ++second) {
            const std::string drawn = text + std::to_string(second) + " s";
            if (seen().find(drawn) != std::string::npos) ++ages;
        }
        return ages;
    }
    void type(char key) const { EXPECT_EQ(write(descriptor_, &key, 1), 1); }
    std::optional<int> wait() {
        int status = -1;
        const bool ended = wait_until([&] {
            seen();
            return waitpid(child_, &status, WNOHANG) == child_;
        });
        return ended ? std::optional(status) : std::nullopt;
    }

  private:
    const std::string& seen() {
        pollfd source{.fd = descriptor_, .events = POLLIN, .revents = 0};
        char piece[4096];
        while (poll(&source, 1, 0) == 1) {
            const auto count = read(descriptor_, piece, sizeof piece);
            if (count <= 0) break;
            seen_.append(piece, static_cast<std::size_t>(count));
        }
        return seen_;
    }

    int descriptor_ = -1;
    const pid_t child_;
    std::string seen_;
};

TEST_F(Rfcdctl, WatchFollowsTheFileUntilAKeyEndsIt) {
    constexpr char ctrl_c = '\x03';
    for (const char end : {'q', ctrl_c}) {
        auto daemon = start_daemon();
        std::filesystem::remove_all(folder);
        terminal screen;
        EXPECT_TRUE(screen.shows("rfcd: not running: /run/rfcd/ has no status file"));

        std::filesystem::create_directories(folder);
        write_status("wids", "connecting", daemon.pid());
        EXPECT_TRUE(screen.shows("WIDS: not connected"));
        write_status("wids", "connected", daemon.pid());
        EXPECT_TRUE(wait_until([&] { return screen.ages_behind("WIDS: connected for ") >= 2; }))
            << "an age is drawn anew although the file stays";

        screen.type(end);
        EXPECT_EQ(screen.wait(), 0) << static_cast<int>(end);
    }
}

}  // namespace
}  // namespace lab
