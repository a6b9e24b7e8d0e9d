// What a VAP needs for fast transition (IEEE 802.11r), as the network daemon is asked for it, and
// the lines of hostapd's configuration that say it. No input or output.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct json_object;

namespace aplocal {

// Another access point of the mobility domain, with the keys that protect what the two exchange.
struct key_holder {
    std::string r0_id;
    std::string r1_id;  // its MAC address, "02:00:00:00:0a:00"
    std::string r0_key;
    std::string r1_key;
};

struct ft_parameters {
    bool enabled = false;
    bool over_ds = false;
    bool generate_local = false;
    int reassociation_deadline = 0;  // time units of 1.024 ms; 0: the usual 1000
    int mobility_domain = 0;         // 0 to 65535
    std::string r0_key_holder;
    std::string r1_key_holder;  // a MAC address
    std::vector<key_holder> remotes = {};
};

struct ft_reading {
    ft_parameters parameters;
    std::string error;  // what is wrong, in words; empty when all is well
};
// Reads the object that a request has under a VAP's name: {"ft-config":{"enabled":"true", ...}}.
// Numbers may be texts.
ft_reading read_ft_parameters(json_object* vap);

// Settings of hostapd's configuration, by name. hostapd takes them into use with a RELOAD.
std::map<std::string, std::string> ft_settings(const ft_parameters& parameters);
// The keys of the other access points, by "r0kh MAC ID" and "r1kh MAC ID". hostapd takes them into
// use at once.
std::map<std::string, std::string> ft_remotes(const ft_parameters& parameters);

// The value of hostapd's wpa_key_mgmt with fast transition beside every kind of key management that
// has it; null when none has it.
std::optional<std::string> with_fast_transition(std::string_view key_management);
// The same without fast transition. A kind that was only there with it stays, without it.
std::string without_fast_transition(std::string_view key_management);
bool has_fast_transition(std::string_view key_management);

}  // namespace aplocal
