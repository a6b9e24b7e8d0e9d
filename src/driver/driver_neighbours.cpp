// Adds to and clears the 802.11k neighbour lists, which hostapd keeps.
#include "base/interface_names.h"
#include "base/store_paths.h"
#include "driver/driver.h"
#include "driver/mac_addr.h"
#include "driver/neighbour_report.h"
#include "main/logging.h"
#include "platform/runproc.h"
#include "workers/loop_progress.h"

namespace rfcd {

namespace {

bool is_secured(const std::string& mode) {
    return mode.find("WPA") != std::string::npos || mode.find("OWE") != std::string::npos;
}

int run(const std::string& command) {
    const long_wait command_wait(wait_reason::command);
    return runproc_exec("%s", command.c_str());
}

}  // namespace

void driver::add_rrm_nbr_ap(const char* bssid, const char* ssid, int channel, int band) {
    if (!guard()) return;
    if (!is_mac_text(bssid)) {
        log_error(daemon_logger, "<%s:%d> bssid '%.17s' is not a MAC address\n", __func__, __LINE__,
                  bssid);
        return;
    }

    const int radio_band = band != band_unknown ? band : band_from_channel(channel);
    for (auto& radio : radios_) {
        if (!is_up(radio) || radio.band != radio_band) continue;
        const auto* const vap = get_vap(&radio, vap_with_ssid(radio, ssid));
        if (vap != nullptr && vap->dot11k) add_neighbour(*vap, bssid, channel, band);
    }
}

// Adds a neighbour to the list of one VAP that is up.
void driver::add_neighbour(const vap_info& vap, const char* bssid, int channel, int band) {
    const std::string iface = vap_to_ifname(vap.ifname);
    const char* ssid = vap.ssid.c_str();
    log_debug(daemon_logger, "Execute add neighbor '%s' - '%s' - '%s'\n", iface.c_str(), ssid,
              bssid);

    auto [bssid_info, op_class, phy_type] = neighbour_class_of_band(band);
    std::string mode;
    if (read_setting(vap_setting_path(vap.ifname, security_mode_setting), mode) == 0 &&
        is_secured(mode)) {
        bssid_info |= bssid_info_security;
    }

    if (!guard()) return;  // the daemon was told to stop during the read: start no command
    if (set_rrm_nbr_ap_list(iface.c_str(), bssid, swap_bytes(bssid_info), channel, ssid, op_class,
                            phy_type) != 0) {
        log_error(daemon_logger, "%s: add neighbor failed\n", "set_rrm_nbr_ap_list");
    }
}

int driver::set_rrm_nbr_ap_list(const char* iface, const char* bssid,
                                std::uint32_t bssid_info_swapped, int channel, const char* ssid,
                                std::uint8_t op_class, std::uint8_t phy_type) {
    const std::string command =
        set_neighbour_command(iface, {.bssid = bssid,
                                      .bssid_info_swapped = bssid_info_swapped,
                                      .channel = channel,
                                      .ssid = ssid,
                                      .op_class = op_class,
                                      .phy_type = phy_type});
    if (run(command) == 0) return 0;
    log_debug(daemon_logger, "Error rrm_nbr_add_nbr\n");
    return -1;
}

void driver::clear_rrm_nbr_ap_list(const char* ifname) {
    if (!initialized_ || ifname == nullptr) return;
    const std::string iface = vap_to_ifname(ifname);
    log_debug(daemon_logger, "Execute del neighbor list '%s'\n", iface.c_str());
    if (run(remove_neighbours_command(iface)) != 0) {
        log_error(daemon_logger, "%s: del neighbor list failed\n", __func__);
    }
}

}  // namespace rfcd
