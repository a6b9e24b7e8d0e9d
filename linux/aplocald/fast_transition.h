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
// hostapd does not tell which keys it has, so what it was given is kept in a file. From there the
// next aplocald learns whether a key is another one, and which settings need no RELOAD.
//
// Lives on the thread of the loop. Each request may take as long as hostapd_control allows.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "aplocald/ft_parameters.h"
#include "aplocald/ft_record.h"
#include "aplocald/hostapd_control.h"

namespace aplocal {

class fast_transition {
  public:
    struct files {
        std::string folder = "/run/hostapd";  // the control sockets of the interfaces
        std::string pid_file = "/run/hostapd.pid";
        // Has keys in it, so it is for root alone. A restart of the machine ends hostapd, so
        // nobody needs the record after it.
        std::string record = "/run/aplocald-ft.json";
    };

    explicit fast_transition(files f);

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
    struct outcome {
        std::string radio;  // the first interface of the radio, which takes the orders for it
        effort needed = effort::none;
        std::string error;
        bool silent = false;  // hostapd hangs, and every further VAP would wait for it too
    };

    static outcome failure(std::string words);
    static outcome silence();
    void note_hostapd();
    void keep_record() const;
    std::optional<std::string> give(const std::map<std::string, ft_lines>& interfaces);
    std::optional<std::string> take_away(const std::vector<std::string>& interfaces);
    outcome give_to(const std::string& ifname, const ft_lines& lines);
    outcome take_from(const std::string& ifname);
    ft_lines& given_to(const std::string& ifname, const std::string& security);
    static std::string set_settings(hostapd_control& control, ft_lines& given,
                                    const std::map<std::string, std::string>& settings);
    static std::string set_remotes(hostapd_control& control, ft_lines& given,
                                   const std::map<std::string, std::string>& remotes);
    bool has_outdated_keys(const std::string& ifname, const ft_lines& lines) const;
    void start_over();
    std::optional<std::string> take_into_use(const std::map<std::string, effort>& radios);

    const files files_;
    ft_record record_;
};

}  // namespace aplocal
