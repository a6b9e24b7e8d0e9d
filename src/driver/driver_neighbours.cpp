// The 802.11k neighbour lists, which hostapd keeps: adding to them and clearing them.
#include "base/interface_names.h"
#include "base/store_paths.h"
#include "driver/driver.h"
#include "driver/neighbor_report.h"
#include "main/logging.h"
#include "platform/runproc.h"

namespace rfcd {

namespace {

// What a command printed stands in the log, since wpa_cli ends well even when hostapd refused.
[[maybe_unused]] const bool commands_logged = [] {
    if (runproc_set_log != nullptr) {
        runproc_set_log([](const char* line) { log_debug(daemon_logger, "%s\n", line); });
    }
    return true;
}();

bool is_secured(const std::string& mode) {
    return mode.find("WPA") != std::string::npos || mode.find("OWE") != std::string::npos;
}

}  // namespace

void driver::add_rrm_nbr_ap(const char* bssid, const char* ssid, int channel, int band) {
    if (!guard()) return;
    if (!is_mac_text(bssid)) {
        log_error(daemon_logger, "<%s:%d> bssid '%.17s' is not a MAC address\n", __func__, __LINE__,
                  bssid);
        return;
    }
    for (int radio = 0; radio < get_radio_count(); ++radio) {
        if (!radio_has_band(radio, band != 0 ? band : band_from_channel(channel))) continue;
        const int vap = get_vap_by_ssid(ssid, radio);
        if (!is_vap_80211k(radio, vap)) continue;
        const char* name = get_ifname_by_ssid(ssid, radio);
        const char* vap_ifname = get_vap_ifname(vap, radio);
        if (name == nullptr || vap_ifname == nullptr) continue;
        const std::string iface = vap_to_ifname(name);
        log_debug(daemon_logger, "Execute add neighbor '%s' - '%s' - '%s'\n", iface.c_str(), ssid,
                  bssid);
        auto [bssid_info, op_class, phy_type] = neighbour_class_of_band(band);
        std::string mode;
        if (read_setting(vap_setting_path(vap_ifname, security_mode_setting), mode) == 0 &&
            is_secured(mode)) {
            bssid_info |= bssid_info_security;
        }
        if (!guard()) return;  // told to stop meanwhile: no command is started any more
        if (set_rrm_nbr_ap_list(iface.c_str(), bssid, swap_bytes(bssid_info), channel, ssid,
                                op_class, phy_type) != 0) {
            log_error(daemon_logger, "%s: add neighbor failed\n", "set_rrm_nbr_ap_list");
        }
    }
}

int driver::set_rrm_nbr_ap_list(const char* iface, const char* bssid,
                                std::uint32_t bssid_info_swapped, int channel, const char* ssid,
                                std::uint8_t op_class, std::uint8_t phy_type) {
    const std::string command =
        set_neighbor_command(iface, {bssid, bssid_info_swapped, channel, ssid, op_class, phy_type});
    if (runproc_exec("%s", command.c_str()) == 0) return 0;
    log_debug(daemon_logger, "Error rrm_nbr_add_nbr\n");
    return -1;
}

void driver::clear_rrm_nbr_ap_list(const char* ifname) {
    if (!initialized_ || ifname == nullptr) return;
    const std::string iface = vap_to_ifname(ifname);
    log_debug(daemon_logger, "Execute del neighbor list '%s'\n", iface.c_str());
    if (runproc_exec("%s", remove_neighbors_command(iface).c_str()) != 0) {
        log_error(daemon_logger, "%s: del neighbor list failed\n", __func__);
    }
}

}  // namespace rfcd
