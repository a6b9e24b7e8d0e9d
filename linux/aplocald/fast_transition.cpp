#include "aplocald/fast_transition.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <utility>

#include "aplocald/hostapd_text.h"
#include "aplocald/log.h"
#include "aplocald/replace_file.h"
#include "base/files.h"

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

fast_transition::fast_transition(files f)
    : files_(std::move(f)), record_(read_record(rfcd::read_text_file(files_.record).value_or(""))) {
    note_hostapd();
}

// What another hostapd was given says nothing of this one.
void fast_transition::note_hostapd() {
    const std::string hostapd = start_of_hostapd(files_.pid_file);
    if (hostapd.empty() || hostapd != record_.hostapd) {
        record_.given.clear();
        record_.reaching.clear();
    }
    record_.hostapd = hostapd;
}

// An old record would be worse than none.
void fast_transition::keep_record() const {
    const bool nothing = record_.wanted.empty() && record_.given.empty();
    if (nothing) {
        unlink(files_.record.c_str());
        return;
    }

    const auto problem =
        replace_file(files_.record, record_text(record_), 0600, durability::until_restart);
    if (!problem) return;
    log(severity::error, *problem);
    unlink(files_.record.c_str());
}

std::optional<std::string> fast_transition::apply(
    const std::map<std::string, ft_parameters>& vaps) {
    std::map<std::string, ft_lines> enabled;
    std::vector<std::string> disabled;
    for (const auto& [vap, parameters] : vaps) {
        const std::string ifname = interface_of(vap);
        if (parameters.enabled) {
            enabled[ifname] = {ft_settings(parameters), ft_remotes(parameters)};
            record_.wanted[ifname] = enabled[ifname];
        } else {
            disabled.push_back(ifname);
        }
    }

    const bool outdated = std::any_of(enabled.begin(), enabled.end(), [this](const auto& vap) {
        return has_outdated_keys(vap.first, vap.second);
    });
    if (outdated) start_over();
    auto problem = give(outdated ? record_.wanted : enabled);
    if (!problem) problem = take_away(disabled);

    keep_record();
    return problem;
}

std::optional<std::string> fast_transition::reset(const std::vector<std::string>& vaps) {
    std::vector<std::string> interfaces;
    for (const auto& vap : vaps) interfaces.push_back(interface_of(vap));

    auto problem = take_away(interfaces);
    keep_record();
    return problem;
}

std::optional<std::string> fast_transition::hostapd_started() {
    note_hostapd();
    auto problem = give(record_.wanted);
    keep_record();
    return problem;
}

std::optional<std::string> fast_transition::give(
    const std::map<std::string, ft_lines>& interfaces) {
    std::map<std::string, effort> radios;
    std::vector<std::string> taken;
    std::string error;
    for (const auto& [ifname, lines] : interfaces) {
        const outcome result = give_to(ifname, lines);
        if (!result.error.empty() && error.empty()) error = ifname + ": " + result.error;
        if (result.silent) break;
        if (!result.error.empty()) continue;

        taken.push_back(ifname);
        effort& needed = radios[result.radio];
        needed = std::max(needed, result.needed);
    }

    auto failed = take_into_use(radios);
    if (!failed) record_.reaching.insert(taken.begin(), taken.end());
    return error.empty() ? failed : error;
}

fast_transition::outcome fast_transition::give_to(const std::string& ifname,
                                                  const ft_lines& lines) {
    auto control = hostapd_control::open(files_.folder + "/" + ifname);
    if (!control) return failure("hostapd has no such interface");

    const auto config = control->request("GET_CONFIG");
    if (config.what == reply_kind::silent) return silence();
    const std::string security = value_of(config.text, "key_mgmt");
    const auto wished = with_fast_transition(security);
    if (!wished) return failure("its security has no fast transition");

    ft_lines& given = given_to(ifname, security);
    const bool changed = lines.settings != given.settings || security != *wished;

    // The key management comes last: it shows that everything before was taken.
    std::string error;
    if (changed) error = set_settings(*control, given, lines.settings);
    if (error.empty()) error = set_remotes(*control, given, lines.remotes);
    if (error.empty() && changed) error = set(*control, "wpa_key_mgmt", *wished);
    if (!error.empty()) return failure(std::move(error));

    const place here = place_of(*control, ifname);
    const effort needed = record_.reaching.contains(ifname) ? effort::reload : effort::restart;
    return {.radio = here.radio, .needed = changed && here.up ? needed : effort::none, .error = {}};
}

