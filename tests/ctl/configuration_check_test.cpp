#include "ctl/configuration_check.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "ctl/setting_faults.h"
#include "harness/child_process.h"
#include "harness/fakes/fake_log.h"

namespace ctl {
namespace {

// The findings, a line each, and the URL of the chosen service.
std::string check(const std::string& text) {
    lab::write_file("/tmp/checked.conf", text);
    fake_log::reset();

    const auto result = check_configuration(rfcd::open_for_reading("/tmp/checked.conf").get());

    std::string told;
    for (const auto& [line, weight, message] : result.findings) {
        const char* note = weight == severity::note ? "note: " : "";
        told += std::to_string(line) + ": " + note + message + "\n";
    }
    told += result.service ? url_of(result.understood.of(*result.service)) : "no service";
    return told + (result.fine() ? ", fine" : ", not fine");
}

TEST(ConfigurationCheck, UrlsOfTheChosenService) {
    const struct {
        const char* name;
        const char* url;
        const char* told;
    } rows[] = {
        {.name = "whole", .url = "ws://h:80/x", .told = "ws://h:80/x, fine"},
        {.name = "no scheme, carriage return", .url = "h:65535/\r", .told = "ws://h:65535/, fine"},
        {.name = "nothing",
         .url = "",
         .told = "1: has no effect: the URL is not as ws://HOST:PORT/PATH\nno service, not fine"},
        {.name = "no path",
         .url = "ws://h:80",
         .told = "1: has no effect: the URL is not as ws://HOST:PORT/PATH\nno service, not fine"},
        {.name = "another scheme",
         .url = "wss://h:443/x",
         .told = "1: ends the reading: the scheme of the URL is not \"ws\" in lower case\n"
                 "no service, not fine"},
        {.name = "no host",
         .url = "ws://:80/x",
         .told = "1: has a URL without a host\nws://:80/x, not fine"},
        {.name = "path before the port",
         .url = "ws://h/x:80/y",
         .told = "1: has a URL with a slash before the port: the host is read as \"h/x\"\n"
                 "ws://h/x:80/y, not fine"},
        {.name = "port 0",
         .url = "ws://h:0/x",
         .told = "1: has a URL whose port is read as 0; it must be 1 to 65535\n"
                 "ws://h:0/x, not fine"},
        {.name = "port too high",
         .url = "ws://h:65536/x",
         .told = "1: has a URL whose port is read as 65536; it must be 1 to 65535\n"
                 "ws://h:65536/x, not fine"},
        {.name = "port with letters",
         .url = "ws://h:8o80/x",
         .told = "1: is read as ws://h:8/x\nws://h:8/x, not fine"},
        {.name = "blank at the end",
         .url = "ws://h:80/x ",
         .told = "1: has a URL with a blank or control character\nws://h:80/x , not fine"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(check(std::string("roam_service_url=") + row.url + "\n"), row.told) << row.name;
    }
}

// Here and below, each setting stands behind a whole URL of the RRM service.
TEST(ConfigurationCheck, LinesThatDoNoHarm) {
    const std::string long_text(300, 'x');
    const struct {
        const char* name;
        std::string line;
        std::string told = "";
    } rows[] = {
        {.name = "comments and blanks", .line = "#x=y\n\n \t\n  # x\r\n"},
        {.name = "delay", .line = "max_connection_delay= 0300 \r\n"},
        {.name = "decimal level", .line = "log_level=11\n"},
        {.name = "hexadecimal level", .line = "LOG_LEVEL=0X0F\n"},
        {.name = "overridden twice",
         .line = "log_level=1\nlog_level=2\nlog_level=3\n",
         .told = "2: note: is overridden by line 3\n"
                 "3: note: is overridden by line 4\n"},
        {.name = "second service",
         .line = "mac-list-service-url=ws://h:1/x\n",
         .told = "2: note: is not used: another line chooses RRM\n"},
        {.name = "longest setting", .line = "log_file=" + long_text.substr(0, 245) + "\n"},
        {.name = "longer comment",
         .line = "#" + long_text + long_text + "\n",
         .told = "2: note: is longer than 253 characters, and read in pieces\n"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(check("skylark_service_url=ws://h:1/x\n" + row.line),
                  row.told + "ws://h:1/x, fine")
            << row.name;
    }
}

TEST(ConfigurationCheck, LinesThatAreWrong) {
    const std::string long_text(300, 'x');
    const struct {
        const char* name;
        std::string line;
        std::string told;
    } rows[] = {
        {.name = "negative delay",
         .line = "initial_connection_delay=-5\n",
         .told = "2: has a negative delay, which makes a wait that never ends\n"},
        {.name = "delay with a unit",
         .line = "initial_connection_delay=5m\n",
         .told = "2: is read as 5 s\n"},
        {.name = "delay without a number",
         .line = "max_connection_delay=\n",
         .told = "2: is read as 0 s\n"},
        {.name = "level by name", .line = "log_level=debug\n", .told = "2: is read as level 0\n"},
        {.name = "level with a rest",
         .line = "log_level=0x03,4\n",
         .told = "2: is read as level 3\n"},
        {.name = "cut location", .line = "ap_location=a\rb\n", .told = "2: is cut to \"a\"\n"},
        {.name = "cut log file", .line = "log_file=a\rb\n", .told = "2: is cut to \"a\"\n"},
        {.name = "setting of another service, cut",
         .line = "mac-list-id=a\rb\n",
         .told = "2: is cut to \"a\"\n"
                 "2: note: is used by WIDS only, and the service is RRM\n"},
        {.name = "unknown key, which may steer a terminal",
         .line = "\x1b[2J=1\n",
         .told = "2: has no effect: the key \"?[2J\" is unknown\n"},
        {.name = "no key", .line = "hello\n", .told = "2: has no effect: it is no \"key=value\"\n"},
        {.name = "blank before the key",
         .line = "\tlog_level=3\n",
         .told = "2: has no effect: it begins with a blank\n"},
        {.name = "blank behind the key",
         .line = "log_level =3\n",
         .told = "2: has no effect: a blank stands before the \"=\"\n"},
        {.name = "zero byte",
         .line = std::string("log_file=a\0b\n", 13),
         .told = "2: is cut at a zero byte\n"},
        {.name = "incomplete URL overrides nothing",
         .line = "skylark_service_url=ws://h\n",
         .told = "2: has no effect: the URL is not as ws://HOST:PORT/PATH\n"},
        {.name = "lines behind the end of the reading",
         .line = "mac-list-service-url=http://h:1/x\n# comment\nlog_level=3\n",
         .told = "2: ends the reading: the scheme of the URL is not \"ws\" in lower case\n"
                 "4: is not read: line 2 has ended the reading\n"},
        {.name = "longer setting",
         .line = "log_file=" + long_text + long_text + "\n",
         .told = "2: is longer than 253 characters, and cut\n"},
        {.name = "setting inside a longer comment",
         .line = "#" + long_text.substr(0, 253) + "log_level=3\n",
         .told = "2: is longer than 253 characters, and a piece of it counts as a line "
                 "\"log_level=\"\n"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(check("skylark_service_url=ws://h:1/x\n" + row.line),
                  row.told + "ws://h:1/x, not fine")
            << row.name;
    }
}

}  // namespace
}  // namespace ctl
