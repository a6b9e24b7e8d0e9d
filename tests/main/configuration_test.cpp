#include "main/configuration.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

#include "harness/child_process.h"
#include "harness/fakes/fake_log.h"
#include "main/logging.h"

namespace rfcd {
namespace {

std::string url_of(const service_config& service) {
    return std::string(service.enabled ? "on " : "off ") + service.host.c_str() + ":" +
           std::to_string(service.port) + service.path.c_str();
}

class Configuration : public testing::Test {
  protected:
    Configuration() { fake_log::reset(log_mask_all); }

    void read(const std::string& text) {
        config.file_path = "/tmp/rfcd.conf";
        lab::write_file(config.file_path, text);
        read_configuration_file(config);
    }

    // Shows the URLs of the services, the settings that they share, and the rest.
    std::string told() const {
        std::string text;
        std::set<std::string> shared;
        for (const auto& s : config.services) {
            text += url_of(s) + ", ";
            shared.insert(s.location.c_str() + (" " + std::to_string(s.initial_connection_delay)) +
                          "-" + std::to_string(s.max_connection_delay) + ", ");
        }
        for (const auto& setting : shared) text += setting;
        return text + std::to_string(config.log_level) + " '" + config.log_file_path + "' '" +
               config.mac_list_id + "'";
    }

    configuration config;
};

std::multiset<std::string> matches(const std::string& text, const char* pattern) {
    const std::regex expression(pattern, std::regex::ECMAScript | std::regex::multiline);
    std::multiset<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
        found.insert((*at)[1]);
    return found;
}

TEST_F(Configuration, UrlForms) {
    const struct {
        const char* name;
        const char* url;
        bool accepted = true;
        const char* read = "off :0";
    } rows[] = {
        {.name = "whole", .url = "ws://192.0.2.7:8080/roam", .read = "on 192.0.2.7:8080/roam"},
        {.name = "no scheme", .url = "server:443/", .read = "on server:443/"},
        {.name = "colons in the path", .url = "ws://h:1/a:b/c\r\n", .read = "on h:1/a:b/c"},
        {.name = "empty port", .url = "ws://h:/x", .read = "on h:0/x"},
        {.name = "port with letters", .url = "ws://h:12ab/x", .read = "on h:12/x"},
        {.name = "slash before the colon", .url = "ws://a/b:7/c", .read = "on a/b:7/c"},
        {.name = "empty scheme", .url = "://h:1/x", .accepted = false},
        {.name = "no path", .url = "ws://server:8080"},
        {.name = "no port", .url = "ws://server/x"},
        {.name = "nothing", .url = ""},
        {.name = "another scheme", .url = "wss://server:443/x", .accepted = false},
        {.name = "scheme in capitals", .url = "WS://h:1/x", .accepted = false},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string line = std::string("key=") + row.url;

        const bool accepted =
            parse_service_url(config.services, service_index::rrm, line.c_str(), 4);

        EXPECT_EQ(accepted, row.accepted);
        EXPECT_EQ(url_of(config.of(service_index::rrm)), row.read);
        EXPECT_EQ(url_of(config.of(service_index::roaming)), "off :0");
        config = {};
    }
}

TEST_F(Configuration, KeysAreReadWithoutRegardToCaseAndValuesCut) {
    read(
        "ROAM_SERVICE_URL=ws://h:1/x\r\n"
        "# a comment\n\n"
        " skylark_service_url=ws://blank:1/before\n"
        "Initial_Connection_Delay= 5\n"
        "max_connection_delay=300s\n"
        "ap_location=hall 7\r\n"
        "log_file=/tmp/x.log\r\n"
        "mac-list-id=list-1\r\n"
        "mac-list-id=list-2\r\n");

    EXPECT_EQ(told(), "on h:1/x, off :0, off :0, hall 7 5-300, 0 '/tmp/x.log' 'list-2'");
}

TEST_F(Configuration, LogLevelForms) {
    const struct {
        const char* text;
        unsigned level;
    } rows[] = {
        {.text = "0x0f", .level = 15}, {.text = "15", .level = 15},  {.text = "0X1f", .level = 31},
        {.text = "0x10", .level = 16}, {.text = "what", .level = 0}, {.text = " 0x7", .level = 0},
    };

    for (const auto& row : rows) {
        read(std::string("log_level=") + row.text + "\n");

        EXPECT_EQ(config.log_level, row.level) << row.text;
        EXPECT_EQ(daemon_logger.mask, row.level) << "the mask follows at once: " << row.text;
    }
}

TEST_F(Configuration, WrongSchemeEndsTheReading) {
    read(
        "skylark_service_url=ws://h:80/a\n"
        "roam_service_url=wss://h:80/b\n"
        "mac-list-id=never-read\n");

    EXPECT_EQ(told(), "off :0, on h:80/a, off :0, default-rrm-domain 0-0, 0 '' ''");
    EXPECT_EQ(fake_log::take(), "debug Proto wss is invalid\n");
}

TEST_F(Configuration, LongLineIsReadInPieces) {
    const std::string key = "ap_location=";

    read(key + std::string(254 - key.size(), 'x') + "log_level=7\n");

    EXPECT_EQ(config.of(service_index::rrm).location.view(), std::string(254 - key.size(), 'x'));
    EXPECT_EQ(config.log_level, 7U);
}

TEST_F(Configuration, DefaultsDependOnAFileBeingNamed) {
    read_configuration_file(config);
    EXPECT_EQ(told(), "off :0, off :0, off :0,  0-0, 0 '' ''");

    config.file_path = "/no/such/file";
    read_configuration_file(config);
    EXPECT_EQ(told(), "off :0, off :0, off :0, default-rrm-domain 0-0, 0 '' ''");
}

TEST_F(Configuration, ExampleAndManualHaveEveryKey) {
    const std::string folder = PROJECT_FOLDER;
    const auto keys =
        matches(lab::read_file(folder + "/src/main/configuration.cpp"), R"(^ +\{"([a-z_-]+)=",)");
    ASSERT_FALSE(keys.empty());

    const std::string example = lab::read_file(folder + "/packaging/rfcd.conf.example");
    EXPECT_EQ(matches(example, "^#?([a-z_-]+)="), keys) << "each once";
    EXPECT_EQ(matches(lab::read_file(folder + "/packaging/rfcd.8"), "^\\.It Cm (.+)$"), keys);
}

TEST_F(Configuration, InstalledFileAndExampleAreReadAsTheySay) {
    const std::string folder = std::string(PROJECT_FOLDER) + "/packaging/";
    const std::string example = lab::read_file(folder + "rfcd.conf.example");
    for (const auto& text : {lab::read_file(folder + "rfcd.conf"), example}) {
        read(text);
        EXPECT_EQ(told(), "off :0, off :0, off :0, default-rrm-domain 5-300, 3 '' ''")
            << "a fresh installation calls nobody";
    }

    read(std::regex_replace(example, std::regex("\n#([a-z_-]+=)"), "\n$1"));
    EXPECT_EQ(told(),
              "on cloud.example:8080/roam, on cloud.example:8080/skylark, on "
              "cloud.example:8080/mac-lists, "
              "default-rrm-domain 5-300, 3 '/var/log/rfcd/rfcd.log' 'list-of-this-building'");

    std::istringstream lines(example);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 253U) << line;
}

}  // namespace
}  // namespace rfcd
