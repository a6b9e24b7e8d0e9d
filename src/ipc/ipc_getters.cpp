// The ten configuration getters. Each makes a path, reads it, and interprets the value.
#include <string_view>

#include "base/interface_names.h"
#include "base/store_paths.h"
#include "ipc/ipc_helper.h"
#include "main/logging.h"

namespace rfcd {

namespace {

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// A VAP setting, and the name of its getter in the log. The line numbers belong to the fixed text
// of the log lines; they do not refer to this file.
struct vap_setting {
    const char* getter;
    std::string_view name;
    int failure_line;
    int success_line;
};

constexpr vap_setting enterprise_setting{"get_enterprise_vap", security_mode_setting, 429, 432};
constexpr vap_setting dot11k_setting{"get_802dot11k_vap", "vap/w80211kv-config/enabled", 445, 448};
constexpr vap_setting enabled_setting{"get_vap_enabled_state", "common/enabled", 461, 464};
constexpr vap_setting ssid_setting{"get_ssid", "vap/ssid", 477, 480};
constexpr vap_setting portal_setting{"get_captive_portal_state", "vap/captive-portal/enabled", 492,
                                     495};

// Returns an empty text when the setting cannot be read.
std::string read_vap_setting(const ipc_helper& helper, const vap_setting& setting,
                             const std::string& vap_ifname) {
    const std::string path = vap_setting_path(vap_ifname, setting.name);
    std::string value;
    if (helper.getconf(path, value) != 0) {
        if (helper.is_stopping()) return "";
        log_error(daemon_logger, "<%s:%d> can't get value from '%s'\n", setting.getter,
                  setting.failure_line, path.c_str());
        return "";
    }
    log_debug(daemon_logger, "<%s:%d> %s = %s\n", setting.getter, setting.success_line,
              path.c_str(), value.c_str());
    return value;
}

}  // namespace

std::string ipc_helper::get_country(const char* ifname) const {
    std::string value;
    return read_setting(short_radio_setting_path(ifname, "country"), value) == 0 ? value : "RU";
}

bool ipc_helper::get_reserved_a(const char* /*ifname*/) const { return false; }

bool ipc_helper::get_auto_channel(const char* ifname) const {
    std::string value;
    return read_setting(short_radio_setting_path(ifname, "auto-channel"), value) == 0 &&
           value == "true";
}

bool ipc_helper::get_wpa2_or_wpa3_vap(std::int32_t radio, std::int32_t vap) const {
    const std::string path = vap_setting_path(vap_ifname(radio, vap), security_mode_setting);
    std::string mode;
    if (read_setting(path, mode) != 0 || contains(mode, "WPA_")) return false;
    return contains(mode, "WPA2") || contains(mode, "WPA3");
}

bool ipc_helper::get_ft_enabled_vap(std::int32_t radio, std::int32_t vap) const {
    const std::string path = vap_setting_path(vap_ifname(radio, vap), "vap/ft-config/enabled");
    std::string value;
    if (read_setting(path, value) != 0) return false;
    const bool secured = get_wpa2_or_wpa3_vap(radio, vap);
    return value == "true" && secured;
}

bool ipc_helper::get_enterprise_vap(const std::string& vap_ifname) const {
    return contains(read_vap_setting(*this, enterprise_setting, vap_ifname), "1X");
}

bool ipc_helper::get_802dot11k_vap(const std::string& vap_ifname) const {
    return read_vap_setting(*this, dot11k_setting, vap_ifname) == "true";
}

std::string ipc_helper::get_ssid(const std::string& vap_ifname) const {
    return read_vap_setting(*this, ssid_setting, vap_ifname);
}

bool ipc_helper::get_vap_enabled_state(const std::string& vap_ifname) const {
    return read_vap_setting(*this, enabled_setting, vap_ifname) == "true";
}

bool ipc_helper::get_captive_portal_state(const std::string& vap_ifname) const {
    return read_vap_setting(*this, portal_setting, vap_ifname) == "true";
}

}  // namespace rfcd
