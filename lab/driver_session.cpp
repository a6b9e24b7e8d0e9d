// rfcd-driver [LOG_MASK]: prints what the daemon's radio driver sees and does in this sandbox: the
// board, the radios and their VAPs, an active scan and an RRM scan; then gives hostapd a neighbour.
// It is the daemon's own driver, on the bus of a running access point.
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "driver/driver.h"
#include "main/logging.h"
#include "platform/vnorda_log.h"

namespace {

using namespace rfcd;

constexpr const char* neighbour_bssid = "02:00:00:00:05:15";
constexpr int longest_scan_s = 2;

const scan_channel_map channels{
    {2, {1, 6, 11}}, {5, {36, 40, 44, 48, 149, 153, 157, 161}}, {6, {5, 21, 37, 53, 69, 85}}};

void print_radio(driver& drv, int index) {
    const auto& radio = *drv.get_radio(index);
    const char* name = radio.ifname.c_str();
    if (!drv.is_radio_up(index)) {
        std::printf("  %s  down\n", name);
        return;
    }

    const auto current = drv.get_chanspec(name);
    const auto configured = drv.get_config_chanspec(index);
    std::string available;
    drv.fill_chanspecs(name, available);
    std::printf(
        "  %s  band %d, country %s, channel %d, %d MHz (%s), chanspec 0x%04x, "
        "configured 0x%04x%s\n",
        name, radio.band, radio.country.c_str(), drv.chanspec_channel(current),
        drv.chanspec_bw(current), drv.chanspec_sideband_string(current), current, configured,
        drv.is_sentry_radio(index) ? ", sentry" : "");
    std::printf("         power %d dBm of %d to %d, addresses %u from offset %u\n",
                drv.get_tx_power(name), drv.get_tx_power_min(index), drv.get_tx_power_max(index),
                drv.get_radio_mac_count(index), drv.get_mac_offset(index));
    std::printf("         available channels: %s\n", available.c_str());

    for (const auto& vap : radio.vaps) {
        if (!vap.up) continue;
        std::printf("         %-11s %s  \"%s\"%s%s%s\n", vap.ifname.c_str(), vap.bssid.c_str(),
                    vap.ssid.c_str(), vap.dot11k ? ", 802.11k" : "",
                    vap.enterprise ? ", enterprise" : "", vap.captive_portal ? ", portal" : "");
    }
}

void print_results(driver& drv, const std::vector<scan_result>& results) {
    std::printf("  bssid              band  channel  width  primary  rssi  power\n");
    for (const auto& r : results) {
        std::printf("  %s  %4d  %7d  %5d  %-7s  %4d  %5d\n", r.bssid.text().c_str(), r.band,
                    r.channel, r.bandwidth, drv.primary_channel_to_string(r.sideband, r.bandwidth),
                    r.rssi, r.tx_power);
    }
    std::printf("  %zu access points\n", results.size());
}

// Starts a scan, lets it run for as long as the driver asks for, but at most two seconds, and
// prints its results.
void scan(driver& drv, bool active) {
    int seconds = 0;
    drv.start_scan(active, channels, &seconds);
    std::printf("\n%s scan: running on some radio: %s, needs %d s\n", active ? "active" : "RRM",
                drv.is_scan_in_progress() ? "yes" : "no", seconds);

    std::this_thread::sleep_for(std::chrono::seconds(std::min(seconds, longest_scan_s)));
    drv.stop_scan(active);

    std::vector<scan_result> results;
    const int result = active ? drv._fill_ap_table(results) : drv.fill_rrm_ap_table(results);
    std::printf("  result %d, still running: %s\n", result,
                drv.is_scan_in_progress() ? "yes" : "no");
    print_results(drv, results);
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // whoever reads the output sees each line at once
    norda_log_set_daemonname("rfcd-driver");
    daemon_logger.mask =
        argc > 1 ? static_cast<std::uint32_t>(std::strtoul(argv[1], nullptr, 0)) : log_mask_error;

    const running_flag enabled = true;
    auto& drv = get_driver(&enabled);
    const auto& board = *drv.get_board_name();
    std::printf("board: %s, revision %s, serial %s, address %s\n", board.board_name.c_str(),
                board.board_hw_rev.c_str(), board.board_serial.c_str(), drv.get_board_mac());

    drv.init_interface_context();
    std::printf("\nradios:\n");
    for (int i = 0; i < drv.get_radio_count(); ++i) print_radio(drv, i);

    scan(drv, true);
    scan(drv, false);

    std::printf("\nneighbour %s on channel 44 of band 5 for SSID \"office\"\n", neighbour_bssid);
    drv.add_rrm_nbr_ap(neighbour_bssid, "office", 44, 5);
    return 0;
}
