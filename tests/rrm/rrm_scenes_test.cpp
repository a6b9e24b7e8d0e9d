// Whole scenes: what the worker does, step by step, when messages, time, hostapd and widsd meet.
#include <map>
#include <regex>
#include <sstream>

#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

class RrmScenes : public RrmTest {
  protected:
    // On an access point with all radios up, without files of an earlier scene.
    void begin() {
        renew();
        for (const char* path :
             {flag_files::widsd_pid, flag_files::hostapd_started, flag_files::widsd_started}) {
            std::filesystem::remove(path);
        }
        drv->radios_up = true;
    }

    // Plays steps that are parted by blanks, "+N" being N seconds; tells what each led to.
    std::string play(const std::string& script) {
        const std::map<std::string, std::function<void()>> steps{
            {"connect", [this] { receive(link("connected")); }},
            {"disconnect", [this] { receive(link("disconnected")); }},
            {"accept", [this] { receive(rrm("subscribe-response", R"("status":"success")")); }},
            {"later",
             [this] { receive(rrm("subscribe-response", R"("status":"error","code":503)")); }},
            {"refuse",
             [this] { receive(rrm("subscribe-response", R"("status":"error","code":500)")); }},
            {"no-status", [this] { receive(rrm("subscribe-response", R"("code":503)")); }},
            {"pid-comes",
             [this] {
                 touch(flag_files::hostapd_pid);
                 look();
             }},
            {"scan", [this] { receive(rrm("rrm-update")); }},
            {"scan-in-5", [this] { receive(rrm("rrm-update", R"("rrm-scan-delay":5)")); }},
            {"rrm-scan", [this] { receive(rrm("rrm-update", R"("norda-rrm-scanning":1)")); }},
            {"rrm-scan-in-5",
             [this] {
                 receive(rrm("rrm-update", R"("norda-rrm-scanning":1,"rrm-scan-delay":5)"));
             }},
            {"mode", [this] { receive(rrm("rrm-request-mode")); }},
            {"fbt", [this] { receive(rrm("fbt-info")); }},
            {"use-fbt", [this] { receive(rrm("rrm-info", R"("use-80211r":1)")); }},
            {"info", [this] { receive(rrm("rrm-info")); }},
            {"old", [this] { receive(rrm("rrm-info", "", "2.3")); }},
            {"event",
             [this] {
                 drv->events = {{2}};
                 worker->process();
             }},
            {"pass", [this] { worker->process(); }},
            {"hears",
             [this] {
                 drv->heard.assign(2, {{{{2, 0, 0, 0, 0, 1}}, -60, 6, 20, 0, 0, 2}});
             }},
            {"hostapd-goes",
             [this] {
                 std::filesystem::remove(flag_files::hostapd_pid);
                 look();
             }},
            {"hostapd-comes",
             [this] {
                 touch(flag_files::hostapd_pid);
                 notify(flag_files::hostapd_started);
             }},
            {"widsd-comes", [this] { notify(flag_files::widsd_started); }},
            {"look", [this] { look(); }},
            {"leave", [this] { worker->on_stop(); }},
            {"flag",
             [this] {
                 told_by_supervision =
                     there(flag_files::connected) ? "subscribed " : "not subscribed ";
             }},
            {"not-running", [this] { drv->initialized = false; }},
            {"sentry", [this] { drv->sentry_all = true; }},
            {"k-off", [this] { drv->dot11k = false; }},
        };
        std::string told;
        std::istringstream words(script);
        for (std::string word; words >> word;) {
            if (word.front() == '+') {
                told += seconds(std::stoi(word));
            } else {
                steps.at(word)();
                told += drv->take() + sent_with_size();
            }
        }
        return told;
    }
    std::string seconds(int count) {
        std::string told;
        for (int second = 1; second <= count; ++second) {
            fake_clock::advance(1);
            worker->keep_running(&running);
            worker->process();
            const auto effects = drv->take() + sent_with_size();
            if (!effects.empty()) told += "+" + std::to_string(second) + " " + effects;
        }
        return told;
    }
    void look() { told_by_supervision = worker->keep_running(&running) ? "" : "inactive "; }
    void notify(const char* file) {
        touch(file);
        touch(flag_files::notify);
        look();
    }
    // A report tells whether it has neighbours.
    std::string sent_with_size() {
        std::string commands = std::exchange(told_by_supervision, {});
        for (const auto& text : drain(out)) {
            commands += json_reader(text.c_str()).get_string("cmd");
            commands += text.find("bssid") != std::string::npos ? " with neighbours " : " ";
        }
        return commands;
    }

