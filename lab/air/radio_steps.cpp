// What the daemon tells of its radios, and what they hear.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "lab/air/beacons.h"
#include "lab/air/control.h"
#include "lab/air/reports.h"
#include "lab/air/steps.h"
#include "lab/rrm_report.h"
#include "lab/service_world.h"

namespace lab::air {

namespace {

constexpr int radios = 3;
constexpr int vaps = 2;

// An access point in the hall.
struct neighbour {
    const char* bssid;
    const char* radio;  // of ours, in its band
    const char* frequency;
    channel_view channel;
    int channel_of_rrm;  // in the report of an RRM scan
    // Whether it hides its name: it answers no probe, and its beacon may fall between the 30 ms
    // that an active scan stays on a channel.
    bool hidden = false;
};
const neighbour neighbours[] = {
    {.bssid = "02:00:00:00:03:00",
     .radio = "wlan0",
     .frequency = "2462",
     .channel = {.channel = 11, .width = 20, .place = "none"},
     .channel_of_rrm = 11},
    {.bssid = "02:00:00:00:04:00",
     .radio = "wlan1",
     .frequency = "5220",
     .channel = {.channel = 44, .width = 40, .place = "lower"},
     .channel_of_rrm = 44},
    {.bssid = "02:00:00:00:04:01",
     .radio = "wlan1",
     .frequency = "5220",
     .channel = {.channel = 44, .width = 40, .place = "lower"},
     .channel_of_rrm = 44,
     .hidden = true},
    // The record of an RRM scan has the centre of a wide channel, and room for the place of the
    // primary one up to 80 MHz only.
    {.bssid = "02:00:00:00:05:00",
     .radio = "wlan2",
     .frequency = "6135",
     .channel = {.channel = 37, .width = 160, .place = "none"},
     .channel_of_rrm = 47},
};

// The radio as iw sees it.
radio_view seen_radio(int radio) {
    const std::string name = "wlan" + std::to_string(radio);
    radio_view view{.up = true, .channel = {}, .power = 0, .vaps = {}};
    for (int vap = 0; vap < vaps; ++vap) {
        const auto seen = air_world::look_at(vap == 0 ? name : name + "-vap1");
        view.channel = seen.channel;
        view.power = static_cast<int>(std::lround(seen.power));
        view.vaps.push_back(seen.mac + " " + seen.ssid);
    }
    return view;
}

void check_radio(session& s, const std::string& message, int radio) {
    const auto seen = seen_radio(radio);
    const auto described = described_radio(message, radio);
    if (described != seen) s.story.add("iw", "", description(seen));
    s.list.check(
        "radio " + std::to_string(radio) + " is described as iw has it: " + description(described),
        described == seen);
}

// The signals of all neighbours as iw hears them, on the radios that the daemon scans with.
std::map<std::string, double> signals_by_iw(session& s) {
    std::map<std::string, double> signals;
    for (const auto& n : neighbours) {
        const auto heard = air_world::hear(n.radio, {n.frequency}, air_world::scan::passive);
        const auto found = heard.find(n.bssid);
        if (found == heard.end()) continue;

        signals[n.bssid] = found->second.signal;
        s.story.add("iw", "",
                    n.bssid + std::string(": ") +
                        std::to_string(std::lround(found->second.signal)) + " dBm");
    }
    return signals;
}

bool within_3_db(const std::vector<int>& signals, double truth) {
    return !signals.empty() && std::all_of(signals.begin(), signals.end(), [&](int signal) {
        return std::abs(signal - truth) <= 3;
    });
}

enum class kind { active, rrm };

void check_air(session& s, const std::string& report, kind of) {
    auto reported = reported_air(report);
    const auto signals = signals_by_iw(s);

    for (const auto& n : neighbours) {
        const auto found = reported.find(n.bssid);
        const bool there = found != reported.end();
        if (!there && n.hidden && of == kind::active) continue;

        auto channel = n.channel;
        if (of == kind::rrm) channel.channel = n.channel_of_rrm;
        s.list.check(n.bssid + std::string(" is on channel ") + description(channel),
                     there && found->second.channel == channel);
        s.list.check(n.bssid + std::string(" has the signal that iw hears, within 3 dB"),
                     there && signals.contains(n.bssid) &&
                         within_3_db(found->second.signals, signals.at(n.bssid)));
        if (there) reported.erase(found);
    }
    s.list.check("nothing else is reported", reported.empty());
}

void tell(session& s, const std::vector<std::string>& lines) {
    for (const auto& line : lines) s.story.add("", "", line);
}

std::string lost(const ping_count& count) {
    return std::to_string(count.sent) + " sent, " + std::to_string(count.lost) + " lost";
}

std::string milliseconds_of(const std::vector<int>& times) {
    std::string text;
    for (const int time : times) text += std::to_string(time) + " ";
    return text + "ms";
}

// The same channels and the same radio, as iw scans them.
void show_scans_of_iw(session& s) {
    constexpr int sweeps = 5;
    ping laptop(air_world::address);
    scan_clock clock;
    for (int i = 0; i < sweeps; ++i) {
        air_world::hear("wlan1", {"5180", "5220"}, air_world::scan::active);
    }
    s.story.add("kernel", "", "wlan1 scanned for iw for " + milliseconds_of(clock.stop("wlan1")));
    s.story.add("ping", "", "during the scans of iw: " + lost(laptop.stop()));
}

// A scan that the service asks for, while the laptop pings the access point.
std::string scan(session& s, const std::string& request) {
    ping laptop(air_world::address);
    s.world.cloud.send(request);
    std::string report = s.world.expect("rrm-response", 40s);
    const auto count = laptop.stop();

    constexpr std::size_t room = 10;
    auto lines = describe_environment(report);
    const std::size_t more = lines.size() - std::min(lines.size(), room);
    lines.resize(lines.size() - more);
    if (more > 0) lines.push_back("and " + std::to_string(more) + " more");
    tell(s, lines);

    s.story.add("ping", "", "during the scan: " + lost(count));
    s.list.check(
        "the laptop stays connected during the scan",
        count.sent > 0 && count.lost < count.sent && s.world.laptop.is_connected_to(vap_mac(1, 0)));
    return report;
}

}  // namespace

void show_subscription(session& s) {
    s.story.chapter("the daemon describes its radios");
    s.world.start_daemon();
    const std::string request = s.world.expect("subscribe-request");
    tell(s, describe_radios(request));
    for (int radio = 0; radio < radios; ++radio) check_radio(s, request, radio);

    s.world.cloud.send(message::subscribed(R"({"use-80211r":0})"));
    s.list.check("\"success\" sets the flag file", await(is_connected_flag_set));
}

void show_active_scan(session& s) {
    s.story.chapter("five active sweeps on three bands");
    scan_clock clock;
    const std::string report =
        scan(s, message::update(true, 0, {.band_2 = "6 11", .band_5 = "36 44", .band_6 = "5 37"}));
    s.story.add("kernel", "", "wlan1 scanned for " + milliseconds_of(clock.stop("wlan1")));

    show_scans_of_iw(s);
    check_air(s, report, kind::active);
}

void show_rrm_scan(session& s) {
    s.story.chapter("one RRM scan, which only listens");
    const std::string report =
        scan(s, message::update(false, 0, {.band_2 = "11", .band_5 = "44", .band_6 = "37"}));
    check_air(s, report, kind::rrm);
}

void show_radio_change(session& s) {
    s.story.chapter("the service moves a radio and sets its power");
    const auto before = s.world.laptop.log_size();
    ping laptop(air_world::address);
    s.world.cloud.send(message::move_radio(1, 48, 80, "uu", 14));
    const bool moved = await(
        [] {
            return air_world::look_at("wlan1").channel == channel_view{48, 80, "uu"};
        },
        20s);
    s.list.check("iw sees the radio on channel 48 of the same block", moved);
    s.list.check("and with 14 dBm",
                 await([] { return std::lround(air_world::look_at("wlan1").power) == 14; }));

    s.world.cloud.send(message::request_mode());
    check_radio(s, s.world.expect("rrm-mode-response", 30s), 1);
    s.story.add("ping", "", "during the switch: " + lost(laptop.stop()));
    s.list.check(
        "the laptop follows without a new connection",
        s.world.laptop.status("freq") == "5240" &&
            s.world.laptop.log_since(before).find("CTRL-EVENT-DISCONNECTED") == std::string::npos &&
            s.world.laptop.log_since(before).find("CTRL-EVENT-CONNECTED") == std::string::npos);
}

void show_change_at_6_ghz(session& s) {
    s.story.chapter("the service moves the radio for 6 GHz");
    s.world.cloud.send(message::move_radio(2, 37, 80, "lu", 10));
    const bool moved = await(
        [] {
            return air_world::look_at("wlan2").channel == channel_view{37, 80, "lu"};
        },
        20s);
    s.list.check("iw sees it on channel 37 of another block", moved);

    s.world.cloud.send(message::request_mode());
    check_radio(s, s.world.expect("rrm-mode-response", 30s), 2);
}

void show_hostile_air(session& s) {
    s.story.chapter("a hundred access points, and some that are hostile");
    constexpr std::uint8_t channel = 40;
    constexpr int frequency = 5200;
    constexpr int ordinary = 100;
    auto sent = crowd(ordinary, channel);
    for (auto& b : hostile_beacons(channel)) sent.push_back(std::move(b));
    const beacon_sender sender("wlan7", frequency, sent);

    const std::string report =
        scan(s, message::update(true, 0, {.band_2 = "1", .band_5 = "40", .band_6 = "1"}));
    const auto reported = reported_air(report);
    const auto heard =
        air_world::hear("wlan1", {std::to_string(frequency)}, air_world::scan::active);
    s.story.add("iw", "", "hears " + std::to_string(heard.size()) + " access points");
    int found = 0;
    for (int i = 0; i < ordinary; ++i) {
        const auto one = reported.find(bssid_of(sent[static_cast<std::size_t>(i)]));
        if (one != reported.end() && one->second.channel == channel_view{channel, 20, "none"}) {
            ++found;
        }
    }
    s.list.check("all hundred are reported, on channel 40, 20 MHz wide", found == ordinary);

    bool known = true;
    for (const auto& [bssid, view] : reported) known = known && heard.contains(bssid);
    s.list.check("everything that is reported is heard by iw too", known && !reported.empty());
    s.list.check("the daemon goes on", s.world.agent->process().running());
}

}  // namespace lab::air
