#include "rrm/scan_session.h"

#include <syslog.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "base/bands.h"
#include "base/monotonic_clock.h"
#include "main/logging.h"
#include "rrm/rrm_timer.h"

namespace rfcd {

namespace {

constexpr std::size_t max_scan_channels = 65'536;  // for each band

// Reads the number at the beginning of `text` and moves `text` past it. Null when the text does not
// begin with a number.
std::optional<int> next_number(const char*& text) {
    // Whether a text without a number moves strtol's end depends on the C library.
    const char* start = text + std::strspn(text, " \t\n\v\f\r");
    const char* digits = *start == '-' || *start == '+' ? start + 1 : start;
    if (*digits < '0' || *digits > '9') return std::nullopt;

    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(start, &end, 10);
    if (errno == ERANGE || number < INT_MIN || number > INT_MAX) return std::nullopt;

    text = end;
    return static_cast<int>(number);
}

void add_scan_result(json_writer& list, const scan_result& result, const char* primary_channel) {
    auto object = list.add_object();
    object.add_string("bssid", result.bssid.text().c_str());
    object.add_int("rssi", result.rssi);
    object.add_int("channel", result.channel);
    object.add_int("tx-power", result.tx_power);
    object.add_string("primary-channel", primary_channel);
    object.add_int("bandwidth", result.bandwidth);
    object.add_int("band", result.band);
}

}  // namespace

scan_session::scan_session(driver_interface& drv, timer_list& timers, outgoing_messages& messages)
    : drv_(drv), timers_(timers), messages_(messages) {}

void scan_session::process_rrm_update(const json_reader& message) {
    log_debug(daemon_logger, "process_rrm_update:\n");
    const std::int32_t delay = message.get_int("rrm-scan-delay");
    active_scan_ = message.get_int("norda-rrm-scanning") == 0;
    response_delay_ = active_scan_ ? 0 : static_cast<std::uint32_t>(delay);
    rebuild_scan_channels(message);

    timers_.cancel_timers(timer_scan_delay);
    timers_.cancel_timers(timer_scan_sweep);
    if (delay > 0) {
        timers_.add_timer([this] { begin_scan(); }, timer_scan_delay, delay);
    } else {
        begin_scan();
    }
}

void scan_session::abandon_scan() {
    drv_.stop_scan(true);
    clear_scan_results();
    timers_.cancel_timers(timer_scan_delay);
    timers_.cancel_timers(timer_scan_sweep);
    timers_.cancel_timers(timer_response_delay);
}

void scan_session::cancel_held_report() { timers_.cancel_timers(timer_response_delay); }

void scan_session::clear_scan_results() {
    for (auto& list : scan_results_) list.clear();
}

// Each element of the list names channels of one or more bands, as numbers between blanks. The rest
// of a text is ignored from the first word that is not a number. Every number is accepted, even one
// that is not a channel: the driver decides what it passes to the radio library.
void scan_session::rebuild_scan_channels(const json_reader& message) {
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

// Logs an error and returns false when the band would get too many channels.
bool scan_session::add_scan_channel(int band, int channel) {
    auto& channels = scan_channels_[band];
    channels.insert(channel);
    if (channels.size() <= max_scan_channels) return true;

    channels.erase(channel);
    log_error(daemon_logger, "rrm: more than %zu channels to scan, the rest is left out\n",
              max_scan_channels);
    return false;
}

void scan_session::begin_scan() {
    drv_.stop_scan(true);
    start_sweep();
    scan_sweep_ = 0;
}

// Starts a scan of the kind that the service wants, and the timer for its end.
void scan_session::start_sweep() {
    syslog(LOG_INFO, "Started scan by skylark");
    int seconds = 0;
    drv_.start_scan(active_scan_, scan_channels_, &seconds);

    timers_.cancel_timers(timer_scan_sweep);
    timers_.add_timer([this] { scan_finished(); }, timer_scan_sweep, seconds);
}

void scan_session::scan_finished() {
    log_debug(daemon_logger, "scan_finished\n");
    drv_.stop_scan(true);

    auto& list = scan_results_.at(scan_sweep_);
    if (active_scan_) {
        drv_._fill_ap_table(list);
        finish_sweep();
    } else {
        drv_.fill_rrm_ap_table(list);
        finish_rrm_scan();
    }
}

void scan_session::finish_sweep() {
    if (++scan_sweep_ < sweep_count) {
        start_sweep();
    } else {
        report_and_clear();
    }
}

void scan_session::finish_rrm_scan() {
    if (response_delay_ == 0) {
        report_and_clear();
    } else {
        timers_.add_timer([this] { send_rrm_response_delayed(); }, timer_response_delay,
                          static_cast<std::int32_t>(response_delay_));
    }
}

void scan_session::send_rrm_response_delayed() {
    timers_.cancel_timers(timer_response_delay);
    report_and_clear();
}

void scan_session::report_and_clear() {
    send_rrm_response();
    clear_scan_results();
}

void scan_session::send_rrm_response() {
    if (!drv_.is_initialized()) {
        log_debug(daemon_logger, "Not sending rrm-response because hostapd is not running\n");
        return;
    }
    messages_.send_radios("rrm-response",
                          [this](json_writer& message) { return add_rf_environment(message); });

    std::size_t neighbours = 0;
    for (const auto& sweep : scan_results_) neighbours += sweep.size();
    last_report_ = {.time = monotonic_now().tv_sec,
                    .neighbours = static_cast<std::uint32_t>(neighbours)};
}

// Adds one inner array for each sweep that found anything. Returns false when it could not make the
// outer array.
bool scan_session::add_rf_environment(json_writer& message) {
    auto environment = message.add_array("rf-environment");
    if (!environment.made()) return false;

    for (const auto& sweep : scan_results_) {
        if (sweep.empty()) continue;
        auto list = environment.add_array();
        for (const auto& result : sweep) {
            add_scan_result(list, result,
                            drv_.primary_channel_to_string(result.sideband, result.bandwidth));
        }
    }
    return true;
}

}  // namespace rfcd
