// Starts and stops scans. A start locks every radio, usable or not. When the scan of a radio does
// not start, the driver stops it and, if that succeeds, unlocks the radio.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "base/bands.h"
#include "base/interface_names.h"
#include "driver/driver.h"
#include "driver/radio_library.h"
#include "main/logging.h"

namespace rfcd {

namespace {

constexpr int rrm_scan_seconds = 8;

// The radio library defines these numbers.
constexpr int lock_purpose_active = 22;
constexpr int lock_purpose_rrm = 13;
constexpr std::uint32_t scan_option_40 = 0x100000;
constexpr std::uint16_t scan_option_44 = 0x2ab;
constexpr std::uint8_t scan_option_80 = 1;

// The library reads the record by byte offset.
static_assert(sizeof(radioctl_scan_params) == 88);
static_assert(offsetof(radioctl_scan_params, frequencies) == 0);
static_assert(offsetof(radioctl_scan_params, frequency_count) == 8);
static_assert(offsetof(radioctl_scan_params, reserved_16) == 16);
static_assert(offsetof(radioctl_scan_params, option_40) == 40);
static_assert(offsetof(radioctl_scan_params, option_44) == 44);
static_assert(offsetof(radioctl_scan_params, reserved_46) == 46);
static_assert(offsetof(radioctl_scan_params, option_80) == 80);
static_assert(offsetof(radioctl_scan_params, reserved_81) == 81);

// How many seconds an active scan of a band takes when the channel list is empty.
int full_scan_seconds(int band) {
    const auto* const known = find_band(band);
    if (known == nullptr) throw std::out_of_range("map::at");
    return known->full_scan_seconds;
}

// 0.7 s for each channel, plus one second.
int active_scan_seconds(std::size_t channels, int without_channels) {
    return channels == 0 ? without_channels : static_cast<int>(channels * 7 / 10 + 1);
}

int get_ch_to_freq(int band, int channel) {
    if (const auto mhz = channel_frequency(band, channel)) return *mhz;
    log_error(daemon_logger, "<%s:%d> unknown band\n", __func__, __LINE__);
    return 0;
}

// In MHz. Leaves out a channel whose frequency the radio library's record cannot hold.
std::vector<std::uint32_t> frequencies_of(int band, const std::set<int>& channels) {
    std::vector<std::uint32_t> frequencies;
    for (const int channel : channels) {
        const int mhz = get_ch_to_freq(band, channel);
        if (mhz > 0) frequencies.push_back(static_cast<std::uint32_t>(mhz));
    }
    return frequencies;
}

// The caller keeps `frequencies` until the scan has started.
radioctl_scan_params active_scan_params(const std::vector<std::uint32_t>& frequencies) {
    radioctl_scan_params params{};
    params.frequencies = frequencies.data();
    params.frequency_count = frequencies.size();
    params.option_40 = scan_option_40;
    params.option_44 = scan_option_44;
    params.option_80 = scan_option_80;
    return params;
}

bool any_runs(const std::map<std::string, bool>& scans) {
    return std::any_of(scans.begin(), scans.end(), [](const auto& scan) { return scan.second; });
}

}  // namespace

const char* driver::name_of(scan_kind kind) { return kind == scan_kind::active ? "active" : "RRM"; }

driver::scan_state& driver::scans_of(scan_kind kind) {
    return kind == scan_kind::active ? active_scans_ : rrm_scans_;
}

bool driver::is_usable_for_scan(const radio_info& radio) const {
    return is_up(radio) && !is_sentry(radio);
}

// The system interface through which the radio library reaches a radio: that of the first VAP that
// is up. Empty when no VAP is up; the caller logs that.
std::string driver::get_active_ifname(const radio_info& radio) const {
    if (!is_up(radio)) return "";
    for (const auto& vap : radio.vaps) {
        if (vap.up) return vap_to_ifname(vap.ifname);
    }
    return "";
}

bool driver::is_scan_in_progress() { return any_runs(active_scans_) || any_runs(rrm_scans_); }

int driver::start_scan(bool active, const scan_channel_map& channels, int* wait_seconds) {
    if (!guard() || is_scan_in_progress()) return 0;
    const auto kind = active ? scan_kind::active : scan_kind::rrm;
    log_info(daemon_logger, "Attempt to start %s scanning...\n", name_of(kind));
    for (const auto& radio : radios_) start_on_radio(kind, radio, channels, wait_seconds);
    return 0;
}

void driver::start_on_radio(scan_kind kind, const radio_info& radio,
                            const scan_channel_map& channels, int* wait_seconds) {
    const char* name = radio.ifname.c_str();
    lock_scan(name);

    if (is_usable_for_scan(radio) &&
        (kind == scan_kind::active ? start_active_scan(radio, channels, wait_seconds)
                                   : start_rrm_scan(radio, channels, wait_seconds))) {
        scans_of(kind)[name] = true;
        log_info(daemon_logger, "Start %s scanning for radio '%s'\n", name_of(kind), name);
        return;
    }

    log_error(daemon_logger, "Failed to start %s scanning for radio '%s'\n", name_of(kind), name);
    if (!end_scan(kind, radio)) return;
    unlock_scan(name);
    log_info(daemon_logger, "Stop %s scanning for radio '%s'\n", name_of(kind), name);
}

bool driver::start_active_scan(const radio_info& radio, const scan_channel_map& channels,
                               int* wait_seconds) {
    const char* name = radio.ifname.c_str();
    if (active_scans_[name] && stop_active_scan(radio) != 0) {
        log_error(daemon_logger, "<%s:%d> Failed to stop active scan on radio '%s'\n", __func__,
                  __LINE__, name);
        return false;
    }
    active_scans_[name] = false;

    const auto& list = channels.at(radio.band);
    const int seconds = active_scan_seconds(list.size(), full_scan_seconds(radio.band));
    *wait_seconds = std::max(*wait_seconds, seconds);
    const auto frequencies = frequencies_of(radio.band, list);
    const auto params = active_scan_params(frequencies);

    radioctl_ctx* const context = radioctl_context();
    if (context == nullptr) return false;
    const std::string iface = get_active_ifname(radio);
    if (iface.empty()) {
        log_error(daemon_logger, "<%s:%d> No active interface on radio '%s'\n", __func__, __LINE__,
                  name);
        return false;
    }

    int result = radioctl_lock_and_stop_scan(context, iface.c_str(), lock_purpose_active);
    if (result == 0) result = radioctl_start_scan(context, iface.c_str(), &params);
    if (result == 0) return true;
    log_error(daemon_logger, "<%s:%d> ret=%d\n", __func__, __LINE__, result);
    return false;
}

bool driver::start_rrm_scan(const radio_info& radio, const scan_channel_map& channels,
                            int* wait_seconds) {
    const auto& list = channels.at(radio.band);
    radioctl_ctx* const context = radioctl_context();
    if (context == nullptr) {
        log_error(daemon_logger, "<%s:%d> Cannot get Radioctl context!\n", __func__, __LINE__);
        return false;
    }
    if (list.empty()) {
        log_error(daemon_logger, "<%s:%d> Channel list is empty!\n", __func__, __LINE__);
        return false;
    }
    const std::string iface = get_active_ifname(radio);
    if (iface.empty()) {
        log_error(daemon_logger, "<%s:%d> No active interface on radio '%s'\n", __func__, __LINE__,
                  radio.ifname.c_str());
        return false;
    }

    const int channel = *list.begin();
    *wait_seconds = rrm_scan_seconds;
    const int result = radioctl_lock_and_stop_scan(context, iface.c_str(), lock_purpose_rrm);
    if (result != 0) {
        log_error(daemon_logger, "<%s:%d> ret=%d\n", __func__, __LINE__, result);
        return false;
    }
    log_info(daemon_logger, "Execute RRM scan on channel %d time %d\n", channel, rrm_scan_seconds);
    radioctl_rrm_scan_init(context, iface.c_str(), channel);
    return true;
}

int driver::stop_scan(bool /*active: every kind is stopped*/) {
    if (!initialized_ || !is_scan_in_progress()) return 0;
    log_info(daemon_logger, "Attempt to stop scanning...\n");
    for (const auto& radio : radios_) {
        if (active_scans_[radio.ifname]) {
            stop_on_radio(scan_kind::active, radio);
        } else if (rrm_scans_[radio.ifname]) {
            stop_on_radio(scan_kind::rrm, radio);
        }
    }
    return 0;
}

// Does the same as a failed start, but logs the line before it unlocks the radio.
void driver::stop_on_radio(scan_kind kind, const radio_info& radio) {
    if (!end_scan(kind, radio)) return;
    log_info(daemon_logger, "Stop %s scanning for radio '%s'\n", name_of(kind),
             radio.ifname.c_str());
    unlock_scan(radio.ifname);
}

// Returns false when the scan cannot be stopped; it then still counts as running.
bool driver::end_scan(scan_kind kind, const radio_info& radio) {
    const int result = kind == scan_kind::active ? stop_active_scan(radio) : stop_rrm_scan(radio);
    if (result != 0) {
        log_error(daemon_logger, "Cannot stop %s scanning for radio '%s'", name_of(kind),
                  radio.ifname.c_str());
        return false;
    }
    scans_of(kind)[radio.ifname] = false;
    return true;
}

int driver::stop_active_scan(const radio_info& radio) {
    radioctl_ctx* const context = is_up(radio) ? radioctl_context() : nullptr;
    if (context == nullptr) return -1;
    const std::string iface = get_active_ifname(radio);
    if (iface.empty()) {
        log_error(daemon_logger, "<%s:%d> No active interface on radio '%s'\n", __func__, __LINE__,
                  radio.ifname.c_str());
        return -1;
    }

    int result = radioctl_scan_abort(context, iface.c_str());
    if (result == 0) result = radioctl_stop_rrm_and_unlock_scan(context, iface.c_str());
    if (result == 0) return 0;
    log_error(daemon_logger, "<%s:%d> ret=%d\n", __func__, __LINE__, result);
    return -1;
}

int driver::stop_rrm_scan(const radio_info& radio) {
    radioctl_ctx* const context = is_up(radio) ? radioctl_context() : nullptr;
    if (context == nullptr) return -1;
    const std::string iface = get_active_ifname(radio);
    if (iface.empty()) {
        log_error(daemon_logger, "<%s:%d> No active interface on radio '%s'\n", __func__, __LINE__,
                  radio.ifname.c_str());
        return -1;
    }

    const int result = radioctl_stop_rrm_and_unlock_scan(context, iface.c_str());
    if (result == 0) return 0;
    log_error(daemon_logger, "<%s:%d> ret=%d\n", __func__, __LINE__, result);
    return -1;
}

void driver::stop_all_scans() {
    if (!initialized_) return;
    stop_scan(true);
    stop_scan(false);
}

}  // namespace rfcd
