#include "lab/service_world.h"

#include <filesystem>
#include <stdexcept>

#include "lab/json.h"

namespace lab {

namespace {

bool has_cmd(const std::string& text, const std::string& cmd) {
    return text_of(parse_json(text), "cmd") == cmd;
}

}  // namespace

service_world::service_world(transcript& story, service which)
    : broker(story), point(story), cloud(story), story_(story), service_(which) {}

daemon& service_world::start_daemon(const daemon::settings& more,
                                    const std::vector<std::string>& prefix) {
    const bool rrm = service_ == service::rrm;
    daemon::settings lines{
        {"log_level", "15"},
        {"ap_location", rrm_domain},
        {"mac-list-id", mac_list},
        {"initial_connection_delay", "1"},
        {"max_connection_delay", "1"},
        {rrm ? "skylark_service_url" : "mac-list-service-url",
         loopback_url(cloud.port(), rrm ? "/skylark" : "/mac-lists")},
    };
    lines.insert(lines.end(), more.begin(), more.end());

    agent = std::make_unique<daemon>(story_, lines, prefix);
    return *agent;
}

void service_world::subscribe(const std::vector<std::string>& prefix) {
    point.start_hostapd();
    start_daemon({}, prefix);
    expect("subscribe-request");
    cloud.send(message::subscribed());
    if (!wait_until(is_connected_flag_set)) {
        throw std::runtime_error("the daemon did not subscribe");
    }
    cloud.received().clear();
}

std::string expect_message(cloud_service& cloud, const std::string& cmd, milliseconds timeout) {
    auto text = cloud.received().take_matching(
        [&](const std::string& message) { return has_cmd(message, cmd); }, timeout);
    if (!text) throw std::runtime_error("the service did not receive \"" + cmd + "\"");
    return *std::move(text);
}

std::string service_world::expect(const std::string& cmd, milliseconds timeout) {
    return expect_message(cloud, cmd, timeout);
}

bool service_world::stays_away(const std::string& cmd, milliseconds time) {
    return !cloud.received().take_matching(
        [&](const std::string& message) { return has_cmd(message, cmd); }, time);
}

std::string service_world::send_and_settle(const std::string& text) {
    cloud.send(text);
    cloud.send(message::request_mode());
    return expect("rrm-mode-response");
}

namespace message {

std::string rrm(const std::string& cmd, const std::string& rest, const std::string& version) {
    return R"({"version":")" + version + R"(","service":"rrm","cmd":")" + cmd + "\"" +
           (rest.empty() ? "" : "," + rest) + "}";
}

std::string subscribed(const std::string& config) {
    return rrm("subscribe-response",
               R"("status":"success")" + (config.empty() ? "" : R"(,"config":)" + config));
}

std::string try_later() { return rrm("subscribe-response", R"("status":"error","code":503)"); }

std::string update(bool active, int delay, const channel_lists& channels) {
    return rrm("rrm-update",
               R"("rrm-scan-delay":)" + std::to_string(delay) + R"(,"norda-rrm-scanning":)" +
                   (active ? "0" : "1") + R"(,"rrm-scan-channels-list":[{"2":")" + channels.band_2 +
                   R"(","5":")" + channels.band_5 + R"("},{"6":")" + channels.band_6 + R"("}])");
}

std::string request_mode() { return rrm("rrm-request-mode"); }

std::string move_radio(int radio, int channel, int bandwidth, const std::string& primary,
                       int power) {
    return rrm("rrm-info", R"("use-tpc":1,"use-dca":1,"radios":[{"id":)" + std::to_string(radio) +
                               R"(,"channel":)" + std::to_string(channel) + R"(,"bandwidth":)" +
                               std::to_string(bandwidth) + R"(,"primary-channel":")" + primary +
                               R"(","power":)" + std::to_string(power) + "}]");
}

std::string neighbour(const std::string& mac, int channel, int band) {
    return rrm("rrm-info", R"("802dot11k":[{"neighbour-mac":")" + mac + R"(","channel":)" +
                               std::to_string(channel) + R"(,"band":)" + std::to_string(band) +
                               R"(,"vaps":[{"ssid":"office","mac":")" + mac + R"("}]}])");
}

std::string use_80211r(bool on) {
    return rrm("rrm-info", std::string(R"("use-80211r":)") + (on ? "1" : "0"));
}

std::string fast_transition(int radio, int vap, int remotes) {
    std::string list;
    for (int i = 0; i < remotes; ++i) {
        const std::string number = std::to_string(i);
        list += (i == 0 ? "" : ",") + std::string(R"({"remote-r0-kh-id":"r0-)") + number +
                R"(","remote-r1-kh-id":"r1-)" + number + R"(","remote-r1-kh-key":"key-)" + number +
                "\"}";
    }
    return rrm("fbt-info", R"("fbt-reassoc-deadline":1000,"fbt-over-ds":1,"vaps":[{"vap_id":)" +
                               std::to_string(vap) + R"(,"radio_id":)" + std::to_string(radio) +
                               R"(,"mobility-domain":4660,"r0-key-holder-id":"r0-here",)" +
                               R"("r1-key-holder-id":"r1-here","fbt-rrb-key":"shared",)" +
                               R"("remotes":[)" + list + "]}]");
}

}  // namespace message

bool is_connected_flag_set() { return std::filesystem::exists("/tmp/.skylark-connected"); }

}  // namespace lab
