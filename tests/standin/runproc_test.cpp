#include "platform/runproc.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "harness/child_process.h"

namespace {

std::string last_line;

TEST(Runproc, ResultsAndWhatIsLogged) {
    runproc_set_log([](const char* line) { last_line = line; });
    const struct {
        const char* command;
        bool good;
        const char* log;  // the rest of the line after the command
    } rows[] = {
        {.command = "echo  a   $HOME  `x`;true", .good = true, .log = "a $HOME `x`;true"},
        {.command = "printf one\\ntwo\\n", .good = true, .log = "one two"},
        {.command = "ls /no/such/file",
         .good = false,
         .log = "failed: ls: cannot access '/no/such/file': No such file or directory"},
        {.command = "/no/such/program", .good = false, .log = "cannot be started"},
        {.command = "", .good = false, .log = "cannot be started"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(runproc_exec("%s", row.command) == 0, row.good) << row.command;
        EXPECT_EQ(last_line, row.command + std::string(" -> ") + row.log);
    }
    EXPECT_NE(runproc_exec("touch %s/x %d", "/no/such", 5), 0);
    EXPECT_TRUE(std::filesystem::remove("5")) << "words, not a shell";
}

// What the log says about a command, and for how many whole seconds the call waited.
struct run {
    std::string log;
    long seconds;
    bool good;
};

run time_of(const char* command) {
    const auto start = std::chrono::steady_clock::now();
    const bool good = runproc_exec("%s", command) == 0;
    const auto time = std::chrono::steady_clock::now() - start;
    return {last_line,
            static_cast<long>(std::chrono::duration_cast<std::chrono::seconds>(time).count()),
            good};
}

TEST(Runproc, WaitsForTheCommandItselfForFiveSeconds) {
    runproc_set_log([](const char* line) { last_line = line; });
    lab::write_file("/tmp/leaves-a-child", "#!/bin/sh\nsleep 30 &\necho done\nexit $1\n");
    lab::write_file("/tmp/closes-its-output", "#!/bin/sh\nexec >&- 2>&-\nsleep 30\n");

    const auto hung = time_of("sleep 30");
    EXPECT_FALSE(hung.good);
    EXPECT_EQ(hung.seconds, 5);
    EXPECT_EQ(hung.log, "sleep 30 -> took too long: ");

    const auto silent = time_of("sh /tmp/closes-its-output");
    EXPECT_FALSE(silent.good);
    EXPECT_EQ(silent.seconds, 5);

    const auto left_good = time_of("sh /tmp/leaves-a-child 0");
    EXPECT_TRUE(left_good.good);
    EXPECT_EQ(left_good.seconds, 0) << "its child still holds the output";
    EXPECT_EQ(left_good.log, "sh /tmp/leaves-a-child 0 -> done");

    const auto left_bad = time_of("sh /tmp/leaves-a-child 3");
    EXPECT_FALSE(left_bad.good);
    EXPECT_EQ(left_bad.seconds, 0);
}

TEST(Runproc, EndThatNobodyCanLearnIsNoSuccess) {
    std::signal(SIGCHLD, SIG_IGN);
    EXPECT_NE(runproc_exec("false"), 0);
    std::signal(SIGCHLD, SIG_DFL);
}

}  // namespace