    std::string told_by_supervision;
};

TEST_F(RrmScenes, AreToldStepByStep) {
    const struct {
        const char* name;
        const char* script;
        const char* told;
    } rows[] = {
        {.name = "retries until an answer, none without a link",
         .script = "connect +340 accept flag +200 disconnect flag +200",
         .told = "subscribe-request "
                 "+30 subscribe-request "
                 "+90 subscribe-request "
                 "+210 subscribe-request "
                 "+330 subscribe-request subscribed not subscribed "},
        {.name = "a second \"connected\" starts the retries anew",
         .script = "connect +10 connect +31",
         .told = "subscribe-request subscribe-request "
                 "+30 subscribe-request "},
        {.name = "no answer to wait for without a link",
         .script = "connect later disconnect hostapd-comes +200",
         .told = "subscribe-request on, reset, init, stop all, "},
        {.name = "503 waits for hostapd, too",
         .script = "connect later +10 hostapd-comes +31",
         .told = "subscribe-request on, reset, init, stop all, subscribe-request "
                 "+30 subscribe-request "},
        {.name = "no retries while hostapd is away",
         .script = "connect +10 hostapd-goes +59",
         .told = "subscribe-request off, reset, "},
        {.name = "nothing is asked after the unsubscription",
         .script = "connect old +200",
         .told = "subscribe-request unsubscribe-request unlink "},
        {.name = "nor told of",
         .script = "connect accept event scan-in-5 old +200",
         .told = "subscribe-request unsubscribe-request unlink "},
        {.name = "a change of the radios is told of once",
         .script = "connect accept event +5 event +30",
         .told = "subscribe-request "
                 "+10 rrm-config-changed "},
        {.name = "and not without a link",
         .script = "connect accept event disconnect +20",
         .told = "subscribe-request "},
        {.name = "a second update takes the place of the first",
         .script = "scan-in-5 +1 scan-in-5 +20",
         .told = "+5 stop scan, start active, "
                 "+7 stop scan, read active, start active, "
                 "+9 stop scan, read active, start active, "
                 "+11 stop scan, read active, start active, "
                 "+13 stop scan, read active, start active, "
                 "+15 stop scan, read active, rrm-response "},
        {.name = "and of a running scan",
         .script = "scan +1 scan +20",
         .told = "stop scan, start active, stop scan, stop scan, start active, "
                 "+2 stop scan, read active, start active, "
                 "+4 stop scan, read active, start active, "
                 "+6 stop scan, read active, start active, "
                 "+8 stop scan, read active, start active, "
                 "+10 stop scan, read active, rrm-response "},
        {.name = "no scan starts without hostapd",
         .script = "scan-in-5 +1 hostapd-goes +20",
         .told = "off, reset, "},
        {.name = "nothing is kept of an abandoned scan",
         .script = "hears scan +5 mode rrm-scan +30",
         .told = "stop scan, start active, "
                 "+2 stop scan, read active, start active, "
                 "+4 stop scan, read active, start active, stop scan, rrm-mode-response stop scan, "
                 "start rrm, "
                 "+2 stop scan, read rrm, rrm-response "},
        {.name = "nor of one that hostapd has ended",
         .script = "hears scan +5 hostapd-goes hostapd-comes rrm-scan +30",
         .told = "stop scan, start active, "
                 "+2 stop scan, read active, start active, "
                 "+4 stop scan, read active, start active, off, reset, on, reset, init, stop all, "
                 "stop scan, start rrm, "
                 "+2 stop scan, read rrm, rrm-response "},
        {.name = "nor of one that was reported",
         .script = "hears scan +12 rrm-scan +5",
         .told = "stop scan, start active, "
                 "+2 stop scan, read active, start active, "
                 "+4 stop scan, read active, start active, "
                 "+6 stop scan, read active, start active, "
                 "+8 stop scan, read active, start active, "
                 "+10 stop scan, read active, rrm-response with neighbours stop scan, start rrm, "
                 "+2 stop scan, read rrm, rrm-response "},
        {.name = "a new connection drops the report that waits",
         .script = "rrm-scan-in-5 +7 connect +20",
         .told = "+5 stop scan, start rrm, "
                 "+7 stop scan, read rrm, subscribe-request "},
        {.name = "a lost link keeps what waits for a scan, but no acceptance",
         .script = "scan accept fbt disconnect pass pass flag",
         .told = "stop scan, start active, stop scan, fbt reset 0, not subscribed "},
        {.name = "nor one that came to wait before the scan's end",
         .script = "rrm-scan fbt accept +2 disconnect pass pass flag",
         .told = "stop scan, start rrm, "
                 "+2 stop scan, read rrm, fbt reset 0, rrm-response not subscribed "},
        {.name = "nor does a later one count twice",
         .script = "scan accept disconnect connect accept flag",
         .told = "stop scan, start active, stop scan, subscribe-request subscribed "},
        {.name = "fast transition stays as it was set",
         .script = "use-fbt info fbt",
         .told = "clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, clear wlan0-vap0, clear "
                 "wlan1-vap0, clear "
                 "wlan2-vap0, fbt begin, fbt finish, "},
        {.name = "and is reset by widsd's time",
         .script = "use-fbt leave",
         .told = "clear wlan0-vap0, clear wlan1-vap0, clear wlan2-vap0, clear wlan0-vap0, clear "
                 "wlan1-vap0, clear "
                 "wlan2-vap0, stop all, fbt reset 0, off, reset, "},
        {.name = "lists of VAPs without 802.11k are left alone",
         .script = "k-off info leave",
         .told = "stop all, off, reset, "},
        {.name = "in sentry mode hostapd may go", .script = "sentry hostapd-goes", .told = ""},
        {.name = "without it hostapd is waited for",
         .script = "hostapd-goes look +60 look +1 look",
         .told = "off, reset, inactive "},
        {.name = "widsd's start ends the waiting for hostapd",
         .script = "hostapd-goes widsd-comes look",
         .told = "off, reset, init, inactive inactive "},
        {.name = "hostapd that was never there is not waited for",
         .script = "not-running hostapd-goes",
         .told = "inactive "},
        {.name = "subscribes when widsd is in sentry mode",
         .script = "not-running sentry connect",
         .told = "subscribe-request "},
        {.name = "an answer without a status is none",
         .script = "connect no-status +40",
         .told = "subscribe-request "
                 "+30 subscribe-request "},
        {.name = "503 doubles the delay up to two minutes, another code ends it",
         .script = "connect later +60 later +120 later +120 refuse +300 flag",
         .told = "subscribe-request "
                 "+60 subscribe-request "
                 "+120 subscribe-request "
                 "+120 subscribe-request not subscribed "},
        {.name = "no subscription without hostapd",
         .script = "not-running connect +100",
         .told = ""},
        {.name = "a report that waits survives an update",
         .script = "hears rrm-scan-in-5 +8 rrm-scan-in-5 +30",
         .told = "+5 stop scan, start rrm, "
                 "+7 stop scan, read rrm, "
                 "+4 rrm-response with neighbours "
                 "+5 stop scan, start rrm, "
                 "+7 stop scan, read rrm, "
                 "+12 rrm-response with neighbours "},
        {.name = "the pid file alone keeps the old time",
         .script = "hostapd-goes +30 pid-comes +40 hostapd-goes",
         .told = "off, reset, inactive "},
        {.name = "a notice starts a new minute",
         .script = "hostapd-goes +50 hostapd-comes hostapd-goes +50 look",
         .told = "off, reset, on, reset, init, stop all, off, reset, "},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        begin();

        EXPECT_EQ(play(row.script), row.told) << row.script;
    }
}

TEST_F(RrmScenes, LogOfHostapdsStartLossAndReturn) {
    begin();
    fake_log::reset();
    worker->start_check();

    play("hostapd-comes connect accept hostapd-goes info +61 look leave");
    std::filesystem::remove(flag_files::hostapd_pid);
    worker->start_check();
    play("hostapd-comes");

    const std::regex reads("(debug getconf|error Error: path) .*\n");
    EXPECT_EQ(std::regex_replace(fake_log::take(), reads, ""),
              "debug Connected to hostapd\n"
              "debug process_hostapd_started : initializing\n"
              "debug Subscribe to RRM service\n"
              "debug Hostapd is not running, waiting for restart\n"
              "debug process_hostapd_stopped : deinitializing\n"
              "debug Ignoring rrm-info because hostapd is not running\n"
              "debug Hostapd has not restarted\n"
              "debug Hostapd has not restarted\n"
              "debug Disconnected from hostapd\n"
              "debug process_hostapd_started : initializing\n"
              "debug process_started : subscribed\n");
}

}  // namespace
}  // namespace rfcd
