#include "aplocald/ft_parameters.h"

#include <json-c/json.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <utility>

#include "aplocald/hostapd_text.h"

namespace aplocal {

namespace {

constexpr std::size_t longest_r0_id = 48;  // IEEE 802.11-2020, 9.4.2.47: R0KH-ID
constexpr int largest_mobility_domain = 0xFFFF;
constexpr int usual_deadline = 1000;
constexpr int largest_deadline = 0xFFFF;

// IEEE 802.11-2020, table 9-151: AKM suites with a counterpart for fast transition.
constexpr std::pair<std::string_view, std::string_view> counterparts[] = {
    {"WPA-PSK", "FT-PSK"}, {"WPA-PSK-SHA256", "FT-PSK"}, {"SAE", "FT-SAE"},
    {"WPA-EAP", "FT-EAP"}, {"WPA-EAP-SHA256", "FT-EAP"},
};

json_object* member(json_object* object, const char* name) {
    json_object* found = nullptr;
    if (json_object_is_type(object, json_type_object))
        json_object_object_get_ex(object, name, &found);
    return found;
}

std::string text_member(json_object* object, const char* name) {
    json_object* const found = member(object, name);
    return found == nullptr ? std::string() : json_object_get_string(found);
}

// A word of hostapd's configuration: what it may not have would end the value or the line.
bool is_word(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isgraph(c); });
}

bool is_r0_id(std::string_view text) { return is_word(text) && text.size() <= longest_r0_id; }

std::string read_remote(json_object* remote, std::vector<key_holder>& remotes) {
    key_holder holder{
        .r0_id = text_member(remote, "r0-kh-id"),
        .r1_id = mac_text(text_member(remote, "r1-kh-id")),
        .r0_key = text_member(remote, "r0-kh-key"),
        .r1_key = text_member(remote, "r1-kh-key"),
    };
    if (holder.r1_id.empty()) return "the r1-kh-id of a remote is not a MAC address";
    if (!is_r0_id(holder.r0_id)) return "the r0-kh-id of " + holder.r1_id + " is not usable";
    if (!is_word(holder.r0_key) || !is_word(holder.r1_key)) {
        return "a key of " + holder.r1_id + " is not usable";
    }

    remotes.push_back(std::move(holder));
    return {};
}

std::string read_remotes(json_object* mac, std::vector<key_holder>& remotes) {
    if (!json_object_is_type(mac, json_type_object)) return {};
    json_object_object_foreach(mac, name, remote) {
        (void)name;
        std::string error = read_remote(remote, remotes);
        if (!error.empty()) return error;
    }
    return {};
}

std::string check(const ft_parameters& p) {
    if (!is_r0_id(p.r0_key_holder)) return "the r0-key-holder-id is not usable";
    if (p.r1_key_holder.empty()) return "the r1-key-holder-id is not a MAC address";
    if (p.mobility_domain < 0 || p.mobility_domain > largest_mobility_domain) {
        return "the mobility-domain is not between 0 and 65535";
    }
    if (p.reassociation_deadline < 0 || p.reassociation_deadline > largest_deadline) {
        return "the reassociation-deadline is not between 0 and 65535";
    }
    return {};
}

std::string joined(const std::vector<std::string_view>& words) {
    std::string text;
    for (const auto word : words) text += (text.empty() ? "" : " ") + std::string(word);
    return text;
}

void add_once(std::vector<std::string_view>& words, std::string_view word) {
    if (std::find(words.begin(), words.end(), word) == words.end()) words.push_back(word);
}

}  // namespace

ft_reading read_ft_parameters(json_object* vap) {
    json_object* const config = member(vap, "ft-config");
    ft_reading reading;
    ft_parameters& p = reading.parameters;
    p.enabled = text_member(config, "enabled") == "true";
    if (!p.enabled) return reading;

    p.over_ds = text_member(config, "ft-over-ds") == "true";
    p.generate_local = text_member(config, "ft-psk-generate-local") == "true";
    p.reassociation_deadline = json_object_get_int(member(config, "reassociation-deadline"));
    p.mobility_domain = json_object_get_int(member(config, "mobility-domain"));
    p.r0_key_holder = text_member(config, "r0-key-holder-id");
    p.r1_key_holder = mac_text(text_member(config, "r1-key-holder-id"));

    reading.error = check(p);
    if (reading.error.empty()) reading.error = read_remotes(member(config, "mac"), p.remotes);
    return reading;
}

std::map<std::string, std::string> ft_settings(const ft_parameters& p) {
    char domain[8];
    std::snprintf(domain, sizeof domain, "%04x", static_cast<unsigned>(p.mobility_domain));
    const int deadline = p.reassociation_deadline == 0 ? usual_deadline : p.reassociation_deadline;

    return {
        {"mobility_domain", domain},
        {"ft_over_ds", p.over_ds ? "1" : "0"},
        {"ft_psk_generate_local", p.generate_local ? "1" : "0"},
        {"reassociation_deadline", std::to_string(deadline)},
        {"nas_identifier", p.r0_key_holder},
        {"r1_key_holder", mac_digits(p.r1_key_holder)},
    };
}

std::map<std::string, std::string> ft_remotes(const ft_parameters& p) {
    std::map<std::string, std::string> keys;
    for (const auto& r : p.remotes) {
        keys["r0kh " + r.r1_id + " " + r.r0_id] = r.r0_key;
        keys["r1kh " + r.r1_id + " " + r.r1_id] = r.r1_key;
    }
    return keys;
}

std::optional<std::string> with_fast_transition(std::string_view key_management) {
    auto words = split(key_management, ' ');
    for (const auto& [plain, ft] : counterparts) {
        const bool there = std::find(words.begin(), words.end(), plain) != words.end();
        if (there) add_once(words, ft);
    }

    if (!has_fast_transition(joined(words))) return std::nullopt;
    return joined(words);
}

std::string without_fast_transition(std::string_view key_management) {
    auto words = split(key_management, ' ');
    for (const auto& [plain, ft] : counterparts) {
        if (std::erase(words, ft) == 0) continue;

        const bool still = std::any_of(words.begin(), words.end(), [ft = ft](const auto word) {
            return std::find(std::begin(counterparts), std::end(counterparts),
                             std::pair(word, ft)) != std::end(counterparts);
        });
        if (!still) words.push_back(plain);
    }

    std::erase_if(words, [](const auto word) { return word.starts_with("FT-"); });
    return joined(words);
}

bool has_fast_transition(std::string_view key_management) {
    const auto words = split(key_management, ' ');
    return std::any_of(words.begin(), words.end(),
                       [](const auto word) { return word.starts_with("FT-"); });
}

}  // namespace aplocal