// A hostapd that has fast transition when it is first seen was started with it, or was given it by
// an earlier process that left no record. That process restarted the radio.
ft_lines& fast_transition::given_to(const std::string& ifname, const std::string& security) {
    const auto [entry, first_seen] = record_.given.try_emplace(ifname);
    if (first_seen && has_fast_transition(security)) record_.reaching.insert(ifname);
    return entry->second;
}

std::string fast_transition::set_settings(hostapd_control& control, ft_lines& given,
                                          const std::map<std::string, std::string>& settings) {
    given.settings.clear();  // unknown until all of them were taken
    for (const auto& [name, value] : settings) {
        if (auto error = set(control, name, value); !error.empty()) return error;
    }

    given.settings = settings;
    return {};
}

std::string fast_transition::set_remotes(hostapd_control& control, ft_lines& given,
                                         const std::map<std::string, std::string>& remotes) {
    for (const auto& [holder, key] : remotes) {
        if (given.remotes.contains(holder)) continue;
        if (auto error = set(control, holder, key); !error.empty()) return error;
        given.remotes[holder] = key;
    }
    return {};
}

// Whether hostapd was given a key that is another one now, or that should be no more.
bool fast_transition::has_outdated_keys(const std::string& ifname, const ft_lines& lines) const {
    const auto given = record_.given.find(ifname);
    if (given == record_.given.end()) return false;

    const auto& remotes = given->second.remotes;
    return std::any_of(remotes.begin(), remotes.end(), [&lines](const auto& remote) {
        const auto found = lines.remotes.find(remote.first);
        return found == lines.remotes.end() || found->second != remote.second;
    });
}

void fast_transition::start_over() {
    std::ifstream file(files_.pid_file);
    pid_t pid = 0;
    if (file >> pid && pid > 0) kill(pid, SIGHUP);

    for (auto& [ifname, given] : record_.given) given = {};
}

std::optional<std::string> fast_transition::take_away(const std::vector<std::string>& interfaces) {
    std::map<std::string, effort> radios;
    std::string error;
    for (const auto& ifname : interfaces) {
        record_.wanted.erase(ifname);
        const outcome result = take_from(ifname);
        if (!result.error.empty() && error.empty()) error = ifname + ": " + result.error;
        if (result.silent) break;
        if (result.needed != effort::none) radios[result.radio] = result.needed;
    }

    auto failed = take_into_use(radios);
    return error.empty() ? failed : error;
}

fast_transition::outcome fast_transition::take_from(const std::string& ifname) {
    auto control = hostapd_control::open(files_.folder + "/" + ifname);
    if (!control) return {};

    const auto config = control->request("GET_CONFIG");
    if (config.what == reply_kind::silent) return silence();
    const std::string security = value_of(config.text, "key_mgmt");
    if (!has_fast_transition(security)) return {};

    given_to(ifname, security).settings.clear();
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
        auto control = hostapd_control::open(files_.folder + "/" + radio);
        if (!control) return radio + ": hostapd has gone";

        std::vector<std::string> commands{"RELOAD"};
        if (needed == effort::restart) commands = {"DISABLE", "ENABLE"};
        for (const auto& command : commands) {
            const std::string refusal = order(*control, command, command);
            if (!refusal.empty() && error.empty()) error = radio + ": " + refusal;
        }
    }

    if (!error.empty()) {  // the next update sets everything again
        for (auto& [ifname, given] : record_.given) given.settings.clear();
    }
    return none_or(error);
}

}  // namespace aplocal
