#include <csignal>
#include <filesystem>

#include "lab/checklist.h"
#include "lab/rf_picture.h"
#include "lab/rrm_report.h"
#include "lab/scenarios.h"
#include "lab/service_world.h"

namespace lab {

namespace {

constexpr const char* neighbour_mac = "02:00:00:00:05:15";
constexpr const char* old_neighbour_mac = "02:00:00:00:0f:0f";
constexpr const char* neighbour_in_hostapd =
    "02:00:00:00:05:15 ssid=6f6666696365 nr=020000000515671800007324090603002400\n";

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// What the steps of the scenario share.
struct session {
    explicit session(transcript& t) : story(t), list(t), world(t, service_world::service::rrm) {}

    void tell(const std::vector<std::string>& lines) {
        for (const auto& line : lines) story.add("", "", line);
    }

    void show_environment(const std::string& report) {
        tell(describe_environment(report));
        const std::string file = write_picture(report);
        if (!file.empty()) story.add("picture", "", file);
    }

    transcript& story;
    checklist list;
    service_world world;
};

void show_subscription(session& s) {
    s.story.chapter("the access point starts, the daemon subscribes");
    s.world.point.start_hostapd();
    s.world.start_daemon();

    const std::string request = s.world.expect("subscribe-request");
    s.tell(describe_radios(request));
    s.list.check("the request names the domain and the board",
                 contains(request, R"("domain":"building-7","ap-mac-count":48)") &&
                     contains(request, R"("mac":"00:11:22:33:44:50")"));
    s.list.check(
        "it describes three radios that are up, and their six VAPs",
        contains(radio_in(request, 2), R"("status":1)") && describe_radios(request).size() == 9);

    s.world.cloud.send(message::subscribed(R"({"use-80211r":0})"));
    s.list.check("\"success\" sets the flag file for other processes",
                 wait_until(is_connected_flag_set));
}

void show_active_scan(session& s) {
    s.story.chapter("five active sweeps on three bands, and a message that waits for their end");
    s.world.cloud.send(message::update(true));
    s.list.check(
        "the system log tells of the scan",
        s.world.point.syslog.lines()
            .take_matching([](const auto& l) { return contains(l, "Started scan by skylark"); })
            .has_value());

    for (const char* vap : {"wlan0", "wlan1"})
        s.world.point.plant_neighbour(vap, old_neighbour_mac);
    s.world.cloud.send(message::neighbour(neighbour_mac, 36, 5));
    const std::string report = s.world.expect("rrm-response", 30s);
    s.show_environment(report);
    s.list.check("the report has what 13 access points sent, in five sweeps",
                 describe_environment(report).size() == 14 &&
                     contains(describe_environment(report).front(), "rssi 5"));
    s.list.check(
        "the message that came during the scan is acted on after it",
        wait_until([&] { return s.world.point.neighbours("wlan1") == neighbour_in_hostapd; }) &&
            s.world.agent->count_log("From pended") == 1);
}

void show_neighbours(session& s) {
    s.story.chapter("802.11k neighbours in hostapd");
    s.story.add("hostapd", "", "wlan1: " + s.world.point.neighbours("wlan1"));
    s.list.check("all lists were cleared before the neighbour was set",
                 s.world.point.neighbours("wlan0").empty() &&
                     s.world.point.neighbours("wlan1") == neighbour_in_hostapd);
    s.list.check("only the VAP with its SSID on its band has it",
                 s.world.point.neighbours("wlan2").empty() &&
                     s.world.point.neighbours("wlan1-vap1").empty());
}

void show_rrm_scan(session& s) {
    s.story.chapter("one RRM scan");
    s.world.cloud.send(message::update(false));
    const std::string report = s.world.expect("rrm-response", 30s);
    s.show_environment(report);
    s.list.check("the report has one sweep, with the neighbours' power",
                 !contains(describe_environment(report).front(), "rssi 2") &&
                     contains(report, R"("tx-power":11)"));
}

void show_radio_change(session& s) {
    s.story.chapter("the service moves a radio and sets its power");
    const std::string answer = s.world.send_and_settle(message::move_radio(1, 44, 80, "ul", 14));
    s.tell(describe_radios(answer));

    const std::string radio = radio_in(answer, 1);
    s.list.check(
        "networkd was asked, power first",
        contains(s.world.point.network.requests().take().value_or(""), "\"tx-power\":\"14\"") &&
            contains(s.world.point.network.requests().take().value_or(""),
                     "\"channel\":\"44\",\"bandwidth\":\"80\""));
    s.list.check("the next description shows channel, place in the block and power",
                 contains(radio, R"("power":14)") && contains(radio, R"("channel":44)") &&
                     contains(radio, R"("primary-channel":"ul")"));
    s.list.check("the system log tells of the switch",
                 s.world.point.syslog.lines()
                     .take_matching([](const auto& l) {
                         return contains(l, "Skylark requested switch channel to 44 on wlan1");
                     })
                     .has_value());
}

void show_fast_transition(session& s) {
    s.story.chapter("fast transition (802.11r)");
    s.world.point.network.requests().clear();
    s.world.cloud.send(message::use_80211r(true));
    s.world.cloud.send(message::fast_transition(1, 0, 2));

    const std::string request = s.world.point.network.requests().take().value_or("");
    s.list.check("networkd gets the key holders of the VAP",
                 contains(request, R"("command":"update-skylark-fbt","wlan1-vap0":{)") &&
                     contains(request, R"("r1-1":{"name":"r1-1","index":"1","r0-kh-id":"r0-1")"));
}

void show_hostapd_restart(session& s) {
    s.story.chapter("hostapd stops and comes back");
    s.world.point.stop_hostapd();
    s.list.check("the daemon notices", s.world.agent->wait_log("waiting for restart"));

    s.world.cloud.send(message::request_mode());
    s.list.check(
        "requests are ignored meanwhile",
        s.world.agent->wait_log("Ignoring rrm-request-mode because hostapd is not running"));

    s.world.point.start_hostapd();
    const std::string changed = s.world.expect("rrm-config-changed");
    s.list.check("the radios are read anew and described to the service",
                 contains(radio_in(changed, 1), R"("status":1)"));
}

void show_notify_file(session& s) {
    s.story.chapter("the configuration changes");
    s.world.point.store.set("/skylark/dca", "false");
    access_point::notify("config_updated");
    const std::string changed = s.world.expect("rrm-config-changed");
    s.list.check("the service is told, and that it may not move radios any more",
                 contains(radio_in(changed, 0), R"("locked-for-dca":1)"));

    // The daemon may take one of the two files while the other is still being written.
    s.list.check("the notify files are consumed", wait_until([] {
                     return !std::filesystem::exists("/tmp/.skylark_notify") &&
                            !std::filesystem::exists("/tmp/.skylark_notify_config_updated");
                 }));
}

void show_link_loss(session& s) {
    s.story.chapter("the link is lost and regained");
    s.world.cloud.reset_all();
    s.list.check("the flag file goes with the link",
                 wait_until([] { return !is_connected_flag_set(); }));

    s.world.expect("subscribe-request");
    s.world.cloud.send(message::try_later());
    s.list.check("503 puts the next request off for 60 seconds",
                 s.world.agent->wait_log("Reconnect after 60 sec"));
    s.world.cloud.send(message::subscribed());
    s.list.check("a later \"success\" subscribes all the same", wait_until(is_connected_flag_set));
}

void show_unsubscribe(session& s) {
    s.story.chapter("a service of version 2.3");
    s.world.cloud.send(message::rrm("rrm-info", "", "2.3"));
    s.list.check("the daemon unsubscribes", contains(s.world.expect("unsubscribe-request"),
                                                     R"("domain":"building-7","factory")"));
    s.list.check("the link goes down, the flag file with it",
                 s.world.cloud.wait_disconnected() && !is_connected_flag_set());
    const auto connections = s.world.cloud.connections_so_far();
    s.list.check("and stays down", !s.world.cloud.wait_connections(connections + 1, 2500ms));
}

void show_end(session& s) {
    s.story.chapter("the end");
    const auto ending = s.world.agent->stop();
    s.list.check("the daemon ends within two seconds, with status 0",
                 ending.status == 0 && ending.time < 2s);
    s.world.point.stop_hostapd();
}

}  // namespace

int play_rrm(transcript& story) {
    session s(story);
    for (const auto step : {show_subscription, show_active_scan, show_neighbours, show_rrm_scan,
                            show_radio_change, show_fast_transition, show_hostapd_restart,
                            show_notify_file, show_link_loss, show_unsubscribe, show_end}) {
        step(s);
    }
    return s.list.summary("rrm");
}

}  // namespace lab
