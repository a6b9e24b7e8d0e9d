// Starting and stopping scans. A radio is locked for every scan, usable or not; one that does not
// start is stopped again and, when that succeeds, unlocked.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "base/bands.h"
#include "base/interface_names.h"
#include "driver/driver.h"
#include "driver/radio_context.h"
#include "main/logging.h"

namespace rfcd {

namespace {

constexpr int rrm_scan_seconds = 8;

// The radio library's own numbers.
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

// Seconds that an active scan of a band takes when no channels are named.
int full_scan_seconds(int band) {
    const auto* const known = find_band(band);
    if (known == nullptr) throw std::out_of_range("map::at");
    return known->full_scan_seconds;
}

// 0.7 s a channel and one second.
int active_scan_seconds(std::size_t channels, int without_channels) {
    return channels == 0 ? without_channels : static_cast<int>(channels * 7 / 10 + 1);
}

}  // namespace

// What the two kinds of scan differ in.
struct driver::scan_kind {
    const char* name;
    scan_state driver::*running;
    bool (driver::*start)(const std::string& name, const scan_channel_map& channels,
                          int* wait_seconds);
    int (driver::*stop)(const std::string& name);

    static const scan_kind active;
    static const scan_kind rrm;
};

constexpr driver::scan_kind driver::scan_kind::active{
    "active", &driver::active_scans_, &driver::start_active_scan, &driver::stop_active_scan};
constexpr driver::scan_kind driver::scan_kind::rrm{"RRM", &driver::rrm_scans_,
                                                   &driver::start_rrm_scan, &driver::stop_rrm_scan};

bool driver::is_usable_for_scan(int radio) { return is_radio_up(radio) && !is_sentry_radio(radio); }

// The system interface through which the radio library reaches a radio: that of its first VAP that
// is up. Empty when there is none, which is logged as from the caller's `function` and `line`.
std::string driver::get_active_ifname(const std::string& radio_name, const char* function,
                                      int line) {
    if (const int radio = ifname_to_radio_id(radio_name); is_radio_up(radio)) {
        for (const auto& vap : get_radio(radio)->vaps) {
            if (vap.up) return vap_to_ifname(vap.ifname);
        }
    }
    log_error(daemon_logger, "<%s:%d> No active interface on radio '%s'\n", function, line,
              radio_name.c_str());
    return "";
}

bool driver::is_scan_in_progress() {
    for (const auto* scans : {&active_scans_, &rrm_scans_}) {
        for (const auto& [name, running] : *scans) {
            if (running) return true;
        }
    }
    return false;
}

int driver::start_scan(bool active, const scan_channel_map& channels, int* wait_seconds) {
    if (!guard() || is_scan_in_progress()) return 0;
    const scan_kind& kind = active ? scan_kind::active : scan_kind::rrm;
    log_info(daemon_logger, "Attempt to start %s scanning...\n", kind.name);
    for (const auto& radio : radios_) start_on_radio(kind, radio.ifname, channels, wait_seconds);
    return 0;
}

void driver::start_on_radio(const scan_kind& kind, const std::string& name,
                            const scan_channel_map& channels, int* wait_seconds) {
    lock_scan(name);
    auto& running = this->*kind.running;
    if (is_usable_for_scan(ifname_to_radio_id(name)) &&
        (this->*kind.start)(name, channels, wait_seconds)) {
        running[name] = true;
        log_info(daemon_logger, "Start %s scanning for radio '%s'\n", kind.name, name.c_str());
        return;
    }
    log_error(daemon_logger, "Failed to start %s scanning for radio '%s'\n", kind.name,
              name.c_str());
    // As in stop_on_radio, but here the last line comes after the unlocking.
    if ((this->*kind.stop)(name) != 0) {
        log_error(daemon_logger, "Cannot stop %s scanning for radio '%s'", kind.name, name.c_str());
        return;
    }
    running[name] = false;
    unlock_scan(name);
    log_info(daemon_logger, "Stop %s scanning for radio '%s'\n", kind.name, name.c_str());
}

bool driver::start_active_scan(const std::string& name, const scan_channel_map& channels,
                               int* wait_seconds) {
    if (active_scans_[name] && stop_active_scan(name) != 0) {
        log_error(daemon_logger, "<%s:%d> Failed to stop active scan on radio '%s'\n", __func__,
                  __LINE__, name.c_str());
        return false;
    }
    active_scans_[name] = false;
    const int band = get_band_from_ifname(name.c_str());
    const auto& list = channels.at(band);
    const int seconds = active_scan_seconds(list.size(), full_scan_seconds(band));
    if (*wait_seconds < seconds) *wait_seconds = seconds;

    const auto frequencies = frequencies_of(band, list);
    radioctl_scan_params params{};
    params.frequencies = frequencies.data();
    params.frequency_count = frequencies.size();
    params.option_40 = scan_option_40;
    params.option_44 = scan_option_44;
    params.option_80 = scan_option_80;

    radioctl_ctx* const context = radioctl_context();
    if (context == nullptr) return false;
    const std::string iface = get_active_ifname(name, __func__, __LINE__);
    if (iface.empty()) return false;
    int result = radioctl_lock_and_stop_scan(context, iface.c_str(), lock_purpose_active);
    if (result == 0) result = radioctl_start_scan(context, iface.c_str(), &params);
    if (result != 0) {
        log_error(daemon_logger, "<%s:%d> ret=%d\n", __func__, __LINE__, result);
    }
    return result == 0;
}

bool driver::start_rrm_scan(const std::string& name, const scan_channel_map& channels,
                            int* wait_seconds) {
    const auto& list = channels.at(get_band_from_ifname(name.c_str()));
    radioctl_ctx* const context = radioctl_context();
    if (context == nullptr) {
        log_error(daemon_logger, "<%s:%d> Cannot get Radioctl context!\n", __func__, __LINE__);
        return false;
    }
    if (list.empty()) {
        log_error(daemon_logger, "<%s:%d> Channel list is empty!\n", __func__, __LINE__);
        return false;
    }
    const std::string iface = get_active_ifname(name, __func__, __LINE__);
    if (iface.empty()) return false;
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

int driver::stop_active_scan(const std::string& name) { return end_scan(name, true, __func__); }

int driver::stop_rrm_scan(const std::string& name) { return end_scan(name, false, __func__); }

// An active scan has to be aborted first. `function` is what the log lines are to name.
int driver::end_scan(const std::string& name, bool abort_first, const char* function) {
    radioctl_ctx* const context =
        is_radio_up(ifname_to_radio_id(name)) ? radioctl_context() : nullptr;
    if (context == nullptr) return -1;
    const std::string iface = get_active_ifname(name, function, __LINE__);
    if (iface.empty()) return -1;
    int result = abort_first ? radioctl_scan_abort(context, iface.c_str()) : 0;
    if (result == 0) result = radioctl_stop_rrm_and_unlock_scan(context, iface.c_str());
    if (result == 0) return 0;
    log_error(daemon_logger, "<%s:%d> ret=%d\n", function, __LINE__, result);
    return -1;
}

int driver::stop_scan(bool /*active: every kind is stopped*/) {
    if (!initialized_ || !is_scan_in_progress()) return 0;
    log_info(daemon_logger, "Attempt to stop scanning...\n");
    for (const auto& radio : radios_) {
        if (active_scans_[radio.ifname]) {
            stop_on_radio(scan_kind::active, radio.ifname);
        } else if (rrm_scans_[radio.ifname]) {
            stop_on_radio(scan_kind::rrm, radio.ifname);
        }
    }
    return 0;
}

void driver::stop_on_radio(const scan_kind& kind, const std::string& name) {
    if ((this->*kind.stop)(name) != 0) {
        log_error(daemon_logger, "Cannot stop %s scanning for radio '%s'", kind.name, name.c_str());
        return;
    }
    log_info(daemon_logger, "Stop %s scanning for radio '%s'\n", kind.name, name.c_str());
    (this->*kind.running)[name] = false;
    unlock_scan(name);
}

void driver::stop_all_scans() {
    if (!initialized_) return;
    stop_scan(true);
    stop_scan(false);
}

// In MHz. A number whose frequency the radio library's record cannot hold is left out.
std::vector<std::uint32_t> driver::frequencies_of(int band, const std::set<int>& channels) {
    std::vector<std::uint32_t> frequencies;
    for (const int channel : channels) {
        const int mhz = get_ch_to_freq(band, channel);
        if (mhz > 0) frequencies.push_back(static_cast<std::uint32_t>(mhz));
    }
    return frequencies;
}

int driver::get_ch_to_freq(int band, int channel) {
    if (const auto mhz = channel_frequency(band, channel)) return *mhz;
    log_error(daemon_logger, "<%s:%d> unknown band\n", __func__, __LINE__);
    return 0;
}

}  // namespace rfcd
