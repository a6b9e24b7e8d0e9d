// What a station gets of the service's settings, over the air.
#include <set>
#include <sstream>

#include "lab/air/control.h"
#include "lab/air/steps.h"
#include "lab/service_world.h"

namespace lab::air {

namespace {

constexpr const char* hall_mac = "02:00:00:00:04:00";  // its 5 GHz radio
// Keys between the access points, as lab/data/air/hall-wlan4.conf has them: for what the hall asks
// of the office, and for what the office asks of the hall.
constexpr const char* hall_asks_key =
    "000102030405060708090a0b0c0d0e0f000102030405060708090a0b0c0d0e0f";
constexpr const char* office_asks_key =
    "101112131415161718191a1b1c1d1e1f101112131415161718191a1b1c1d1e1f";
constexpr const char* wrong_key =
    "202122232425262728292a2b2c2d2e2f202122232425262728292a2b2c2d2e2f";

std::string neighbours_message(const std::string& list) {
    return message::rrm("rrm-info", R"("802dot11k":[)" + list + "]");
}

std::string neighbour_at_5_ghz(const std::string& mac, int channel) {
    return R"({"neighbour-mac":")" + mac + R"(","channel":)" + std::to_string(channel) +
           R"(,"band":5,"vaps":[{"ssid":"office","mac":")" + mac + R"("}]})";
}

// What a station hears of an access point that the service named.
std::string report_of(const std::string& mac, int channel) {
    return "bssid=" + mac + " info=0x1867 op_class=115 chan=" + std::to_string(channel) +
           " phy_type=9";
}

// The neighbours in a report that the laptop asks for. The access point itself is left out.
std::set<std::string> ask_for_neighbours(session& s) {
    constexpr std::string_view event = "RRM-NEIGHBOR-REP-RECEIVED ";
    const auto before = s.world.laptop.log_size();
    s.world.laptop.ask("NEIGHBOR_REP_REQUEST ssid=\"office\"");
    s.world.laptop.wait_log("RRM-NEIGHBOR-REP", before, 5s);
    s.world.laptop.wait_log("no further line", before, 500ms);

    std::set<std::string> reports;
    std::istringstream lines(s.world.laptop.log_since(before));
    for (std::string line; std::getline(lines, line);) {
        const auto at = line.find(event);
        if (at == std::string::npos || line.find(vap_mac(1, 0)) != std::string::npos) continue;
        reports.insert(line.substr(at + event.size()));
        s.story.add("laptop", "<-", line.substr(at));
    }
    return reports;
}

struct key_pair {
    std::string office_asks;
    std::string hall_asks;
};

std::string fast_transition_message(const key_pair& keys) {
    return message::rrm(
        "fbt-info",
        R"("fbt-reassoc-deadline":1000,"fbt-over-ds":1,"vaps":[{"vap_id":0,"radio_id":1,)"
        R"("mobility-domain":4660,"r0-key-holder-id":"office-5","r1-key-holder-id":"02:11:22:33:44:60",)"
        R"("fbt-rrb-key":")" +
            keys.office_asks +
            R"(","remotes":[{"remote-r0-kh-id":"hall","remote-r1-kh-id":"02:00:00:00:04:00",)"
            R"("remote-r1-kh-key":")" +
            keys.hall_asks + R"("}]}])");
}

enum class roaming { failed, by_handshake, fast };

// Connects to the office and roams to the hall. A fast transition has no 4-way handshake, so the
// hall's hostapd tells of none.
roaming roam_to_hall(session& s, station::way over = station::way::air) {
    if (!s.world.laptop.connect(vap_mac(1, 0))) return roaming::failed;
    const auto before = s.world.hall.log().size();
    if (!s.world.laptop.roam(hall_mac, over)) return roaming::failed;

    // The station is ready before hostapd has written that the handshake is over.
    await([&] { return s.world.hall.log().find("AP-STA-CONNECTED", before) != std::string::npos; });
    std::this_thread::sleep_for(500ms);
    const std::string log = s.world.hall.log().substr(before);
    const bool handshake = log.find("EAPOL-4WAY-HS-COMPLETED") != std::string::npos;
    const std::string key_management = s.world.laptop.status("key_mgmt");
    s.story.add("hall", "",
                (handshake ? "a 4-way handshake, " : "no 4-way handshake, ") + key_management);
    if (!handshake && key_management.starts_with("FT-")) return roaming::fast;
    return handshake ? roaming::by_handshake : roaming::failed;
}

// The same with the hall, by SAE instead of the pre-shared key.
roaming roam_to_hall_by_sae(session& s) {
    s.world.laptop.ask("SET_NETWORK 0 key_mgmt SAE FT-SAE");
    const auto how = roam_to_hall(s);
    const bool by_sae = s.world.laptop.status("key_mgmt") == "FT-SAE";
    s.world.laptop.ask("SET_NETWORK 0 key_mgmt WPA-PSK FT-PSK");
    return by_sae ? how : roaming::failed;
}

void settle(session& s, const std::string& text) {
    s.world.cloud.send(text);
    s.world.cloud.send(message::request_mode());
    s.world.expect("rrm-mode-response", 40s);
}

}  // namespace

void show_neighbours(session& s) {
    s.story.chapter("802.11k: the laptop asks for neighbours");
    settle(s, neighbours_message(neighbour_at_5_ghz(hall_mac, 44) + "," +
                                 neighbour_at_5_ghz("02:00:00:00:05:15", 149)));
    s.list.check("it receives exactly the two that the service named",
                 ask_for_neighbours(s) ==
                     std::set{report_of(hall_mac, 44), report_of("02:00:00:00:05:15", 149)});

    settle(s, neighbours_message(neighbour_at_5_ghz("02:00:00:00:05:16", 40)));
    s.list.check("after the next message the old ones are gone",
                 ask_for_neighbours(s) == std::set{report_of("02:00:00:00:05:16", 40)});
}

void show_fast_transition(session& s) {
    s.story.chapter("802.11r: the laptop roams to the hall");
    s.list.check("without the service's keys it does so by a new handshake",
                 roam_to_hall(s) == roaming::by_handshake);

    // In this order: the hall keeps the first keys of a station that has roamed to it once.
    settle(s, message::use_80211r(true));
    settle(s, fast_transition_message({.office_asks = wrong_key, .hall_asks = wrong_key}));
    s.list.check("with keys that the hall does not have it cannot do otherwise",
                 roam_to_hall(s) != roaming::fast);

    settle(s,
           fast_transition_message({.office_asks = office_asks_key, .hall_asks = hall_asks_key}));
    s.list.check("with those of the message it does so by fast transition",
                 roam_to_hall(s) == roaming::fast);

    s.list.check("and so it does when it asks the hall through the office and the cable",
                 roam_to_hall(s, station::way::distribution_system) == roaming::fast);
    s.list.check("and with SAE", roam_to_hall_by_sae(s) == roaming::fast);

    settle(s, message::use_80211r(false));
    settle(s,
           fast_transition_message({.office_asks = office_asks_key, .hall_asks = hall_asks_key}));
    s.list.check("after the reset it does not any more", roam_to_hall(s) == roaming::by_handshake);
    s.world.laptop.connect(vap_mac(1, 0));
}

}  // namespace lab::air
