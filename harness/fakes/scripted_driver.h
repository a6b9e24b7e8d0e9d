// A driver that returns what a test sets, and records what it is asked to do as one text.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "driver/driver_interface.h"
#include "harness/fakes/fake_clock.h"

class scripted_driver final : public rfcd::driver_interface {
  public:
    explicit scripted_driver(const rfcd::running_flag* running) : driver_interface(running) {
        identity.board_name.assign("AP");
        identity.board_hw_rev.assign("2");
        identity.board_serial.assign("S1");
        identity.board_mac.assign("00:11:22:33:44:50");
    }
    ~scripted_driver() = default;

    // What was recorded since the last call.
    std::string take() { return std::exchange(record, {}); }

    bool initialized = true;
    bool sentry_all = false;
    bool scanning = false;
    bool radios_up = false;  // all radios, each with VAP 0 "net", which has 802.11k
    bool vaps_up = true;     // of radios that are up
    bool dot11k = true;
    int sentry_radio = -1;
    bool auto_channel = false;
    int scan_seconds = 2;
    int power_takes_seconds = 0;           // of the fake clock, for each setting
    int clearing_takes_seconds = 0;        // the same for each neighbour list
    bool throws = false;                   // when it reads the transmit power or starts a scan
    rfcd::chanspec_t current = 0x2024;     // channel 36, 80 MHz, ll
    rfcd::chanspec_t configured = 0x1900;  // 40 MHz, upper
    std::vector<std::vector<rfcd::scan_result>> heard;  // results of the next reads
    std::vector<rfcd::driver_event_desc> events;        // delivered by the next poll
    rfcd::board_identity identity;
    std::string record;

