// Reads the results of the scans.
#include <array>

#include "driver/driver.h"
#include "driver/radio_library.h"
#include "main/logging.h"

namespace rfcd {

namespace {

// No radio hears this many access points at once. A greater count must be wrong, and reading that
// many entries could go beyond their memory, so the driver then reads none.
constexpr std::uint64_t max_active_entries = 4096;

}  // namespace

int driver::_fill_ap_table(std::vector<scan_result>& table) {
    log_info(daemon_logger, "Attempt to fill a scanning result table...\n");
    table.clear();
    for (const auto& radio : radios_) {
        if (!is_usable_for_scan(radio) || is_radio_reserved(radio.id)) continue;
        radioctl_ctx* const context = radioctl_context();
        if (context == nullptr) continue;
        active_results results;
        const std::string iface = get_active_ifname(radio);
        if (iface.empty()) {
            log_error(daemon_logger, "<%s:%d> No active interface on radio '%s'\n", __func__,
                      __LINE__, radio.ifname.c_str());
            continue;
        }

        const int result = radioctl_get_scan(context, iface.c_str(), results.get());
        if (result < 0) {
            log_error(daemon_logger, "<%s:%d> ret=%d\n", __func__, __LINE__, result);
            continue;
        }
        if (results.count() > max_active_entries) {
            log_error(
                daemon_logger,
                "<%s:%d> %llu scan results of radio '%s' are not believed, the limit is %llu\n",
                __func__, __LINE__, static_cast<unsigned long long>(results.count()),
                radio.ifname.c_str(), static_cast<unsigned long long>(max_active_entries));
            continue;
        }
        for (std::size_t i = 0; i < results.count(); ++i) {
            table.push_back(read_active_entry(results.entry(i)));
        }
    }
    return 0;
}

int driver::fill_rrm_ap_table(std::vector<scan_result>& table) {
    log_info(daemon_logger, "Attempt to fill a rrm scanning result table...\n");
    table.clear();
    for (const auto& radio : radios_) {
        const int result = _fill_ap_table_norda_rrm(radio, table);
        if (result != 0) return result;
    }
    return 0;
}

int driver::_fill_ap_table_norda_rrm(const radio_info& radio, std::vector<scan_result>& table) {
    if (is_radio_reserved(radio.id) || is_sentry(radio)) return 0;
    radioctl_ctx* const context = radioctl_context();
    if (context == nullptr) {
        log_error(daemon_logger, "<%s:%d> Cannot get Radioctl context!\n", __func__, __LINE__);
        return -1;
    }
    const std::string iface = get_active_ifname(radio);
    if (iface.empty()) {
        log_error(daemon_logger, "<%s:%d> No active interface on radio '%s'\n", __func__, __LINE__,
                  radio.ifname.c_str());
        return -1;
    }

    std::array<std::uint8_t, RADIOCTL_RRM_SIZE> buffer{};
    const int result = radioctl_rrm_scan_get_result(context, iface.c_str(), buffer.data());
    const auto head = read_rrm_head(buffer);
    if (head.magic != RADIOCTL_RRM_MAGIC) {
        log_debug(daemon_logger, "Scan results for %s incorrect magic %x\n", radio.ifname.c_str(),
                  head.magic);
        return -1;
    }
    if (head.running) {
        log_debug(daemon_logger, "Can't get rrm scan results, it is still in progress!\n");
        return -1;
    }
    if (head.count < 1) {
        log_debug(daemon_logger, "No rrm scan AP data for %s.\n", iface.c_str());
        return result;
    }

    log_debug(daemon_logger, "Added AP data to rrm scan result list for %s: \n", iface.c_str());
    for (const auto& entry : read_rrm_entries(buffer)) {
        table.push_back(to_scan_result(entry, head.band));
    }
    return result;
}

scan_result driver::to_scan_result(const rrm_scan_entry& entry, int band) {
    scan_result result;
    result.bssid = entry.bssid;
    result.rssi = entry.rssi;
    result.tx_power = entry.tx_power;
    result.bandwidth = chanspec_bw(entry.chanspec);
    result.sideband = entry.chanspec & chanspec_sideband_mask;
    result.channel =
        primary_of_centre(chanspec_channel(entry.chanspec), result.sideband, result.bandwidth);
    result.band = band;

    log_info(daemon_logger,
             "\t - mac(%s), channel(%d), bw(%d), rssi(%d), power(%d), band(%d), prim_ch(%d);\n",
             result.bssid.text().c_str(), result.channel, result.bandwidth, result.rssi,
             result.tx_power, result.band, result.sideband);
    return result;
}

}  // namespace rfcd
