#include "aplocald/fast_transition.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <utility>

#include "aplocald/hostapd_text.h"

namespace aplocal {

namespace {

using reply_kind = hostapd_control::reply::kind;

// VAP 0 of a radio has the radio's interface.
std::string interface_of(const std::string& vap) {
    const bool first = vap.ends_with("-vap0");
    return first ? vap.substr(0, vap.size() - 5) : vap;
}

// Empty when hostapd says OK. `name` stands for the command, which may have a key in it.
std::string order(hostapd_control& control, const std::string& command, const std::string& name) {
    const auto reply = control.request(command);
    switch (reply.what) {
        case reply_kind::silent: return "hostapd does not reply to " + name;
        case reply_kind::gone: return "hostapd has gone";
        case reply_kind::answer: break;
    }
    return reply.text == "OK" ? "" : "hostapd replied \"" + reply.text + "\" to " + name;
}

std::string set(hostapd_control& control, const std::string& name, const std::string& value) {
    // The name of another access point's key is "r0kh MAC ID".
    return order(control, "SET " + name + " " + value, "SET " + name);
}

struct place {
    std::string radio;  // the first interface of the radio, which stands for all of it
    bool up = false;
};

place place_of(hostapd_control& control, const std::string& ifname) {
    const std::string status = control.request("STATUS").text;
    const std::string radio = value_of(status, "bss[0]");
    return {.radio = radio.empty() ? ifname : radio, .up = value_of(status, "state") != "DISABLED"};
}

std::optional<std::string> none_or(std::string error) {
    return error.empty() ? std::nullopt : std::optional(std::move(error));
}

}  // namespace

fast_transition::outcome fast_transition::failure(std::string words) {
    return {.radio = {}, .needed = effort::none, .error = std::move(words)};
}

fast_transition::outcome fast_transition::silence() {
    outcome result = failure("hostapd does not reply to GET_CONFIG");
    result.silent = true;
    return result;
}

fast_transition::fast_transition(std::string folder, std::string pid_file)
    : folder_(std::move(folder)), pid_file_(std::move(pid_file)) {}

std::optional<std::string> fast_transition::apply(
    const std::map<std::string, ft_parameters>& vaps) {
    std::map<std::string, ft_parameters> enabled;
    std::vector<std::string> disabled;
    for (const auto& [vap, parameters] : vaps) {
        if (parameters.enabled) {
            enabled[interface_of(vap)] = parameters;
            wanted_[interface_of(vap)] = parameters;
        } else {
            disabled.push_back(vap);
        }
    }

    const bool outdated = std::any_of(enabled.begin(), enabled.end(), [this](const auto& vap) {
        return has_outdated_keys(vap.first, vap.second);
    });
    if (outdated) start_over();
    if (auto error = apply_all(outdated ? wanted_ : enabled)) return error;
    return reset(disabled);
}

std::optional<std::string> fast_transition::hostapd_started() {
    states_.clear();
    return apply_all(wanted_);
}

std::optional<std::string> fast_transition::apply_all(
    const std::map<std::string, ft_parameters>& interfaces) {
    std::map<std::string, effort> radios;
    std::vector<std::string> given;
    std::string error;
    for (const auto& [ifname, parameters] : interfaces) {
        const outcome result = apply_to(ifname, parameters);
        if (!result.error.empty() && error.empty()) error = ifname + ": " + result.error;
        if (result.silent) break;
        if (!result.error.empty()) continue;

        given.push_back(ifname);
        effort& needed = radios[result.radio];
        needed = std::max(needed, result.needed);
    }

    auto failed = take_into_use(radios);
    if (!failed) {
        for (const auto& ifname : given) states_[ifname].reaches_others = true;
    }
    return error.empty() ? failed : error;
}

fast_transition::outcome fast_transition::apply_to(const std::string& ifname,
                                                   const ft_parameters& parameters) {
    auto control = hostapd_control::open(folder_ + "/" + ifname);
    if (!control) return failure("hostapd has no such interface");

    const auto config = control->request("GET_CONFIG");
    if (config.what == reply_kind::silent) return silence();
    const std::string security = value_of(config.text, "key_mgmt");
    const auto wished = with_fast_transition(security);
    if (!wished) return failure("its security has no fast transition");

    vap_state& state = state_of(ifname, security);
    const auto settings = ft_settings(parameters);
    const bool changed = settings != state.settings || security != *wished;

    // The key management comes last: it shows that everything before was taken.
    std::string error;
    if (changed) error = set_settings(*control, state, settings);
    if (error.empty()) error = set_remotes(*control, state, parameters);
    if (error.empty() && changed) error = set(*control, "wpa_key_mgmt", *wished);
    if (!error.empty()) return failure(std::move(error));

    const place here = place_of(*control, ifname);
    const effort needed = state.reaches_others ? effort::reload : effort::restart;
    return {.radio = here.radio, .needed = changed && here.up ? needed : effort::none, .error = {}};
}

// A hostapd that has fast transition when it is first seen was started with it, or was given it by
// an earlier process, which restarted the radio.
fast_transition::vap_state& fast_transition::state_of(const std::string& ifname,
                                                      const std::string& security) {
    const vap_state first_seen{
        .settings = {}, .remotes = {}, .reaches_others = has_fast_transition(security)};
    return states_.try_emplace(ifname, first_seen).first->second;
}

std::string fast_transition::set_settings(hostapd_control& control, vap_state& state,
                                          const std::map<std::string, std::string>& settings) {
    state.settings.clear();  // unknown until all of them were taken
    for (const auto& [name, value] : settings) {
        if (auto error = set(control, name, value); !error.empty()) return error;
    }

    state.settings = settings;
    return {};
}

std::string fast_transition::set_remotes(hostapd_control& control, vap_state& state,
                                         const ft_parameters& parameters) {
    for (const auto& [holder, key] : ft_remotes(parameters)) {
        if (state.remotes.contains(holder)) continue;
        if (auto error = set(control, holder, key); !error.empty()) return error;
        state.remotes[holder] = key;
    }
    return {};
}

// Whether hostapd was given a key that is another one now, or that should be no more.
bool fast_transition::has_outdated_keys(const std::string& ifname,
                                        const ft_parameters& parameters) const {
    const auto state = states_.find(ifname);
    if (state == states_.end()) return false;

    const auto wished = ft_remotes(parameters);
    return std::any_of(state->second.remotes.begin(), state->second.remotes.end(),
                       [&wished](const auto& given) {
                           const auto found = wished.find(given.first);
                           return found == wished.end() || found->second != given.second;
                       });
}

// Makes hostapd read its own configuration again, which ends everything that it was given since.
void fast_transition::start_over() {
    std::ifstream file(pid_file_);
    pid_t pid = 0;
    if (file >> pid && pid > 0) kill(pid, SIGHUP);

    for (auto& [ifname, state] : states_) {
        state.settings.clear();
        state.remotes.clear();
    }
}

std::optional<std::string> fast_transition::reset(const std::vector<std::string>& vaps) {
    std::map<std::string, effort> radios;
    std::string error;
    for (const auto& vap : vaps) {
        const std::string ifname = interface_of(vap);
        wanted_.erase(ifname);
        const outcome result = reset_on(ifname);
        if (!result.error.empty() && error.empty()) error = ifname + ": " + result.error;
        if (result.silent) break;
        if (result.needed != effort::none) radios[result.radio] = result.needed;
    }

    auto failed = take_into_use(radios);
    return error.empty() ? failed : error;
}

fast_transition::outcome fast_transition::reset_on(const std::string& ifname) {
    auto control = hostapd_control::open(folder_ + "/" + ifname);
    if (!control) return {};

    const auto config = control->request("GET_CONFIG");
    if (config.what == reply_kind::silent) return silence();
    const std::string security = value_of(config.text, "key_mgmt");
    if (!has_fast_transition(security)) return {};

    state_of(ifname, security).settings.clear();
    auto error = set(*control, "wpa_key_mgmt", without_fast_transition(security));
    const place here = place_of(*control, ifname);
    return {.radio = here.radio,
            .needed = here.up ? effort::reload : effort::none,
            .error = std::move(error)};
}

// Each radio once, whatever its VAPs were given.
std::optional<std::string> fast_transition::take_into_use(
    const std::map<std::string, effort>& radios) {
    std::string error;
    for (const auto& [radio, needed] : radios) {
        if (needed == effort::none) continue;
        auto control = hostapd_control::open(folder_ + "/" + radio);
        if (!control) return radio + ": hostapd has gone";

        std::vector<std::string> commands{"RELOAD"};
        if (needed == effort::restart) commands = {"DISABLE", "ENABLE"};
        for (const auto& command : commands) {
            const std::string refusal = order(*control, command, command);
            if (!refusal.empty() && error.empty()) error = radio + ": " + refusal;
        }
    }

    if (!error.empty()) {  // the next update sets everything again
        for (auto& [ifname, state] : states_) state.settings.clear();
    }
    return none_or(error);
}

}  // namespace aplocal