    // clang-format off
    bool get_ft_enabled_vap(int radio, int) const override { return radio == 1; }
    bool get_reserved_b(const char*) override { return false; }
    int band_from_channel(int) override { return 2; }
    bool radio_is_up(const char*) override { return radios_up; }
    const rfcd::board_identity* get_board_name() override { return &identity; }
    const char* get_board_mac() override { return identity.board_mac.c_str(); }
    int start_scan(bool active, const rfcd::scan_channel_map& channels, int* seconds) override {
        if (throws) throw std::out_of_range("map::at");
        note(active ? "start active" : "start rrm");
        for (const auto& [band, list] : channels) {
            record += std::to_string(band) + ":";
            for (const int channel : list) record += std::to_string(channel) + " ";
        }
        scanning = true;
        *seconds = scan_seconds;
        return 0;
    }
    int stop_scan(bool) override { note("stop scan"); scanning = false; return 0; }
    void hostapd_disconnected(bool) override {}
    void stop_all_scans() override { note("stop all"); scanning = false; }
    void init_interface_context() override { note("init"); radios_up = true; }
    void reset_interface_context() override { note("reset"); radios_up = false; }
    void set_initialized(bool on) override { note(on ? "on" : "off"); initialized = on; }
    bool is_initialized() override { return initialized; }
    bool is_scan_in_progress() override { return scanning; }
    bool is_sentry_radio(int radio) override { return radio == sentry_radio; }
    int get_scan_interface() override { return -1; }
    bool is_radio_reserved(int) override { return false; }
    bool is_radio_up(int) override { return radios_up; }
    bool has_vap_up(int) override { return radios_up && vaps_up; }
    bool check_vap_up(const char*, int) override { return radios_up; }
    bool is_vap_up(int, int vap) override { return radios_up && vap == 0; }
    bool is_vap_80211k(int radio, int vap) override { return dot11k && is_vap_up(radio, vap); }
    bool radio_has_band(int, int) override { return radios_up; }
    int set_tx_power(const std::string& ifname, int power) override { note("power " + ifname + " " + std::to_string(power)); fake_clock::advance(power_takes_seconds); return 0; }
    int get_tx_power(const std::string&) override { if (throws) throw std::invalid_argument("stoi"); return 17; }
    void get_min_max_tx_power(const char*, int*, int*, int) override {}
    int get_tx_power_max(int) override { return 20; }
    int get_tx_power_min(int) override { return 5; }
    std::uint32_t get_mac_offset(int radio) override { return static_cast<std::uint32_t>(16 * radio); }
    std::uint32_t get_radio_mac_count(int) override { return 16; }
    rfcd::chanspec_t get_config_sideband(const std::string&) override { return 0; }
    rfcd::chanspec_t get_config_bandwidth(const std::string&) override { return configured; }
    rfcd::chanspec_t get_config_chanspec(int) override { return configured; }
    bool get_radio_reserved_b(int) override { return false; }
    bool is_auto_channel(int) override { return auto_channel; }
    int set_channel(const std::string& ifname, int channel, int bandwidth, int sideband) override {
        note("channel " + ifname + " " + std::to_string(channel) + "/" + std::to_string(bandwidth) + "/" + std::to_string(sideband));
        return 0;
    }
    rfcd::chanspec_t get_chanspec(const char*) override { return radios_up ? current : rfcd::chanspec_t{0}; }
    int chanspec_channel(rfcd::chanspec_t c) override { return c & 0xff; }
    const char* chanspec_sideband_string(rfcd::chanspec_t c) override { return c == 0 ? "none" : rfcd::primary_channel_text(c & 0x700, chanspec_bw(c)); }
    int chanspec_bw(rfcd::chanspec_t c) override { return rfcd::bandwidth_mhz(c).value_or(20); }
    int for_each_vap(const char*, const rfcd::vap_callback& callback) override { callback(0, "net", "00:11:22:33:44:50", true); return 0; }
    int _fill_ap_table(std::vector<rfcd::scan_result>& table) override { note("read active"); return fill(table); }
    int fill_rrm_ap_table(std::vector<rfcd::scan_result>& table) override { note("read rrm"); return fill(table); }
    void fill_chanspecs(const char*, std::string& out) override { out = "1 6 11"; }
    const char* primary_channel_to_string(int s, int b) override { return rfcd::primary_channel_text(s, b); }
    int get_radio_count() override { return 3; }
    int get_vap_count() override { return 16; }
    void poll_events(const rfcd::driver_event_callback& callback) override { for (const auto& e : std::exchange(events, {})) callback(e); }
    const char* get_ifname_by_ssid(const char*, int) override { return nullptr; }
    int get_vap_by_ssid(const char*, int) override { return -1; }
    const char* get_vap_ifname(int vap, int radio) override { static const char* names[] = {"wlan0-vap0", "wlan1-vap0", "wlan2-vap0"}; return is_vap_up(radio, vap) ? names[radio] : nullptr; }
    const char* get_vap_ssid(int, int) override { return "net"; }
    const char* get_vap_bssid(int vap, int radio) override { return radios_up && vap >= 0 && vap < 16 && radio >= 0 && radio < 3 ? "00:11:22:33:44:50" : nullptr; }
    void add_rrm_nbr_ap(const char* bssid, const char* ssid, int channel, int band) override { note(std::string("neighbour ") + bssid + " " + ssid + " " + std::to_string(channel) + "/" + std::to_string(band)); }
    void clear_rrm_nbr_ap_list(const char* ifname) override { note(std::string("clear ") + ifname); fake_clock::advance(clearing_takes_seconds); }
    void add_skylark_fbt_params(const char* ifname, const char* text) override { note(std::string("fbt ") + ifname + " " + text); }
    void begin_skylark_fbt_params() override { note("fbt begin"); }
    int finish_skylark_fbt_params() override { note("fbt finish"); return 0; }
    int __reset_skylark_fbt(int skip) override { note("fbt reset " + std::to_string(skip)); return 0; }
    int make_vap_ifname(int radio, int vap, char* buffer, std::size_t size) override { return std::snprintf(buffer, size, "wlan%d-vap%d", radio, vap); }
    bool is_sentry_all() override { return sentry_all; }
    int get_band_from_ifname(const char* name) override { return !radios_up ? 0 : name[4] == '0' ? 2 : name[4] == '1' ? 5 : 6; }
    // clang-format on

  private:
    void note(const std::string& what) { record += what + ", "; }
    int fill(std::vector<rfcd::scan_result>& table) {
        table = heard.empty() ? std::vector<rfcd::scan_result>{} : heard.front();
        if (!heard.empty()) heard.erase(heard.begin());
        return 0;
    }
};
