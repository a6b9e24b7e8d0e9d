#include "aplocald/radio_settings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <string_view>

#include "aplocald/hostapd_text.h"
#include "aplocald/json.h"
#include "base/interface_names.h"
#include "base/store_paths.h"

namespace aplocal {

namespace {

// Far beyond what any radio sends with; the kernel's unit is a hundredth of this.
constexpr int greatest_power_dbm = 100;

bool is_power(int dbm) { return -greatest_power_dbm <= dbm && dbm <= greatest_power_dbm; }

std::optional<int> read_number(const std::string& text) {
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && rest == end && !text.empty() ? std::optional(number)
                                                                : std::nullopt;
}

sideband sideband_of(const std::string& text) {
    if (text == "upper") return sideband::upper;
    return text == "lower" ? sideband::lower : sideband::any;
}

// The band by the radio's number counts only while the radio is on no channel.
int band_of(const std::string& radio, const nl80211::channel& on) {
    const int by_channel = channel_of_frequency(on.primary_mhz).band;
    if (by_channel != 0) return by_channel;
    const int number = rfcd::ifname_to_radio_id(radio);
    return number == 0 ? 2 : number == 1 ? 5 : 6;
}

std::string channel_text(const nl80211::channel& channel) {
    return "channel " + std::to_string(channel_of_frequency(channel.primary_mhz).number) +
           " with " + std::to_string(channel.width_mhz) + " MHz";
}

// hostapd's modes after a switch are those of the command, so a mode that a wide channel needs is
// asked for even if an earlier, narrow channel had it not.
phy_modes modes_for(const nl80211::channel& target, const std::string& status) {
    const int band = channel_of_frequency(target.primary_mhz).band;
    phy_modes modes{.ht = value_of(status, "ieee80211n") == "1",
                    .vht = value_of(status, "ieee80211ac") == "1",
                    .he = value_of(status, "ieee80211ax") == "1"};
    if (band == 6) return {.ht = false, .vht = false, .he = true};
    modes.ht = modes.ht || target.width_mhz > 20;
    modes.vht = modes.vht || target.width_mhz > 40;
    return modes;
}

}  // namespace

radio_settings::~radio_settings() {
    if (timer_) tools_.loop.cancel(*timer_);
}

void radio_settings::apply(const std::string& radio, const parameters& wanted,
                           result_handler done) {
    request job;
    job.radio = rfcd::vap_to_ifname(radio);
    job.done = std::move(done);
    if (const auto problem = read(wanted, job)) return job.done(problem);
    if (waiting_.size() >= max_waiting) return job.done("too many settings are waiting");

    waiting_.push_back(std::move(job));
    serve_next();
}

// Returns the reason when a parameter is unknown or has a wrong value.
std::optional<std::string> radio_settings::read(const parameters& wanted, request& into) {
    static constexpr struct {
        std::string_view key;
        std::optional<int> request::*number;
    } numbers[] = {
        {.key = "channel", .number = &request::channel},
        {.key = "bandwidth", .number = &request::bandwidth},
        {.key = "tx-power", .number = &request::tx_power},
    };

    for (const auto& [key, text] : wanted) {
        const auto* const row =
            std::find_if(std::begin(numbers), std::end(numbers),
                         [&name = key](const auto& r) { return r.key == name; });
        const bool is_number = row != std::end(numbers);
        if (is_number) into.*row->number = read_number(text);
        if (key == "control-sideband") into.place = sideband_of(text);
        if (key == "auto-channel") into.auto_channel = text;

        if (!is_number && key != "control-sideband" && key != "auto-channel") {
            return "unknown parameter " + key;
        }
        // Who wants hostapd to choose says so in hostapd's configuration.
        const bool hostapd_chooses = key == "auto-channel" && text != "false";
        const bool wrong_number = is_number && !(into.*row->number);
        const bool wrong_power = into.tx_power && !is_power(*into.tx_power);
        if (hostapd_chooses || wrong_number || wrong_power) {
            return key + " cannot be \"" + text + "\"";
        }
    }
    return std::nullopt;
}

void radio_settings::serve_next() {
    while (!waiting_.empty() && !switching_) {
        const request& job = waiting_.front();
        auto problem = plan(job);
        if (!problem) problem = check_power(job);
        if (!problem) problem = store_auto_channel(job);
        if (!problem) problem = start_switch(job);
        if (!problem && switching_) return await_switch(tools_.switch_limit);
        finish(problem ? problem : set_power(job));
    }
}

// Finds the channel that the radio will have, with what it has now for what is not asked for.
std::optional<std::string> radio_settings::plan(const request& job) {
    const auto info = tools_.kernel.state(job.radio);
    if (!info) return "there is no radio " + job.radio;
    target_ = info->on;
    if (!job.channel && !job.bandwidth && !job.place) return std::nullopt;

    const int band = band_of(job.radio, info->on);
    const int now = channel_of_frequency(info->on.primary_mhz).number;
    const auto planned =
        plan_channel({.band = band, .number = job.channel.value_or(now)},
                     job.bandwidth.value_or(info->on.width_mhz), job.place.value_or(sideband::any));
    if (!planned.problem.empty()) return planned.problem;

    // Without a wish, a 40 MHz channel that is already there may stay on either side.
    const bool same_but_side = planned.channel.primary_mhz == info->on.primary_mhz &&
                               planned.channel.width_mhz == info->on.width_mhz;
    const bool any_side = job.place.value_or(sideband::any) == sideband::any;
    if (!same_but_side || !any_side) target_ = planned.channel;
    return std::nullopt;
}

std::optional<std::string> radio_settings::check_power(const request& job) {
    if (!job.tx_power) return std::nullopt;

    for (const auto& frequency : tools_.kernel.frequencies(job.radio)) {
        if (frequency.mhz != target_.primary_mhz || *job.tx_power <= frequency.max_power_dbm) {
            continue;
        }
        return std::to_string(*job.tx_power) + " dBm are more than the " +
               std::to_string(static_cast<int>(std::floor(frequency.max_power_dbm))) +
               " dBm allowed on this channel";
    }
    return std::nullopt;
}

std::optional<std::string> radio_settings::store_auto_channel(const request& job) {
    const auto path = rfcd::radio_setting_path(job.radio, "auto-channel");
    const bool kept = !tools_.stored.get(path);  // "false" goes without saying
    if (!job.auto_channel || kept) return std::nullopt;
    return tools_.stored.set(path, json_string(*job.auto_channel));
}

std::optional<std::string> radio_settings::start_switch(const request& job) {
    const auto info = tools_.kernel.state(job.radio);
    if (info && info->on == target_) return std::nullopt;

    using kind = hostapd_control::reply::kind;
    const std::string prefix = "IFNAME=" + job.radio + " ";
    const auto status = tools_.hostapd(prefix + "STATUS");
    if (status.what == kind::gone) return "hostapd does not run";
    if (status.what == kind::silent) return "hostapd does not answer";

    const auto command = channel_switch_command(target_, modes_for(target_, status.text));
    const auto reply = tools_.hostapd(prefix + command);
    if (reply.what != kind::answer) return "hostapd does not answer";
    if (!reply.text.starts_with("OK")) {
        return "hostapd refuses " + channel_text(target_) + ": " +
               reply.text.substr(0, reply.text.find('\n'));
    }
    switching_ = true;
    return std::nullopt;
}

void radio_settings::await_switch(std::chrono::milliseconds left) {
    timer_ = tools_.loop.after(switch_step, [this, left] {
        timer_.reset();
        const request& job = waiting_.front();
        const auto info = tools_.kernel.state(job.radio);
        const bool there = info && info->on == target_;
        if (!there && left > switch_step) return await_switch(left - switch_step);

        switching_ = false;
        finish(there ? set_power(job)
                     : std::optional("hostapd accepted " + channel_text(target_) +
                                     ", but the radio did not move there"));
        serve_next();
    });
}

std::optional<std::string> radio_settings::set_power(const request& job) {
    if (!job.tx_power) return std::nullopt;
    if (auto problem = tools_.kernel.set_tx_power(job.radio, *job.tx_power)) return problem;

    const auto info = tools_.kernel.state(job.radio);
    if (!info || !info->tx_power_dbm) return "the kernel does not tell the power";
    const long shown = std::lround(*info->tx_power_dbm);
    if (shown == *job.tx_power) return std::nullopt;
    return "the radio sends with " + std::to_string(shown) + " dBm instead of " +
           std::to_string(*job.tx_power);
}

void radio_settings::finish(const std::optional<std::string>& problem) {
    const auto done = std::move(waiting_.front().done);
    waiting_.pop_front();
    done(problem);
}

}  // namespace aplocal
