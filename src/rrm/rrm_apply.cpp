// Applying the service's settings: channels and power first, then the neighbour lists are emptied
// and filled again.
#include <strings.h>
#include <syslog.h>

#include <string>

#include "base/interface_names.h"
#include "main/logging.h"
#include "rrm/rrm_worker.h"
#include "workers/monotonic_clock.h"

namespace rfcd {

namespace {

constexpr std::int32_t default_bandwidth = 20;
constexpr std::int64_t max_apply_seconds = 120;  // for the radios, and again for the neighbours

std::int64_t seconds_from_now(std::int64_t seconds) { return monotonic_now().tv_sec + seconds; }

sideband_code sideband_code_of(std::int32_t bandwidth, const char* primary) {
    if (bandwidth != 40 || primary == nullptr) return sideband_none;
    if (strcasecmp(primary, "upper") == 0) return sideband_upper;
    return strcasecmp(primary, "lower") == 0 ? sideband_lower : sideband_none;
}

}  // namespace

void rrm_worker::apply_config(const json_reader& config) {
    const bool use_tpc = config.get_int("use-tpc") != 0;
    const bool use_dca = config.get_int("use-dca") != 0;
    if (config.contains("use-80211r")) use_80211r_ = config.get_int("use-80211r") != 0;
    log_debug(daemon_logger, "%s skylark_use_80211r = %d\n", __func__, use_80211r_ ? 1 : 0);

    apply_in_time(config.get_object("radios"), seconds_from_now(max_apply_seconds),
                  [&](const json_reader& radio) { apply_radio(radio, use_tpc, use_dca); });
    clear_neighbour_lists();

    // Slow radios must not leave the lists empty.
    const std::int64_t deadline = seconds_from_now(max_apply_seconds);
    apply_in_time(config.get_object("802dot11k"), deadline,
                  [&](const json_reader& neighbour) { add_neighbours(neighbour, deadline); });
}

// Applies each element of a list that is not empty. Every one may cost a command or a request, so
// that a list without end, or daemons that do not answer, would hold the worker for hours.
void rrm_worker::apply_in_time(const json_reader& list, std::int64_t deadline,
                               const std::function<void(const json_reader&)>& apply) {
    for (std::int32_t i = 0; i < list.array_length(); ++i) {
        if (monotonic_now().tv_sec > deadline) {
            log_error(daemon_logger, "rrm: the settings take too long, the rest is left out\n");
            return;
        }
        const auto element = list.get_array_item(i);
        if (!element.empty()) apply(element);
    }
}

void rrm_worker::apply_radio(const json_reader& radio, bool use_tpc, bool use_dca) {
    const std::int32_t id = radio.get_int("id");
    if (id < 0 || id >= drv_->get_radio_count()) {
        log_warning(daemon_logger, "%s Wrong id value: recv %d, max: %d - skip radio\n",
                    "void rrm_worker::apply_config(const json_reader&)", id,
                    drv_->get_radio_count());
        return;
    }
    if (!drv_->is_radio_up(id) || !drv_->has_vap_up(id)) return;
    if (drv_->is_sentry_radio(id)) return;
    const std::string ifname = radio_ifname(id);
    if (use_tpc && radio.contains("power")) drv_->set_tx_power(ifname, radio.get_int("power"));
    const std::int32_t channel = radio.get_int("channel");
    if (!use_dca || channel == 0) return;
    syslog(LOG_INFO, "Skylark requested switch channel to %d on %s", channel, ifname.c_str());
    const std::int32_t asked = radio.get_int("bandwidth");
    const std::int32_t bandwidth = asked != 0 ? asked : default_bandwidth;
    drv_->set_channel(ifname, channel, bandwidth,
                      sideband_code_of(bandwidth, radio.get_string("primary-channel")));
}

// One neighbour, to be told to the stations of every VAP that is named beside it.
void rrm_worker::add_neighbours(const json_reader& neighbour, std::int64_t deadline) {
    if (neighbour.get_string("neighbour-mac") == nullptr) return;
    const std::int32_t channel = neighbour.get_int("channel");
    const std::int32_t band = neighbour.get_int("band");
    apply_in_time(neighbour.get_object("vaps"), deadline, [&](const json_reader& vap) {
        const char* ssid = vap.get_string("ssid");
        const char* mac = vap.get_string("mac");
        if (ssid != nullptr && mac != nullptr) drv_->add_rrm_nbr_ap(mac, ssid, channel, band);
    });
}

}  // namespace rfcd
