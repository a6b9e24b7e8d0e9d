// Whole scenes: what the worker does, step by step, as messages arrive, time passes, and hostapd
// and widsd come and go.
#include <map>
#include <regex>
#include <sstream>

#include "support/rrm_fixture.h"

namespace rfcd {
namespace {

class RrmScenes : public RrmTest {
  protected:
    // A fresh access point with all radios up.
    void begin() {
        renew();
        drv->radios_up = true;
    }

    // Plays steps, which blanks separate; "+N" lets N seconds pass. Returns the effects of each
    // step; for "+N", with the second of each effect.
    std::string play(const std::string& script) {
        std::string told;
        std::istringstream words(script);

        for (std::string word; words >> word;) {
            if (word.front() == '+') {
                told += seconds(std::stoi(word));
            } else if (messages.count(word) != 0) {
                receive(messages.at(word));
            } else {
                events.at(word)();
            }
            told += effects();
        }

        return told;
    }
    std::string seconds(int count) {
        std::string told;
        for (int second = 1; second <= count; ++second) {
            fake_clock::advance(1);
            worker->keep_running(&running);
            worker->process();
            const auto done = effects();
            if (!done.empty()) told += "+" + std::to_string(second) + " " + done;
        }
        return told;
    }
    void look() { told_by_supervision = worker->keep_running(&running) ? "" : "inactive "; }
    void notice() {
        touch(flag_files::notify);
        look();
    }
    void hostapd_comes() {
        touch(flag_files::hostapd_pid);
        touch(flag_files::hostapd_started);
        notice();
    }
    void pid_goes() {
        std::filesystem::remove(flag_files::hostapd_pid);
        look();
    }
    void radio_event(std::uint32_t type) {
        drv->events = {{type}};
        worker->process();
    }
    void look_at_flag() {
        told_by_supervision = there(flag_files::connected) ? "subscribed " : "not subscribed ";
    }
    // What the driver was asked to do, what supervision logged, and what was sent since the last
    // call.
    std::string effects() { return drv->take() + std::exchange(told_by_supervision, {}) + sent(); }

