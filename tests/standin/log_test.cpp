#include <gtest/gtest.h>

#include <filesystem>

#include "lab/child_process.h"
#include "log/log_line.h"
#include "log/rotating_file.h"

namespace standin {
namespace {

[[gnu::format(printf, 2, 3)]] std::string line(int code, const char* format, ...) {
    setenv("TZ", "UTC", 1);
    tzset();
    std::va_list args;
    va_start(args, format);
    const std::string text = format_log_line({"rfcd", 42, {1'000'000'000, 7'999'999}}, code, format, args);
    va_end(args);
    return text;
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

TEST_F(RotatingFile, KeepsTheNewestFiles) {
    rotating_file file(path, 10, 2);
    for (const char* text : {"aaaa\n", "bbbb\n", "cccc\n", "dddddddddddddd\n", "eeee\n"}) {
        EXPECT_TRUE(file.write_line(text));
    }
    EXPECT_EQ(kept(), "eeee\n|dddddddddddddd\n|cccc\n||");
}

TEST_F(RotatingFile, AnotherPlaceThanAFileIsRefused) {
    for (const char* place : {"/dev/full", "/tmp", "/no/such/folder/x", ""}) {
        EXPECT_FALSE(rotating_file(place, 10, 1).write_line("x\n")) << place;
    }
}

TEST_F(RotatingFile, FullDiskLosesLinesAndNoMore) {
    const std::string disk = "/tmp/small-disk/";
    rotating_file file(disk + "x.log", 1 << 20, 1);
    const std::string text = std::string(40'000, 'x') + "\n";
    int written = 0;
    while (file.write_line(text)) ASSERT_LT(++written, 100);
    EXPECT_FALSE(file.write_line(text));
    EXPECT_EQ(std::filesystem::file_size(disk + "x.log"), text.size() * static_cast<unsigned>(written))
        << "no half line is left";
    std::filesystem::resize_file(disk + "x.log", 0);
    EXPECT_TRUE(file.write_line(text));
}

}  // namespace
}  // namespace standin
