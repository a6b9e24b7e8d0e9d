// Scans and their reports: what "rrm-update" sets in motion, and what the radios heard.
#include <syslog.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>

#include "base/bands.h"
#include "main/logging.h"
#include "rrm/rrm_worker.h"

namespace rfcd {

namespace {

constexpr std::uint32_t event_radio_changed = 2;
constexpr std::int32_t config_changed_delay = 10;  // seconds
constexpr std::size_t max_scan_channels = 65'536;  // of a band

// The number that the text begins with, and the text after it; null when there is none.
std::optional<int> next_number(const char*& text) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text, &end, 10);
    if (end == text || errno == ERANGE || number < INT_MIN || number > INT_MAX) return std::nullopt;
    text = end;
    return static_cast<int>(number);
}

void add_scan_result(json_writer& list, const scan_result& result, const char* primary_channel) {
    json_writer object(false, list, nullptr);
    object.add_string("bssid", result.bssid.text().c_str());
    object.add_int("rssi", result.rssi);
    object.add_int("channel", result.channel);
    object.add_int("tx-power", result.tx_power);
    object.add_string("primary-channel", primary_channel);
    object.add_int("bandwidth", result.bandwidth);
    object.add_int("band", result.band);
}

}  // namespace

void rrm_worker::process_rrm_update(const json_reader& message) {
    log_debug(daemon_logger, "process_rrm_update:\n");
    const std::int32_t delay = message.get_int("rrm-scan-delay");
    active_scan_ = message.get_int("norda-rrm-scanning") == 0;
    response_delay_ = active_scan_ ? 0 : static_cast<std::uint32_t>(delay);
    rebuild_scan_channels(message);
    timers_.cancel_timers(timer_scan_delay);
    timers_.cancel_timers(timer_scan_sweep);
    if (delay > 0) {
        arm_timer(timer_scan_delay, delay);
    } else {
        begin_scan();
    }
}

// Each element names channels of one or more bands, as numbers between blanks; what follows the
// first text that is no number is not read. Every number counts, channel or not: the driver decides
// what the radio library is handed.
void rrm_worker::rebuild_scan_channels(const json_reader& message) {
    scan_channels_.clear();
    const auto list = message.get_object("rrm-scan-channels-list");
    for (std::int32_t i = 0; i < list.array_length(); ++i) {
        const auto element = list.get_array_item(i);
        for (const auto& band : bands) {
            const char* text = element.get_string(band.key);
            if (text == nullptr) continue;
            while (const auto channel = next_number(text)) {
                if (!add_scan_channel(band.number, *channel)) return;
            }
        }
    }
}

// False, and the failure logged, when the band has too many.
bool rrm_worker::add_scan_channel(int band, int channel) {
    auto& channels = scan_channels_[band];
    channels.insert(channel);
    if (channels.size() <= max_scan_channels) return true;
    channels.erase(channel);
    log_error(daemon_logger, "rrm: more than %zu channels to scan, the rest is left out\n",
              max_scan_channels);
    return false;
}

void rrm_worker::begin_scan() {
    drv_->stop_scan(true);
    start_sweep();
    scan_sweep_ = 0;
}

// Starts a scan of the kind that was asked for, and the timer of its end.
void rrm_worker::start_sweep() {
    syslog(LOG_INFO, "Started scan by skylark");
    int seconds = 0;
    drv_->start_scan(active_scan_, scan_channels_, &seconds);
    timers_.cancel_timers(timer_scan_sweep);
    arm_timer(timer_scan_sweep, seconds);
}

void rrm_worker::scan_finished() {
    log_debug(daemon_logger, "scan_finished\n");
    drv_->stop_scan(true);
    auto& list = scan_results_.at(scan_sweep_);
    if (active_scan_) {
        drv_->_fill_ap_table(list);
        if (++scan_sweep_ < sweep_count) {
            start_sweep();
            return;
        }
    } else {
        drv_->fill_rrm_ap_table(list);
        if (response_delay_ != 0) {
            arm_timer(timer_response_delay, static_cast<std::int32_t>(response_delay_));
            return;
        }
    }
    send_rrm_response();
    clear_scan_results();
}

void rrm_worker::send_rrm_response_delayed() {
    timers_.cancel_timers(timer_response_delay);
    send_rrm_response();
    clear_scan_results();
}

void rrm_worker::send_rrm_response() {
    if (!drv_->is_initialized()) {
        log_debug(daemon_logger, "Not sending rrm-response because hostapd is not running\n");
        return;
    }
    auto message = make_message("rrm-response");
    if (!message.made()) return;
    message.add_string("domain", domain_.c_str());
    if (add_radios(message) && add_rf_environment(message)) send(message);
}

// One inner array a sweep that found anything. False when the outer one could not be made.
bool rrm_worker::add_rf_environment(json_writer& message) {
    json_writer environment(true, message, "rf-environment");
    if (!environment.made()) return false;
    for (const auto& sweep : scan_results_) {
        if (sweep.empty()) continue;
        json_writer list(true, environment, nullptr);
        for (const auto& result : sweep) {
            add_scan_result(list, result,
                            drv_->primary_channel_to_string(result.sideband, result.bandwidth));
        }
    }
    return true;
}

void rrm_worker::config_changed_timer() {
    send_config_changed();
    timers_.cancel_timers(timer_config_changed);
}

// A burst of changes is reported once, a while after the last of them.
void rrm_worker::handle_driver_event(const driver_event_desc& event) {
    if (!subscribed_ || event.type != event_radio_changed) return;
    timers_.cancel_timers(timer_config_changed);
    arm_timer(timer_config_changed, config_changed_delay);
}

void rrm_worker::clear_scan_results() {
    for (auto& list : scan_results_) list.clear();
}

}  // namespace rfcd
