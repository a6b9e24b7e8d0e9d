#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

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

[[gnu::format(printf, 1, 2)]] void log(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    vnorda_log_msg_timed_new(8, format, args);
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

    log("%s", std::string(10'000, 'x').c_str());
    log("lost");
    EXPECT_EQ(read(ends[0], room.data(), room.size()), static_cast<ssize_t>(room.size()));
    log("heard");
    log("heard too");

    const auto size = static_cast<std::size_t>(read(ends[0], room.data(), room.size()));
    dup2(own, STDERR_FILENO);

    EXPECT_EQ(std::regex_replace(std::string(room.data(), size), std::regex("20.*: "), "STAMP "),
              "\n2 lines lost before this one\nSTAMP heard\nSTAMP heard too\n");
    for (const int descriptor : {ends[0], ends[1], own}) close(descriptor);
}

}  // namespace
}  // namespace standin
