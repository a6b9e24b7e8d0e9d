#include "aplocald/hostapd_view.h"

#include <algorithm>
#include <charconv>

#include "aplocald/hostapd_text.h"
#include "base/monotonic_clock.h"

namespace aplocal {

namespace {

constexpr std::int64_t answers_count_ms = 1000;
constexpr std::int64_t silence_counts_ms = 10'000;

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool offers(std::string_view key_management, std::string_view kind) {
    const auto kinds = split(key_management, ' ');
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

}  // namespace

const std::set<std::string, std::less<>>& hostapd_view::interfaces() {
    look();
    return interfaces_;
}

std::optional<vap_facts> hostapd_view::vap(const std::string& ifname) {
    if (!has(ifname)) return std::nullopt;

    auto& known = vaps_.try_emplace(ifname, known_vap{0, std::nullopt}).first->second;
    if (known.look != look_ && !silent_) {
        auto facts = read_vap(ifname);
        if (!silent_) known = {look_, std::move(facts)};
    }
    return known.facts;
}

void hostapd_view::look() {
    if (rfcd::monotonic_milliseconds() < next_look_ms_) return;

    const auto list = ask("INTERFACES");
    if (silent_) return;

    next_look_ms_ = rfcd::monotonic_milliseconds() + answers_count_ms;
    ++look_;
    interfaces_.clear();
    const auto names = split(list ? *list : std::string_view(), '\n');
    interfaces_.insert(names.begin(), names.end());
}

// Null when there is no answer, or when it is a failure.
std::optional<std::string> hostapd_view::ask(const std::string& command) {
    const auto reply = request_(command);
    silent_ = reply.what == hostapd_control::reply::kind::silent;
    if (silent_) next_look_ms_ = rfcd::monotonic_milliseconds() + silence_counts_ms;

    const bool answered = reply.what == hostapd_control::reply::kind::answer &&
                          !reply.text.starts_with("FAIL") &&
                          !reply.text.starts_with("UNKNOWN COMMAND");
    return answered ? std::optional(reply.text) : std::nullopt;
}

std::optional<vap_facts> hostapd_view::read_vap(const std::string& ifname) {
    const auto config = ask("IFNAME=" + ifname + " GET_CONFIG");
    if (!config) return std::nullopt;

    vap_facts facts;
    facts.ssid = unescape(value_of(*config, "ssid"));
    facts.security_mode = read_security_mode(*config);
    facts.fast_transition = contains(value_of(*config, "key_mgmt"), "FT-");
    // hostapd shows the list only where 802.11k neighbour reports are on, and fails elsewhere.
    facts.neighbour_reports = ask("IFNAME=" + ifname + " SHOW_NEIGHBOR").has_value();
    return facts;
}

std::string read_security_mode(std::string_view get_config) {
    const auto key_mgmt = value_of(get_config, "key_mgmt");
    const auto wpa = value_of(get_config, "wpa");  // bit 0: the first WPA, bit 1: RSN
    if (key_mgmt.empty()) return "OPEN";
    if (offers(key_mgmt, "OWE")) return "OWE";

    const bool enterprise = contains(key_mgmt, "EAP");
    const bool new_only = enterprise ? !offers(key_mgmt, "WPA-EAP") && !offers(key_mgmt, "FT-EAP")
                                     : !contains(key_mgmt, "PSK");
    const bool new_too =
        contains(key_mgmt, enterprise ? "SUITE-B" : "SAE") || contains(key_mgmt, "EAP-SHA256");
    const char* const suffix = enterprise ? "_1X" : new_only ? "-SAE" : "-PSK";

    const char* generation = "WPA2";
    if (wpa == "1") generation = "WPA";
    if (wpa == "3") generation = "WPA_WPA2";
    if (wpa == "2" && new_too) generation = new_only ? "WPA3" : "WPA2_WPA3";
    return std::string(generation) + suffix;
}

std::string unescape(std::string_view text) {
    std::string bytes;
    while (!text.empty()) {
        const char first = text.front();
        text.remove_prefix(1);
        if (first != '\\' || text.empty()) {
            bytes += first;
            continue;
        }

        const char code = text.front();
        text.remove_prefix(1);
        switch (code) {
            case 'e': bytes += '\033'; break;
            case 'n': bytes += '\n'; break;
            case 'r': bytes += '\r'; break;
            case 't': bytes += '\t'; break;
            case 'x': {
                unsigned char byte = 0;
                const auto digits = text.substr(0, 2);
                std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
                bytes += static_cast<char>(byte);
                text.remove_prefix(digits.size());
                break;
            }
            default: bytes += code;
        }
    }
    return bytes;
}

}  // namespace aplocal
