// The radio driver as the service workers see it: every operation on the access point's radios and
// virtual access points (VAPs), after the configuration getters of ipc_helper. The service worker
// holds the one driver of the process by pointer and uses it on its own thread.
//
// Radios are 0 to get_radio_count() - 1, VAPs of a radio 0 to get_vap_count() - 1. A radio name is
// "wlan0" and so on; a VAP name is "wlan0-vap3". Bands are 2, 5 and 6; 0 is unknown. Nothing here
// throws for an index or a name that does not exist: it is logged and answered with false, 0 or
// null. A guarded operation answers so too (or as told) while the driver is not initialized or the
// daemon stops. Texts are owned by the driver and valid until its tables are read anew.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "driver/board_identity.h"
#include "driver/chanspec.h"
#include "driver/radio_records.h"
#include "ipc/ipc_helper.h"

namespace rfcd {

using scan_channel_map = std::map<int, std::set<int>>;  // channels by band

// For each usable VAP: its index, SSID, BSSID, and whether it gives 802.11k neighbour reports.
using vap_callback = std::function<void(int vap, const char* ssid, const char* bssid, bool dot11k)>;

// Transmit powers in dBm where the settings name none; the first is the greatest, too.
inline constexpr int default_tx_power = 16;
inline constexpr int default_tx_power_min = 11;

// What set_channel is told of the primary channel.
enum sideband_code { sideband_none = 0, sideband_lower = 1, sideband_upper = 2 };

// Something that happened on the radios.
struct driver_event_desc {
    std::uint32_t type;
};
using driver_event_callback = std::function<void(const driver_event_desc&)>;

class driver_interface : public ipc_helper {
  public:
    using ipc_helper::ipc_helper;

    virtual bool get_reserved_b(const char* ifname) = 0;
    virtual int band_from_channel(int channel) = 0;
    // Looks at the system: some VAP of the radio exists and is up. Guarded.
    virtual bool radio_is_up(const char* radio_name) = 0;

    virtual const board_identity* get_board_name() = 0;
    virtual const char* get_board_mac() = 0;

    // Starts scans on all radios, active ones of every channel or RRM scans of the lowest channel
    // of each band, and raises `wait_seconds` to the time that they need. Always 0. Throws
    // std::out_of_range when a usable radio's band has no entry in `channels`.
    virtual int start_scan(bool active, const scan_channel_map& channels, int* wait_seconds) = 0;
    // Stops every running scan, of either kind. Always 0.
    virtual int stop_scan(bool active) = 0;
    virtual void hostapd_disconnected(bool flag) = 0;
    virtual void stop_all_scans() = 0;

    // Reads the tables of radios and VAPs; clears what that reads.
    virtual void init_interface_context() = 0;
    virtual void reset_interface_context() = 0;
    // hostapd is running and the tables have been read. True at first.
    virtual void set_initialized(bool initialized) = 0;
    virtual bool is_initialized() = 0;
    virtual bool is_scan_in_progress() = 0;

    virtual bool is_sentry_radio(int radio) = 0;  // guarded
    // The radio for sentry scanning, the radio count for all of them, -1 for none.
    virtual int get_scan_interface() = 0;
    virtual bool is_radio_reserved(int radio) = 0;
    virtual bool is_radio_up(int radio) = 0;                         // guarded
    virtual bool has_vap_up(int radio) = 0;                          // guarded
    virtual bool check_vap_up(const char* radio_name, int vap) = 0;  // looks at the system; guarded
    virtual bool is_vap_up(int radio, int vap) = 0;                  // guarded
    virtual bool is_vap_80211k(int radio, int vap) = 0;              // guarded
    virtual bool radio_has_band(int radio, int band) = 0;            // guarded

