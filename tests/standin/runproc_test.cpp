#include "platform/runproc.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "lab/wait.h"

namespace {

std::string last_line;

TEST(Runproc, ResultsAndWhatIsLogged) {
    runproc_set_log([](const char* line) { last_line = line; });
    const std::tuple<const char*, bool, const char*> rows[] = {
        {"echo  a   $HOME  `x`;true", true, "echo  a   $HOME  `x`;true -> a $HOME `x`;true"},
        {"printf one\\ntwo\\n", true, "printf one\\ntwo\\n -> one two"},
        {"ls /no/such/file", false,
         "ls /no/such/file -> failed: ls: cannot access '/no/such/file': No such file or "
         "directory"},
        {"/no/such/program", false, "/no/such/program -> cannot be started"},
        {"", false, " -> cannot be started"},
    };
    for (const auto& [command, good, log] : rows) {
        EXPECT_EQ(runproc_exec("%s", command) == 0, good) << command;
        EXPECT_EQ(last_line, log);
    }
    EXPECT_NE(runproc_exec("touch %s/x %d", "/no/such", 5), 0);
    EXPECT_TRUE(std::filesystem::remove("5")) << "words, not a shell";
}

TEST(Runproc, CommandsThatTakeTooLongAreEnded) {
    std::signal(SIGALRM, [](int) {});
    ualarm(200'000, 200'000);  // interrupts every wait
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(runproc_exec("sleep 100"), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(9));
    ualarm(0, 0);
}

TEST(Runproc, EndThatNobodyCanLearnIsNoSuccess) {
    std::signal(SIGCHLD, SIG_IGN);
    EXPECT_NE(runproc_exec("false"), 0);
    std::signal(SIGCHLD, SIG_DFL);
}

}  // namespace
