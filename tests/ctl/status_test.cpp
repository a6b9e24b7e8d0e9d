// The status file's text, what is concluded from it, and the reports about it.
#include <gtest/gtest.h>

#include "ctl/observation.h"
#include "ctl/report.h"

namespace ctl {
namespace {

constexpr std::uint64_t now = 20'000;

constexpr const char* whole =
    "version: 1.0.0\n"
    "service: rrm\n"
    "url: ws://h:80/x\n"
    "pid: 12\n"
    "started: 8000\n"
    "written: 19990\n"
    "link: connected\n"
    "link-since: 8480\n"
    "attempts: 7\n"
    "last-end: connection refused\n"
    "last-end-at: 8479\n"
    "pings-unanswered: 1\n"
    "received-messages: 120\n"
    "received-bytes: 34567\n"
    "sent-messages: 1\n"
    "sent-bytes: 999\n"
    "to-service-messages: 2\n"
    "to-service-bytes: 1\n"
    "to-service-dropped: 3\n"
    "from-service-messages: 4\n"
    "from-service-bytes: 5000000\n"
    "from-service-dropped: 6\n"
    "subscription: subscribed\n"
    "subscription-since: 8482\n"
    "hostapd: running\n"
    "scan: sweep 2 of 5\n"
    "last-report-at: 19800\n"
    "last-report-neighbours: 18\n"
    "link-loop: 19990\n"
    "service-loop: 19990\n";

struct edit {
    std::string find;
    std::string put;
};

std::string edited(const std::vector<edit>& edits) {
    std::string text = whole;
    for (const auto& [find, put] : edits) {
        const auto at = text.find(find);
        if (at == std::string::npos) throw std::logic_error("nothing to edit: " + find);
        text.replace(at, find.size(), put);
    }
    return text;
}

observation seen(const std::vector<edit>& edits, process_life life = process_life::running) {
    const auto record = parse_status(edited(edits)).record.value();
    return {std::string(record.text("service")), record, judge(record, life, now), now};
}

TEST(Status, DamagedText) {
    const struct {
        const char* name;
        std::string text;
        const char* fault;
    } rows[] = {
        {.name = "nothing", .text = "", .fault = "is cut: it has no \"version\""},
        {.name = "cut in a line",
         .text = std::string(whole, 20),
         .fault = "is cut: its last line has no end"},
        {.name = "cut behind a line",
         .text = std::string(whole).substr(0, std::string(whole).find("from-service-dropped")),
         .fault = "is cut: it has no \"from-service-dropped\""},
        {.name = "binary",
         .text = edited({{"url: ws", "\x1b[2J"}}),
         .fault = "is damaged: \"?[2J://h:80/x\" is no \"key: value\""},
        {.name = "word for a number",
         .text = edited({{"8480", "soon"}}),
         .fault = "is damaged: \"link-since\" is not a number"},
        {.name = "number with a rest",
         .text = edited({{"8480", "8480 s"}}),
         .fault = "is damaged: \"link-since\" is not a number"},
        {.name = "number that is too large",
         .text = edited({{"8480", "99999999999999999999"}}),
         .fault = "is damaged: \"link-since\" is not a number"},
        {.name = "all processes",
         .text = edited({{"pid: 12", "pid: 0"}}),
         .fault = "is damaged: \"pid\" is not a process number"},
        {.name = "process number that wraps",
         .text = edited({{"pid: 12", "pid: 4294967297"}}),
         .fault = "is damaged: \"pid\" is not a process number"},
        {.name = "twice",
         .text =
             edited({{"url: ", "pid: 13\nurl: "}, {"pid: 12\n", ""}, {"link:", "pid: 1\nlink:"}}),
         .fault = "is damaged: \"pid\" comes twice"},
    };

    for (const auto& row : rows) {
        const auto reading = parse_status(row.text);

        EXPECT_FALSE(reading.record.has_value()) << row.name;
        EXPECT_EQ(reading.fault, row.fault) << row.name;
    }
}

TEST(Status, FilesThatAreNotBelieved) {
    const struct {
        const char* name;
        mode_t mode = S_IFREG | 0644;
        uid_t owner = 0;
        off_t size = 1000;
        const char* fault = "";
    } rows[] = {
        {.name = "root's"},
        {.name = "largest", .size = 65'536},
        {.name = "too large", .size = 65'537, .fault = "is too large"},
        {.name = "a stranger's", .owner = geteuid() + 1, .fault = "belongs to another user"},
        {.name = "folder", .mode = S_IFDIR | 0755, .fault = "is not a regular file"},
    };

    for (const auto& row : rows) {
        struct stat file {};
        file.st_mode = row.mode;
        file.st_uid = row.owner;
        file.st_size = row.size;

        EXPECT_EQ(fault_of_status_file(file), row.fault) << row.name;
    }
}

// The first line of the report is what most people read.
TEST(Status, VerdictsAndHeadlines) {
    const std::vector<edit> roaming{{"service: rrm", "service: roaming"},
                                    {"subscription: subscribed\nsubscription-since: 8482\n", ""}};
    const struct {
        const char* name;
        std::vector<edit> edits = {};
        process_life life = process_life::running;
        int exit_status;
        const char* headline;
    } rows[] = {
        {.name = "connected without a subscription",
         .edits = roaming,
         .exit_status = 0,
         .headline = "roaming: connected for 3 h 12 min"},
        {.name = "not subscribed",
         .edits = {{"subscription: subscribed", "subscription: none"}},
         .exit_status = 1,
         .headline = "RRM: connected for 3 h 12 min, not subscribed for 3 h 11 min"},
        {.name = "subscribing",
         .edits = {{"subscription: subscribed", "subscription: subscribing"}},
         .exit_status = 1,
         .headline = "RRM: connected for 3 h 12 min, subscribing for 3 h 11 min"},
        {.name = "waiting",
         .edits = {{"link: connected", "link: waiting"},
                   {"8480", "19990\ndisconnected-since: 19959"}},
         .exit_status = 1,
         .headline = "RRM: not connected for 41 s, 7 attempts, last: connection refused"},
        {.name = "given up",
         .edits = {{"link: connected", "link: unlinked"}, {"8480", "19940"}},
         .exit_status = 1,
         .headline = "RRM: given up for good 1 min 0 s ago, 7 attempts, last: connection refused"},
        {.name = "stopped",
         .life = process_life::stopped,
         .exit_status = 2,
         .headline = "RRM: stuck: process 12 is stopped"},
        {.name = "hidden",
         .life = process_life::hidden,
         .exit_status = 2,
         .headline = "RRM: unreadable: process 12 is hidden from this user"},
        {.name = "busy within the limit",
         .edits = {{"link-loop: 19990", "link-loop: 19850\nlink-loop-busy: name lookup"}},
         .exit_status = 0,
         .headline = "RRM: connected for 3 h 12 min, subscribed for 3 h 11 min"},
        {.name = "busy beyond the limit",
         .edits = {{"service-loop: 19990", "service-loop: 19849\nservice-loop-busy: command"}},
         .exit_status = 2,
         .headline = "RRM: stuck: the service worker has made no progress for 2 min 31 s, busy: "
                     "command"},
        {.name = "both loops wait, so that no thread runs",
         .edits = {{"link: connected", "link: connecting"},
                   {"8480", "19980\ndisconnected-since: 19959"},
                   {"link-loop: 19990", "link-loop: 19980\nlink-loop-busy: name lookup"},
                   {"service-loop: 19990",
                    "service-loop: 19990\nservice-loop-busy: request to a local daemon"}},
         .life = process_life::frozen,
         .exit_status = 1,
         .headline = "RRM: not connected for 41 s, 7 attempts, last: connection refused"},
        {.name = "one loop waits, the other hangs",
         .edits = {{"link-loop: 19990", "link-loop: 19980\nlink-loop-busy: name lookup"},
                   {"service-loop: 19990", "service-loop: 19980\nservice-loop-busy: unknown"}},
         .life = process_life::frozen,
         .exit_status = 2,
         .headline = "RRM: stuck: process 12 does not run"},
        {.name = "idle for longer than the limit",
         .edits = {{"link-loop: 19990", "link-loop: 100"},
                   {"service-loop: 19990", "service-loop: 100"}},
         .exit_status = 0,
         .headline = "RRM: connected for 3 h 12 min, subscribed for 3 h 11 min"},
        {.name = "of an earlier start of the machine",
         .edits = {{"started: 8000", "started: 20002"}},
         .exit_status = 2,
         .headline = "RRM: not running: the status is from before the machine's last start"},
    };

    for (const auto& row : rows) {
        const auto judged = seen(row.edits, row.life);
        const std::string report = person_report(judged);

        EXPECT_EQ(exit_status_of(judged.judged.outcome), row.exit_status) << row.name;
        EXPECT_EQ(report.substr(0, report.find('\n')), row.headline) << row.name;
    }
}

TEST(Status, ReportAboutADaemonThatIsGoneIsItsHeadline) {
    EXPECT_EQ(person_report(seen({}, process_life::replaced)),
              "RRM: not running: process 12 is another program\n");
}

TEST(Status, ReportForAPerson) {
    const std::string report = person_report(
        seen({{"link: connected", "link: waiting"},
              {"attempts: 7", "attempts: 7\nnext-attempt: 20005"},
              {"url: ws://h:80/x", "url: ws://h:80/\x1b[2J"},
              {"link-loop: 19990", "link-loop: 19950\nlink-loop-busy: name lookup"}}));

    EXPECT_EQ(report,
              "RRM: not connected for 3 h 12 min, 7 attempts, last: connection refused\n"
              "  service           ws://h:80/?[2J\n"
              "  process           12, version 1.0.0, started 3 h 20 min ago\n"
              "  link              waiting for 3 h 12 min, next attempt in 5 s\n"
              "  last end          connection refused, 3 h 12 min ago\n"
              "  pings             1 unanswered\n"
              "  received          120 messages, 34.5 kB\n"
              "  sent              1 message, 999 bytes\n"
              "  to the service    2 messages, 1 byte waiting; 3 dropped\n"
              "  from the service  4 messages, 5.0 MB waiting; 6 dropped\n"
              "  hostapd           running\n"
              "  scan              sweep 2 of 5\n"
              "  last report       18 neighbours, 3 min 20 s ago\n"
              "  the link waits    name lookup, for 50 s\n");
}

TEST(Status, ReportForAProgram) {
    const std::string text =
        "version: 1.0.0\n"
        "service: wids\n"
        "url: ws://h:80/\"\\\x1b\xff\n"
        "pid: 12\n"
        "started: 8000\n"
        "written: 19990\n"
        "link: waiting\n"
        "link-since: 19990\n"
        "next-attempt: 20005\n"
        "from-service-dropped: 0\n"
        "last-list: accepted\n"
        "link-loop: 19950\n"
        "link-loop-busy: name lookup\n"
        "service-loop: 19990\n";
    const auto record = parse_status(text).record.value();

    const std::string report = json_report({"wids", record, {verdict::stuck, "a \"reason\""}, now});

    EXPECT_EQ(report,
              R"({"verdict":"stuck","reason":"a \"reason\"","version":"1.0.0","service":"wids",)"
              R"("url":"ws://h:80/\"\\\u001b\u00ff","pid":12,"started":8000,"started-age":12000,)"
              R"("written":19990,"written-age":10,"link":"waiting","link-since":19990,)"
              R"("link-since-age":10,"next-attempt":20005,"next-attempt-in":5,)"
              R"("from-service-dropped":0,)"
              R"("last-list":"accepted","link-loop":19950,"link-loop-age":50,)"
              R"("link-loop-busy":"name lookup","service-loop":19990})"
              "\n");
}

}  // namespace
}  // namespace ctl
