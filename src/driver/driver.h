// The driver of the access point's radios. It works through the radio library, the configuration
// store, the network daemon and hostapd. A process has one, made on first use and destroyed at
// process exit. Only the thread of the service worker uses it, so it has no lock.
//
// The tables of radios and VAPs hold what the last init_interface_context read. Guarded operations
// use the tables; the comments name those that look at the system each time.
//
// driver.cpp has the tables and the lookups. The other operations are in driver_channels.cpp
// (channels, transmit power), driver_scan.cpp, driver_scan_results.cpp, driver_neighbours.cpp and
// driver_fast_transition.cpp.
#pragma once

#include <array>
#include <map>
#include <string>

#include "base/running_flag.h"
#include "driver/driver_interface.h"

namespace rfcd {

struct vap_info {
    std::string ifname;  // "wlan0-vap3"; set once
    std::string bssid;   // lower-case text; set once
    std::string ssid;
    bool captive_portal = false;
    bool up = false;  // exists, is administratively up, and is enabled in the configuration
    bool enterprise = false;
    bool dot11k = false;
};

struct radio_info {
    static constexpr std::size_t vap_count = 16;

    std::array<vap_info, vap_count> vaps;
    int id = 0;          // set once
    std::string ifname;  // "wlan0"; set once
    bool up = false;     // some VAP exists and is up
    std::uint32_t mac_offset = 0;
    std::uint32_t mac_count = 0;
    bool reserved_a = false;
    bool sentry = false;  // the WIDS daemon has it: not scanned, and described as locked
    bool reserved_b = false;
    bool auto_channel = false;
    std::string country;
    std::int32_t band = 0;
};

class driver final : public driver_interface {
  public:
    static constexpr std::size_t radio_count = 3;

    // `enabled_flag` is the running flag of the worker that uses the driver, and outlives it.
    explicit driver(const running_flag* enabled_flag);
    ~driver() = default;

    // Lookups. Null, with an error in the log, for an index or a name that does not exist.
    radio_info* get_radio(int radio_id);
    vap_info* get_vap(radio_info* radio, int vap_id);
    radio_info* radio_by_ifname(const std::string& ifname);
    // Looks at the system and the configuration. Guarded.
    bool vap_is_up(const std::string& vap_ifname);

    bool get_reserved_b(const char* ifname) override;
    int band_from_channel(int channel) override;
    bool radio_is_up(const char* radio_name) override;
    const board_identity* get_board_name() override;
    const char* get_board_mac() override;
    int start_scan(bool active, const scan_channel_map& channels, int* wait_seconds) override;
    int stop_scan(bool active) override;
    void hostapd_disconnected(bool flag) override;
    void stop_all_scans() override;
    void init_interface_context() override;
    void reset_interface_context() override;
    void set_initialized(bool initialized) override;
    bool is_initialized() override;
    bool is_scan_in_progress() override;
    bool is_sentry_radio(int radio) override;
    int get_scan_interface() override;
    bool is_radio_reserved(int radio) override;
    bool is_radio_up(int radio) override;
    bool has_vap_up(int radio) override;
    bool check_vap_up(const char* radio_name, int vap) override;
    bool is_vap_up(int radio, int vap) override;
    bool is_vap_80211k(int radio, int vap) override;
    bool radio_has_band(int radio, int band) override;
    int set_tx_power(const std::string& ifname, int power) override;
    int get_tx_power(const std::string& ifname) override;
    void get_min_max_tx_power(const char* ignored, int* min, int* max, int band) override;
    int get_tx_power_max(int radio) override;
    int get_tx_power_min(int radio) override;
    std::uint32_t get_mac_offset(int radio) override;
    std::uint32_t get_radio_mac_count(int radio) override;
    chanspec_t get_config_sideband(const std::string& ifname) override;
    chanspec_t get_config_bandwidth(const std::string& ifname) override;
    chanspec_t get_config_chanspec(int radio) override;
    bool get_radio_reserved_b(int radio) override;
    bool is_auto_channel(int radio) override;
    int set_channel(const std::string& ifname, int channel, int bandwidth, int sideband) override;
    chanspec_t get_chanspec(const char* radio_name) override;
    int chanspec_channel(chanspec_t chanspec) override;
    const char* chanspec_sideband_string(chanspec_t chanspec) override;
    int chanspec_bw(chanspec_t chanspec) override;
    int for_each_vap(const char* radio_name, const vap_callback& callback) override;
    int _fill_ap_table(std::vector<scan_result>& table) override;
    int fill_rrm_ap_table(std::vector<scan_result>& table) override;
    void fill_chanspecs(const char* radio_name, std::string& out) override;
    const char* primary_channel_to_string(int sideband, int bandwidth) override;
    int get_radio_count() override;
    int get_vap_count() override;
    void poll_events(const driver_event_callback& callback) override;
    const char* get_ifname_by_ssid(const char* ssid, int radio) override;
    int get_vap_by_ssid(const char* ssid, int radio) override;
    const char* get_vap_ifname(int vap, int radio) override;
    const char* get_vap_ssid(int vap, int radio) override;
    const char* get_vap_bssid(int vap, int radio) override;
    void add_rrm_nbr_ap(const char* bssid, const char* ssid, int channel, int band) override;
    void clear_rrm_nbr_ap_list(const char* ifname) override;
    void add_skylark_fbt_params(const char* vap_ifname, const char* text) override;
    void begin_skylark_fbt_params() override;
    int finish_skylark_fbt_params() override;
    int __reset_skylark_fbt(int skip) override;
    int make_vap_ifname(int radio, int vap, char* buffer, std::size_t size) override;
    bool is_sentry_all() override;
    int get_band_from_ifname(const char* name) override;

