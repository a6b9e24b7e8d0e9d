#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <regex>

#include "harness/child_process.h"
#include "log/log_line.h"
#include "log/rotating_file.h"
#include "platform/vnorda_log.h"

namespace standin {
namespace {

using namespace std::chrono_literals;

[[gnu::format(printf, 2, 3)]] std::string line(int code, const char* format, ...) {
    setenv("TZ", "UTC", 1);
    tzset();
    std::va_list args;
    va_start(args, format);
    const std::string text =
        format_log_line({"rfcd", 42, {1'000'000'000, 7'999'999}}, code, format, args);
    va_end(args);
    return text;
}

[[gnu::format(printf, 2, 3)]] void log(int code, const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    vnorda_log_msg_timed_new(code, format, args);
    va_end(args);
}

TEST(LogLine, StampAndText) {
    EXPECT_EQ(line(8, "%s-> %d\n", "a", 5), "2001-09-09 01:46:40.007 error rfcd[42]: a-> 5\n");
    const std::string head = "2001-09-09 01:46:40.007 info rfcd[42]: ";
    EXPECT_EQ(line(64, "no line end"), head + "no line end\n");
    EXPECT_EQ(line(64, "%s", ""), head + "\n");
    EXPECT_EQ(line(64, "%s\n\n", "two\nlines"), head + "two\n\tlines\n") << "no line can be forged";
    EXPECT_EQ(line(64, "%s", "\x1b[31m\r\t\xc3\xa9"), head + "\\x1b[31m\\x0d\t\xc3\xa9\n");
    EXPECT_EQ(line(64, "%s", std::string(100'000, 'x').c_str()).size(), head.size() + 100'001);
    EXPECT_NE(line(128, "x").find(" debug "), std::string::npos);
    EXPECT_NE(line(16, "x").find(" warning "), std::string::npos);
}

class RotatingFile : public testing::Test {
  protected:
    std::string kept() const {
        std::string all;
        for (const char* age : {"", ".1", ".2", ".3"}) all += lab::read_file(path + age) + "|";
        return all;
    }

    const std::string path = "/tmp/rotated.log";
};

TEST_F(RotatingFile, KeepsTheNewestFilesAndCutsALineLongerThanOne) {
    rotating_file file(path, 16, 2);

    for (const int size : {10, 10, 15, 16, 4}) {
        EXPECT_TRUE(file.write_line(std::string(static_cast<unsigned>(size), 'x') + "\n"));
    }

    EXPECT_EQ(kept(), "xxxx\n|xxxxxx... [cut]\n|xxxxxxxxxxxxxxx\n||");
}

TEST_F(RotatingFile, FileThatIsDeletedOrReplacedIsMadeAnew) {
    rotating_file file(path, 1 << 20, 1);
    for (const std::string replacement : {"", "theirs\n"}) {
        EXPECT_TRUE(file.write_line("before\n"));
        std::filesystem::remove(path);
        if (!replacement.empty()) lab::write_file(path, replacement);

        EXPECT_TRUE(lab::wait_until(
            [&] {
                return file.write_line("after\n") &&
                       lab::read_file(path) == replacement + "after\n";
            },
            3s));
    }
}

TEST_F(RotatingFile, FullDiskLosesLinesAndNoMore) {
    const std::string disk = "/tmp/small-disk/";
    rotating_file file(disk + "x.log", 1 << 20, 1);
    const std::string text = std::string(40'000, 'x') + "\n";

    unsigned written = 0;
    while (file.write_line(text)) ASSERT_LT(++written, 100U);

    EXPECT_FALSE(file.write_line(text));
    EXPECT_EQ(std::filesystem::file_size(disk + "x.log"), text.size() * written)
        << "no half line is left";
    std::filesystem::resize_file(disk + "x.log", 0);
    EXPECT_TRUE(file.write_line(text));
}

TEST(StandardError, LineThatAStalledReaderToreEndsBeforeTheNext) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    std::array<char, 8192> room{};
    ASSERT_EQ(fcntl(ends[1], F_SETPIPE_SZ, room.size()), static_cast<int>(room.size()));
    const int own = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);

    log(8, "%s", std::string(10'000, 'x').c_str());
    log(8, "lost");
    EXPECT_EQ(read(ends[0], room.data(), room.size()), static_cast<ssize_t>(room.size()));
    log(8, "heard");
    log(8, "heard too");

    const auto size = static_cast<std::size_t>(read(ends[0], room.data(), room.size()));
    dup2(own, STDERR_FILENO);

    EXPECT_EQ(std::regex_replace(std::string(room.data(), size), std::regex("20.*: "), "STAMP "),
              "\n2 lines lost before this one\nSTAMP heard\nSTAMP heard too\n");
    for (const int descriptor : {ends[0], ends[1], own}) close(descriptor);
}

// What a process logs whose standard error is a pipe and whose environment has `stream`, in which
// HERE stands for that pipe; without the stamps.
std::string logged_with(std::string stream, const char* file) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    struct stat pipe {};
    fstat(ends[1], &pipe);
    stream = std::regex_replace(stream, std::regex("HERE"),
                                std::to_string(pipe.st_dev) + ":" + std::to_string(pipe.st_ino));

    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        setenv("JOURNAL_STREAM", stream.c_str(), 1);
        if (*file != '\0') logcycle_set_file(file);
        for (const int code : {8, 16, 64, 128, 1}) log(code, "%s\n", "text");
        log(8, "two\n<0>lines");
        _exit(0);
    }
    close(ends[1]);
    std::array<char, 4096> room{};
    std::string text;
    for (ssize_t size = 0; (size = read(ends[0], room.data(), room.size())) > 0;) {
        text.append(room.data(), static_cast<std::size_t>(size));
    }
    waitpid(child, nullptr, 0);
    close(ends[0]);
    return std::regex_replace(text, std::regex("20\\S+ \\S+ (\\w+) .*: "), "STAMP $1 ");
}

TEST(Journal, LinesHaveAPriorityAndNoStampWhereTheJournalReads) {
    const std::string plain =
        "STAMP error text\nSTAMP warning text\nSTAMP info text\nSTAMP debug text\n"
        "STAMP unknown text\nSTAMP error two\n\t<0>lines\n";
    const struct {
        const char* name;
        const char* stream;
        const char* file;
        std::string expected;
    } rows[] = {
        {.name = "the journal",
         .stream = "HERE",
         .file = "",
         .expected = "<3>text\n<4>text\n<6>text\n<7>text\n<6>text\n<3>two\n<3>\t<0>lines\n"},
        {.name = "a file that cannot be written",
         .stream = "HERE",
         .file = "/no/such/folder/x",
         .expected = plain},
        {.name = "another inode", .stream = "HERE0", .file = "", .expected = plain},
        {.name = "another device", .stream = "9HERE", .file = "", .expected = plain},
        {.name = "more behind it", .stream = "HERE:1", .file = "", .expected = plain},
        {.name = "no inode", .stream = "5", .file = "", .expected = plain},
        {.name = "nothing", .stream = "", .file = "", .expected = plain},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(logged_with(row.stream, row.file), row.expected) << row.name;
    }
}

[[gnu::format(printf, 1, 2)]] std::string error_lines(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string text = format_journal_lines(8, format, args);
    va_end(args);
    return text;
}

TEST(Journal, LongLineIsCutAndEachPieceHasThePriority) {
    const std::string text = error_lines("%s", std::string(79'990, 'x').c_str());

    EXPECT_EQ(text.substr(40'000, 6), "\n<3>\tx");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

}  // namespace
}  // namespace standin
