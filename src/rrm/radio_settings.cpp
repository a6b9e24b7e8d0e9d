#include "rrm/radio_settings.h"

#include <strings.h>
#include <syslog.h>

#include <functional>
#include <string>

#include "base/interface_names.h"
#include "base/monotonic_clock.h"
#include "main/logging.h"

namespace rfcd {

namespace {

constexpr std::int32_t default_bandwidth = 20;
constexpr std::int64_t max_apply_seconds = 120;  // for all radios, and again for all neighbours
constexpr std::int64_t max_clear_seconds = 60;   // for all lists together

// Times are whole seconds of the monotonic clock.
std::int64_t seconds_from_now(std::int64_t seconds) { return monotonic_now().tv_sec + seconds; }
bool is_over(std::int64_t deadline) { return monotonic_now().tv_sec > deadline; }

sideband_code sideband_code_of(std::int32_t bandwidth, const char* primary) {
    if (bandwidth != 40 || primary == nullptr) return sideband_none;
    if (strcasecmp(primary, "upper") == 0) return sideband_upper;
    return strcasecmp(primary, "lower") == 0 ? sideband_lower : sideband_none;
}

// Calls `apply` with each element of the list that is not empty, until the deadline.
void apply_in_time(const json_reader& list, std::int64_t deadline,
                   const std::function<void(const json_reader&)>& apply) {
    for (std::int32_t i = 0; i < list.array_length(); ++i) {
        if (is_over(deadline)) {
            log_error(daemon_logger, "rrm: the settings take too long, the rest is left out\n");
            return;
        }
        const auto element = list.get_array_item(i);
        if (!element.empty()) apply(element);
    }
}

}  // namespace

void radio_settings::apply_config(const json_reader& config) {
    const control service{.use_tpc = config.get_int("use-tpc") != 0,
                          .use_dca = config.get_int("use-dca") != 0};
    fast_transition_.take_switch(config);
    log_debug(daemon_logger, "%s skylark_use_80211r = %d\n", __func__,
              fast_transition_.use_80211r() ? 1 : 0);

    apply_in_time(config.get_object("radios"), seconds_from_now(max_apply_seconds),
                  [&](const json_reader& radio) { apply_radio(radio, service); });
    clear_neighbour_lists();

    // A new deadline, so that slow radios do not leave the lists empty.
    const std::int64_t deadline = seconds_from_now(max_apply_seconds);
    apply_in_time(config.get_object("802dot11k"), deadline,
                  [&](const json_reader& neighbour) { add_neighbours(neighbour, deadline); });
}

void radio_settings::clear_neighbour_lists() {
    const std::int64_t deadline = seconds_from_now(max_clear_seconds);
    for (int radio = 0; radio < drv_.get_radio_count(); ++radio) {
        for (int vap = 0; vap < drv_.get_vap_count(); ++vap) {
            const char* ifname = drv_.get_vap_ifname(vap, radio);
            if (ifname == nullptr || !drv_.is_vap_80211k(radio, vap)) continue;
            if (is_over(deadline)) {
                log_error(daemon_logger,
                          "rrm: clearing the neighbour lists takes too long, the rest stays\n");
                return;
            }
            drv_.clear_rrm_nbr_ap_list(ifname);
        }
    }
}

void radio_settings::apply_radio(const json_reader& radio, const control& service) {
    const std::int32_t id = radio.get_int("id");
    if (id < 0 || id >= drv_.get_radio_count()) {
        log_warning(daemon_logger, "%s Wrong id value: recv %d, max: %d - skip radio\n",
                    "void rrm_worker::apply_config(const json_reader&)", id,
                    drv_.get_radio_count());
        return;
    }
    if (!drv_.is_radio_up(id) || !drv_.has_vap_up(id)) return;
    if (drv_.is_sentry_radio(id)) return;

    const std::string ifname = radio_ifname(id);
    if (service.use_tpc && radio.contains("power")) {
        drv_.set_tx_power(ifname, radio.get_int("power"));
    }

    const std::int32_t channel = radio.get_int("channel");
    if (!service.use_dca || channel == 0) return;
    syslog(LOG_INFO, "Skylark requested switch channel to %d on %s", channel, ifname.c_str());
    const std::int32_t asked = radio.get_int("bandwidth");
    const std::int32_t bandwidth = asked != 0 ? asked : default_bandwidth;
    drv_.set_channel(ifname, channel, bandwidth,
                     sideband_code_of(bandwidth, radio.get_string("primary-channel")));
}

// Adds one neighbour to the lists of the VAPs that have one of the SSIDs in its "vaps".
void radio_settings::add_neighbours(const json_reader& neighbour, std::int64_t deadline) {
    if (neighbour.get_string("neighbour-mac") == nullptr) return;

    const std::int32_t channel = neighbour.get_int("channel");
    const std::int32_t band = neighbour.get_int("band");
    apply_in_time(neighbour.get_object("vaps"), deadline, [&](const json_reader& vap) {
        const char* ssid = vap.get_string("ssid");
        const char* mac = vap.get_string("mac");
        if (ssid != nullptr && mac != nullptr) drv_.add_rrm_nbr_ap(mac, ssid, channel, band);
    });
}

}  // namespace rfcd