    const std::vector<scan_result> neighbours{{{{2, 0, 0, 0, 0, 1}}, -60, 6, 20, 0, 0, 2}};
    const std::map<std::string, std::string> messages{
        {"connect", link("connected")},
        {"disconnect", link("disconnected")},
        {"accept", rrm("subscribe-response", R"("status":"success")")},
        {"later", rrm("subscribe-response", R"("status":"error","code":503)")},
        {"refuse", rrm("subscribe-response", R"("status":"error","code":500)")},
        {"no-status", rrm("subscribe-response", R"("code":503)")},
        {"scan", rrm("rrm-update")},
        {"scan-in-5", rrm("rrm-update", R"("rrm-scan-delay":5)")},
        {"rrm-scan", rrm("rrm-update", R"("norda-rrm-scanning":1)")},
        {"rrm-scan-in-5", rrm("rrm-update", R"("norda-rrm-scanning":1,"rrm-scan-delay":5)")},
        {"rrm-scan-3-ago", rrm("rrm-update", R"("norda-rrm-scanning":-1,"rrm-scan-delay":-3)")},
        {"mode", rrm("rrm-request-mode")},
        {"fbt", rrm("fbt-info")},
        {"use-fbt", rrm("rrm-info", R"("use-80211r":1)")},
        {"info", rrm("rrm-info")},
        {"old", rrm("rrm-info", "", "2.3")},
        {"probe", rrm("RRM-Probe-Request")},
    };
    const std::map<std::string, std::function<void()>> events{
        {"event", [this] { radio_event(2); }},
        {"other-event", [this] { radio_event(1); }},
        {"pass", [this] { worker->process(); }},
        {"hears",
         [this] {
             drv->heard = {neighbours, neighbours};
         }},
        {"hostapd-goes", [this] { pid_goes(); }},
        {"hostapd-comes", [this] { hostapd_comes(); }},
        {"pid-comes", [] { touch(flag_files::hostapd_pid); }},
        {"hostapd-file", [] { touch(flag_files::hostapd_started); }},
        {"widsd-file", [] { touch(flag_files::widsd_started); }},
        {"config-file", [] { touch(flag_files::config_updated); }},
        {"notice", [this] { notice(); }},
        {"look", [this] { look(); }},
        {"leave", [this] { worker->on_stop(); }},
        {"flag", [this] { look_at_flag(); }},
        {"not-running", [this] { drv->initialized = false; }},
        {"sentry", [this] { drv->sentry_all = true; }},
        {"k-off", [this] { drv->dot11k = false; }},
    };
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
        {.name = "hostapd's return starts the retries anew",
         .script = "connect +10 hostapd-comes +40",
         .told = "subscribe-request on, reset, init, stop all, subscribe-request "
                 "+30 subscribe-request "},
        {.name = "an answer without a status does not end the retries",
         .script = "connect no-status +40",
         .told = "subscribe-request "
                 "+30 subscribe-request "},
        {.name = "503 doubles the delay up to two minutes, another code ends it",
         .script = "connect later +60 later +120 later +120 refuse +300 flag",
         .told = "subscribe-request "
                 "+60 subscribe-request "
                 "+120 subscribe-request "
                 "+120 subscribe-request not subscribed "},
        {.name = "503 after an acceptance asks again and still reports changes",
         .script = "connect accept later event hostapd-comes +40",
         .told = "subscribe-request on, reset, init, stop all, subscribe-request "
                 "+10 rrm-config-changed "
                 "+30 subscribe-request "},
        {.name = "a refusal after an acceptance leaves it in force",
         .script = "connect accept connect refuse event +40",
         .told = "subscribe-request subscribe-request "
                 "+10 rrm-config-changed "},
        {.name = "a lost link ends the requests, the reports and the subscription",
         .script = "connect accept later event disconnect event hostapd-comes +200",
         .told = "subscribe-request on, reset, init, stop all, "},
        {.name = "no request while hostapd is down",
         .script = "not-running connect +10 hostapd-comes not-running +31",
         .told = "on, reset, init, stop all, subscribe-request "},
        {.name = "no radio work while hostapd is down, but fast transition",
         .script = "not-running scan mode use-fbt fbt",
         .told = "fbt reset 0, "},
        {.name = "subscribes when widsd is in sentry mode",
         .script = "not-running sentry connect",
         .told = "subscribe-request "},
        {.name = "nothing happens after the unsubscription",
         .script = "connect accept later event scan-in-5 old flag +200",
         .told = "subscribe-request unsubscribe-request unlink not subscribed "},
        {.name = "nothing happens while hostapd is away",
         .script = "connect accept later event scan-in-5 hostapd-goes +60",
         .told = "subscribe-request off, reset, "},
        {.name = "changes of the radios are told of once, other events are not",
         .script = "connect accept event +5 event +3 other-event +30",
         .told = "subscribe-request "
                 "+7 rrm-config-changed "},
        {.name = "a change of the configuration is told of at once when subscribed",
         .script = "config-file notice connect accept config-file notice",
         .told = "subscribe-request rrm-config-changed "},
        {.name = "hostapd's and widsd's starts are told of when subscribed, with the changes",
         .script = "connect accept config-file hostapd-comes widsd-file notice",
         .told = "subscribe-request on, reset, init, stop all, rrm-config-changed "
                 "off, reset, init, rrm-config-changed "},
        {.name = "notify files wait for the master file",
         .script = "connect accept config-file hostapd-file look flag notice notice",
         .told = "subscribe-request subscribed on, reset, init, stop all, rrm-config-changed "},
        {.name = "hostapd's notify file hides widsd's, even when hostapd is gone again",
         .script = "hostapd-file widsd-file notice notice "
                   "hostapd-goes hostapd-file widsd-file notice notice",
         .told = "on, reset, init, stop all, off, reset, "},
        {.name = "an update takes the place of a waiting and of a running scan",
         .script = "rrm-scan-in-5 +1 rrm-scan-in-5 +6 rrm-scan +5",
         .told = "+5 stop scan, start rrm, stop scan, stop scan, start rrm, "
                 "+2 stop scan, read rrm, rrm-response "},
        {.name = "a negative delay starts the scan at once and reports in the next pass",
         .script = "rrm-scan-3-ago +5",
         .told = "stop scan, start rrm, "
                 "+2 stop scan, read rrm, "
                 "+3 rrm-response "},
        {.name = "an abandoned scan leaves no timer, of itself or of a report",
         .script = "rrm-scan-in-5 +7 scan mode +20",
         .told = "+5 stop scan, start rrm, "
                 "+7 stop scan, read rrm, stop scan, start active, stop scan, rrm-mode-response "},
        {.name = "an abandoned scan leaves no results",
         .script = "hears scan +5 mode rrm-scan +30",
         .told = "stop scan, start active, "
                 "+2 stop scan, read active, start active, "
                 "+4 stop scan, read active, start active, stop scan, rrm-mode-response stop scan, "
                 "start rrm, "
                 "+2 stop scan, read rrm, rrm-response "},
        {.name = "a sweep that hostapd's return stopped does not end in the next session",
         .script = "scan hostapd-comes scan-in-5 +4",
         .told = "stop scan, start active, on, reset, init, stop all, "},
        {.name = "a scan that hostapd's loss ended leaves no results",
         .script = "hears scan +5 hostapd-goes hostapd-comes rrm-scan +30",
         .told = "stop scan, start active, "
                 "+2 stop scan, read active, start active, "
                 "+4 stop scan, read active, start active, off, reset, on, reset, init, stop all, "
                 "stop scan, start rrm, "
                 "+2 stop scan, read rrm, rrm-response "},
        {.name = "a scan that was reported leaves no results",
         .script = "hears scan-in-5 +15 rrm-scan +5",
         .told = "+5 stop scan, start active, "
                 "+7 stop scan, read active, start active, "
                 "+9 stop scan, read active, start active, "
                 "+11 stop scan, read active, start active, "
                 "+13 stop scan, read active, start active, "
                 "+15 stop scan, read active, rrm-response with neighbours stop scan, start rrm, "
                 "+2 stop scan, read rrm, rrm-response "},
        {.name = "a report that waits survives an update",
         .script = "hears rrm-scan-in-5 +8 rrm-scan-in-5 +30",
         .told = "+5 stop scan, start rrm, "
                 "+7 stop scan, read rrm, "
                 "+4 rrm-response with neighbours "
                 "+5 stop scan, start rrm, "
                 "+7 stop scan, read rrm, "
                 "+12 rrm-response with neighbours "},
        {.name = "a new connection drops the report that waits",
         .script = "rrm-scan-in-5 +7 connect +20",
         .told = "+5 stop scan, start rrm, "
                 "+7 stop scan, read rrm, subscribe-request "},
        {.name = "messages wait for the end of a scan, then go one a pass",
         .script = "k-off rrm-scan use-fbt fbt old +2 pass pass",
         .told = "stop scan, start rrm, "
                 "+2 stop scan, read rrm, rrm-response "
                 "fbt begin, fbt finish, unsubscribe-request unlink "},
        {.name = "a lost link keeps what waits for a scan, but no acceptance",
         .script = "scan accept fbt disconnect pass pass flag",
         .told = "stop scan, start active, stop scan, fbt reset 0, not subscribed "},
        {.name = "a lost link drops an acceptance that waits after the scan's end, too",
         .script = "rrm-scan fbt accept +2 disconnect pass pass flag",
         .told = "stop scan, start rrm, "
                 "+2 stop scan, read rrm, fbt reset 0, rrm-response not subscribed "},
        {.name = "fast transition stays as it was set, and is reset for widsd",
         .script = "k-off use-fbt info fbt leave",
         .told = "fbt begin, fbt finish, stop all, fbt reset 0, off, reset, "},
        {.name = "in sentry mode hostapd may go", .script = "sentry hostapd-goes", .told = ""},
        {.name = "hostapd is waited for, one minute",
         .script = "hostapd-goes look +60 look +1 look",
         .told = "off, reset, inactive "},
        {.name = "hostapd that was never there is not waited for",
         .script = "not-running hostapd-goes",
         .told = "inactive "},
        {.name = "widsd's start ends the waiting for hostapd",
         .script = "hostapd-goes widsd-file notice look",
         .told = "off, reset, init, inactive inactive "},
        {.name = "the pid file alone keeps the old time",
         .script = "hostapd-goes +30 pid-comes +40 hostapd-goes",
         .told = "off, reset, inactive "},
        {.name = "hostapd's notify file starts a new minute",
         .script = "hostapd-goes +50 hostapd-comes hostapd-goes +50 look",
         .told = "off, reset, on, reset, init, stop all, off, reset, "},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        begin();

