// Gives hostapd the settings of fast transition, and takes them away. Changes as little as it can,
// because hostapd 2.10 drops stations for some of them:
//
// - another access point and its keys: hostapd takes them at once, and every station stays;
// - mobility domain, own identifiers, over DS, deadline, and the end of fast transition: a RELOAD
//   of the radio, whose stations have to associate anew;
// - the beginning of fast transition on a VAP that hostapd started without: DISABLE and ENABLE of
//   the radio, because hostapd only then opens the socket to the other access points;
// - another key for a known access point, or one that is left out: SIGHUP, and everything again.
//   hostapd can only add keys, and the first that it was given counts. All radios lose their
//   stations, and deny lists and other settings that hostapd was given since its start are gone.
//
// Lives on the thread of the loop. Each request may take as long as hostapd_control allows.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "aplocald/ft_parameters.h"
#include "aplocald/hostapd_control.h"

namespace aplocal {

class fast_transition {
  public:
    // The folder with the control sockets of the interfaces, and the file with the process number
    // of hostapd.
    explicit fast_transition(std::string folder = "/run/hostapd",
                             std::string pid_file = "/run/hostapd.pid");

    // By VAP name, "wlan1-vap0" or "wlan1". Null when hostapd has taken everything, otherwise what
    // went wrong first. The other VAPs get theirs all the same, unless hostapd hangs.
    std::optional<std::string> apply(const std::map<std::string, ft_parameters>& vaps);
    // VAPs that hostapd does not have, or that have no fast transition, are left alone.
    std::optional<std::string> reset(const std::vector<std::string>& vaps);

    // A hostapd that was started anew gets what was applied before. Call it before its stations
    // have come.
    std::optional<std::string> hostapd_started();

  private:
    enum class effort { none, reload, restart };
    // What one hostapd was given for a VAP, as far as is known.
    struct vap_state {
        std::map<std::string, std::string> settings;
        std::map<std::string, std::string> remotes;  // their keys, by "r0kh MAC ID"
        bool reaches_others = false;                 // its socket to other access points is open
    };
    struct outcome {
        std::string radio;  // the first interface of the radio, which takes the orders for it
        effort needed = effort::none;
        std::string error;
        bool silent = false;  // hostapd hangs, and every further VAP would wait for it too
    };

    static outcome failure(std::string words);
    static outcome silence();
    std::optional<std::string> apply_all(const std::map<std::string, ft_parameters>& interfaces);
    outcome apply_to(const std::string& ifname, const ft_parameters& parameters);
    outcome reset_on(const std::string& ifname);
    vap_state& state_of(const std::string& ifname, const std::string& security);
    static std::string set_settings(hostapd_control& control, vap_state& state,
                                    const std::map<std::string, std::string>& settings);
    static std::string set_remotes(hostapd_control& control, vap_state& state,
                                   const ft_parameters& parameters);
    bool has_outdated_keys(const std::string& ifname, const ft_parameters& parameters) const;
    void start_over();
    std::optional<std::string> take_into_use(const std::map<std::string, effort>& radios);

    const std::string folder_;
    const std::string pid_file_;
    std::map<std::string, ft_parameters> wanted_;  // by interface name
    std::map<std::string, vap_state> states_;      // by interface name
};

}  // namespace aplocal