    // Transmit power in dBm. The numbers come from the configuration store; std::invalid_argument
    // or std::out_of_range leaves the operation when a text there is none.
    virtual int set_tx_power(const std::string& ifname, int power) = 0;  // guarded, else 0
    virtual int get_tx_power(const std::string& ifname) = 0;             // guarded, else default
    virtual void get_min_max_tx_power(const char* ignored, int* min, int* max, int band) = 0;
    virtual int get_tx_power_max(int radio) = 0;
    virtual int get_tx_power_min(int radio) = 0;
    virtual std::uint32_t get_mac_offset(int radio) = 0;
    virtual std::uint32_t get_radio_mac_count(int radio) = 0;

    // The configured channel specification, in parts and (without a channel number) whole. Throw as
    // the transmit powers do.
    virtual chanspec_t get_config_sideband(const std::string& ifname) = 0;   // guarded, else 0
    virtual chanspec_t get_config_bandwidth(const std::string& ifname) = 0;  // guarded, else 20 MHz
    virtual chanspec_t get_config_chanspec(int radio) = 0;
    virtual bool get_radio_reserved_b(int radio) = 0;
    virtual bool is_auto_channel(int radio) = 0;
    // Asks the network daemon for a channel switch; `sideband` is a sideband_code, any other number
    // counts as lower. 0 on success, -1 on failure. Guarded, else 0.
    virtual int set_channel(const std::string& ifname, int channel, int bandwidth,
                            int sideband) = 0;
    // The current channel specification; 0 when it cannot be had.
    virtual chanspec_t get_chanspec(const char* radio_name) = 0;
    virtual int chanspec_channel(chanspec_t chanspec) = 0;
    virtual const char* chanspec_sideband_string(chanspec_t chanspec) = 0;
    virtual int chanspec_bw(chanspec_t chanspec) = 0;  // MHz

    // Always 0. Guarded.
    virtual int for_each_vap(const char* radio_name, const vap_callback& callback) = 0;

    // Replace the table by the results of the last scan. 0, or the radio library's failure.
    virtual int _fill_ap_table(std::vector<scan_result>& table) = 0;
    virtual int fill_rrm_ap_table(std::vector<scan_result>& table) = 0;

    // The available channels, a text that is passed on as it is; empty when there is none.
    virtual void fill_chanspecs(const char* radio_name, std::string& out) = 0;
    virtual const char* primary_channel_to_string(int sideband, int bandwidth) = 0;
    virtual int get_radio_count() = 0;
    virtual int get_vap_count() = 0;
    virtual void poll_events(const driver_event_callback& callback) = 0;

    // Of the radio's first up VAP with this SSID.
    virtual const char* get_ifname_by_ssid(const char* ssid, int radio) = 0;
    virtual int get_vap_by_ssid(const char* ssid, int radio) = 0;
    // Null unless the radio and the VAP are up.
    virtual const char* get_vap_ifname(int vap, int radio) = 0;
    virtual const char* get_vap_ssid(int vap, int radio) = 0;
    virtual const char* get_vap_bssid(int vap, int radio) = 0;

    // Adds a neighbour to every 802.11k VAP with its SSID on the radios of its band (0: of the band
    // that the channel is in). Failures are logged. A bssid that is none is refused.
    virtual void add_rrm_nbr_ap(const char* bssid, const char* ssid, int channel, int band) = 0;
    virtual void clear_rrm_nbr_ap_list(const char* ifname) = 0;

    // The fast-transition request: begun, filled, sent. `finish` is for a request that was begun.
    virtual void add_skylark_fbt_params(const char* vap_ifname, const char* text) = 0;
    virtual void begin_skylark_fbt_params() = 0;
    virtual int finish_skylark_fbt_params() = 0;
    virtual int __reset_skylark_fbt(int skip) = 0;

    // What snprintf answers.
    virtual int make_vap_ifname(int radio, int vap, char* buffer, std::size_t size) = 0;
    virtual bool is_sentry_all() = 0;
    virtual int get_band_from_ifname(const char* name) = 0;

  protected:
    ~driver_interface() = default;
};

}  // namespace rfcd