  private:
    enum class scan_kind { active, rrm };
    using scan_state = std::map<std::string, bool>;  // by radio name; true: a scan runs

    bool guard() const { return initialized_ && !is_stopping(); }
    // Guarded; they use the tables.
    bool is_up(const radio_info& radio) const { return guard() && radio.up; }
    bool is_up(const vap_info& vap) const { return guard() && vap.up; }
    bool is_sentry(const radio_info& radio) const { return guard() && radio.sentry; }

    // Null for an index that does not exist, without a line in the log.
    radio_info* find_radio(int radio_id);
    // Null unless the radio (and the VAP) exists and is up. Logs an index that does not exist.
    radio_info* up_radio(int radio);
    vap_info* up_vap(int radio, int vap);
    // The index of the radio's first VAP that is up and has this SSID; -1 when there is none.
    static int vap_with_ssid(const radio_info& radio, const char* ssid);
    bool in_sentry_mode() const;
    bool has_live_vap(const radio_info& radio);
    void init_radio(radio_info& radio, int sentry_interface);
    void init_vap(vap_info& vap);

    // driver_channels.cpp. Throws what std::stoi throws when the stored value is not a number.
    int read_number(const std::string& path, int otherwise) const;

    // driver_scan.cpp
    static const char* name_of(scan_kind kind);
    scan_state& scans_of(scan_kind kind);
    bool is_usable_for_scan(const radio_info& radio) const;
    std::string get_active_ifname(const radio_info& radio) const;
    void start_on_radio(scan_kind kind, const radio_info& radio, const scan_channel_map& channels,
                        int* wait_seconds);
    bool start_active_scan(const radio_info& radio, const scan_channel_map& channels,
                           int* wait_seconds);
    bool start_rrm_scan(const radio_info& radio, const scan_channel_map& channels,
                        int* wait_seconds);
    void stop_on_radio(scan_kind kind, const radio_info& radio);
    bool end_scan(scan_kind kind, const radio_info& radio);
    int stop_active_scan(const radio_info& radio);
    int stop_rrm_scan(const radio_info& radio);

    // driver_scan_results.cpp
    int _fill_ap_table_norda_rrm(const radio_info& radio, std::vector<scan_result>& table);
    scan_result to_scan_result(const rrm_scan_entry& entry, int band);

    // driver_neighbours.cpp
    void add_neighbour(const vap_info& vap, const char* bssid, int channel, int band);
    // Adds one neighbour to the list of a system interface. `bssid` is a MAC address. 0 on success,
    // -1 on failure.
    int set_rrm_nbr_ap_list(const char* iface, const char* bssid, std::uint32_t bssid_info_swapped,
                            int channel, const char* ssid, std::uint8_t op_class,
                            std::uint8_t phy_type);

    board_identity identity_;
    bool initialized_ = true;
    bool sentry_all_ = false;
    std::array<radio_info, radio_count> radios_;
    scan_state active_scans_;
    scan_state rrm_scans_;
    cfg_ptr fbt_params_;  // the fast-transition request being assembled
};

// The driver of the process. The first call makes it with `enabled_flag`; later calls ignore
// theirs.
driver& get_driver(const running_flag* enabled_flag);

}  // namespace rfcd