        EXPECT_EQ(play(row.script), row.told) << row.script;
    }
}

TEST_F(RrmScenes, LogOfASessionAndOfHostapdsLoss) {
    begin();
    fake_log::reset();
    EXPECT_TRUE(worker->start_check());

    play("hostapd-comes connect accept probe rrm-scan fbt +2 rrm-scan not-running +2");
    play("connect hostapd-comes accept hostapd-goes info +61 look leave");
    std::filesystem::remove(flag_files::hostapd_pid);
    EXPECT_FALSE(worker->start_check());
    touch(flag_files::widsd_pid);
    EXPECT_TRUE(worker->start_check());
    play("hostapd-comes");

    const std::regex reads("(debug getconf|error Error: path) .*\n");
    EXPECT_EQ(std::regex_replace(fake_log::take(), reads, ""),
              "debug Connected to hostapd\n"
              "debug process_hostapd_started : initializing\n"
              "debug Subscribe to RRM service\n"
              "debug Ignoring rrm-probe-request because load balancer is not yet supported\n"
              "debug process_rrm_update:\n"
              "debug Pending message for delayed processing\n"
              "debug scan_finished\n"
              "debug From pended\n"
              "debug process_fbt_info skylark_use_80211r = 0\n"
              "debug process_rrm_update:\n"
              "debug scan_finished\n"
              "debug Not sending rrm-response because hostapd is not running\n"
              "debug Waiting for hostapd to start before sending subscribe-request\n"
              "debug process_hostapd_started : initializing\n"
              "debug process_started : subscribing\n"
              "debug Subscribe to RRM service\n"
              "debug Hostapd is not running, waiting for restart\n"
              "debug process_hostapd_stopped : deinitializing\n"
              "debug Ignoring rrm-info because hostapd is not running\n"
              "debug Hostapd has not restarted\n"
              "debug Hostapd has not restarted\n"
              "debug Disconnected from hostapd\n"
              "debug Connected to widsd\n"
              "debug process_hostapd_started : initializing\n"
              "debug process_started : subscribed\n");
}

}  // namespace
}  // namespace rfcd
