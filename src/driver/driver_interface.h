// The radio driver as the service workers see it: the configuration getters of ipc_helper, and all
// operations on the access point's radios and virtual access points (VAPs). The service worker
// holds a reference to the one driver of the process and uses it on its own thread.
//
// Radios are numbered 0 to get_radio_count() - 1, the VAPs of a radio 0 to get_vap_count() - 1.
// Names are those of base/interface_names.h, band numbers those of base/bands.h. No operation
// throws for an index or a name that does not exist: it logs an error and returns false, 0 or null.
// While the driver is not initialized or the daemon stops, a guarded operation returns the same, or
// what its comment says. The driver owns the texts that it returns; they are valid until it reads
// its tables again.
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

// Called with the index, the SSID and the BSSID of a VAP that is up, and whether the VAP gives
// 802.11k neighbour reports.
using vap_callback = std::function<void(int vap, const char* ssid, const char* bssid, bool dot11k)>;

// Transmit powers in dBm, for radios without such a setting.
inline constexpr int default_tx_power = 16;  // also the default maximum
inline constexpr int default_tx_power_min = 11;

// Where set_channel puts the primary channel of a 40 MHz channel.
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
    // Looks at the system: true when at least one VAP of the radio exists and is up. Guarded.
    virtual bool radio_is_up(const char* radio_name) = 0;

    virtual const board_identity* get_board_name() = 0;
    virtual const char* get_board_mac() = 0;

    // Starts a scan on every usable radio: an active scan of the channels listed for its band (all
    // channels if that list is empty), or an RRM scan of the lowest of them. `wait_seconds`, 0 on
    // entry, becomes the time that the scans need. Always returns 0. Throws std::out_of_range when
    // `channels` has no entry for the band of a usable radio.
    virtual int start_scan(bool active, const scan_channel_map& channels, int* wait_seconds) = 0;
    // Stops every running scan, of both kinds. Always returns 0.
    virtual int stop_scan(bool active) = 0;
    virtual void hostapd_disconnected(bool flag) = 0;
    virtual void stop_all_scans() = 0;

    // Fills the tables of radios and VAPs from the system and the configuration.
    virtual void init_interface_context() = 0;
    // Clears what init_interface_context has read.
    virtual void reset_interface_context() = 0;
    // True while hostapd runs and the tables have been read; true at first.
    virtual void set_initialized(bool initialized) = 0;
    virtual bool is_initialized() = 0;
    virtual bool is_scan_in_progress() = 0;

    virtual bool is_sentry_radio(int radio) = 0;  // guarded
    // The radio for sentry scanning; the radio count for all of them, -1 for none.
    virtual int get_scan_interface() = 0;
    virtual bool is_radio_reserved(int radio) = 0;
    virtual bool is_radio_up(int radio) = 0;                         // guarded
    virtual bool has_vap_up(int radio) = 0;                          // guarded
    virtual bool check_vap_up(const char* radio_name, int vap) = 0;  // looks at the system; guarded
    virtual bool is_vap_up(int radio, int vap) = 0;                  // guarded
    virtual bool is_vap_80211k(int radio, int vap) = 0;              // guarded
    virtual bool radio_has_band(int radio, int band) = 0;            // guarded

    // Transmit powers in dBm, read from the configuration store. Throw std::invalid_argument when a
    // stored value is not a number, std::out_of_range when it does not fit an int.
    virtual int set_tx_power(const std::string& ifname, int power) = 0;  // guarded, else 0
    virtual int get_tx_power(const std::string& ifname) = 0;             // guarded, else default
    virtual void get_min_max_tx_power(const char* ignored, int* min, int* max, int band) = 0;
    virtual int get_tx_power_max(int radio) = 0;
    virtual int get_tx_power_min(int radio) = 0;
    virtual std::uint32_t get_mac_offset(int radio) = 0;
    virtual std::uint32_t get_radio_mac_count(int radio) = 0;

    // The configured channel specification, in parts and (without a channel number) whole. Throw as
    // the transmit powers do when a stored bandwidth is not a number.
    virtual chanspec_t get_config_sideband(const std::string& ifname) = 0;   // guarded, else 0
    virtual chanspec_t get_config_bandwidth(const std::string& ifname) = 0;  // guarded, else 20 MHz
    virtual chanspec_t get_config_chanspec(int radio) = 0;
    virtual bool get_radio_reserved_b(int radio) = 0;
    virtual bool is_auto_channel(int radio) = 0;
    // Asks the network daemon for a channel switch. `sideband` is a sideband_code; any other number
    // counts as lower. Returns 0 on success, -1 on failure. Guarded, else 0.
    virtual int set_channel(const std::string& ifname, int channel, int bandwidth,
                            int sideband) = 0;
    // The current channel specification; 0 when the radio is down or it cannot be read.
    virtual chanspec_t get_chanspec(const char* radio_name) = 0;
    virtual int chanspec_channel(chanspec_t chanspec) = 0;
    virtual const char* chanspec_sideband_string(chanspec_t chanspec) = 0;
    virtual int chanspec_bw(chanspec_t chanspec) = 0;  // MHz

    // Calls `callback` for each VAP of the radio that is up. Always returns 0. Guarded.
    virtual int for_each_vap(const char* radio_name, const vap_callback& callback) = 0;

    // Replace the table by the results of the last scan. Return 0 or the radio library's failure.
    virtual int _fill_ap_table(std::vector<scan_result>& table) = 0;
    virtual int fill_rrm_ap_table(std::vector<scan_result>& table) = 0;

    // The channels that the radio may use, as text to pass on unchanged; empty when unknown.
    virtual void fill_chanspecs(const char* radio_name, std::string& out) = 0;
    virtual const char* primary_channel_to_string(int sideband, int bandwidth) = 0;
    virtual int get_radio_count() = 0;
    virtual int get_vap_count() = 0;
    virtual void poll_events(const driver_event_callback& callback) = 0;

    // The name (null when there is none) and the index (-1) of the radio's first VAP that is up and
    // has this SSID.
    virtual const char* get_ifname_by_ssid(const char* ssid, int radio) = 0;
    virtual int get_vap_by_ssid(const char* ssid, int radio) = 0;
    // Null unless the radio and the VAP are up.
    virtual const char* get_vap_ifname(int vap, int radio) = 0;
    virtual const char* get_vap_ssid(int vap, int radio) = 0;
    virtual const char* get_vap_bssid(int vap, int radio) = 0;

    // Adds a neighbour to the 802.11k VAP with its SSID on each radio of its band (if `band` is 0,
    // of the band of `channel`). Logs failures. Rejects a BSSID that is not a MAC address.
    virtual void add_rrm_nbr_ap(const char* bssid, const char* ssid, int channel, int band) = 0;
    virtual void clear_rrm_nbr_ap_list(const char* ifname) = 0;

    // Build and send one fast-transition request: begin, add any number of VAPs, finish.
    virtual void add_skylark_fbt_params(const char* vap_ifname, const char* text) = 0;
    virtual void begin_skylark_fbt_params() = 0;
    virtual int finish_skylark_fbt_params() = 0;
    // Clears the fast-transition settings of all VAPs, unless `skip` is not 0.
    virtual int __reset_skylark_fbt(int skip) = 0;

    // Returns what snprintf returns.
    virtual int make_vap_ifname(int radio, int vap, char* buffer, std::size_t size) = 0;
    virtual bool is_sentry_all() = 0;
    virtual int get_band_from_ifname(const char* name) = 0;

  protected:
    ~driver_interface() = default;
};

}  // namespace rfcd
