// The outgoing messages and what they describe: the board, the radios, their VAPs.
#include <string>

#include "base/bands.h"
#include "base/interface_names.h"
#include "main/logging.h"
#include "rrm/rrm_worker.h"

namespace rfcd {

namespace {

constexpr std::int32_t ap_mac_count = 48;
constexpr std::int32_t no_wildcard_80211r = 0;

// What a radio that is not up is described with, beside the default powers.
int default_channel(int band) {
    const auto* const known = find_band(band);
    return known == nullptr ? 0 : known->default_channel;
}

}  // namespace

json_writer rrm_worker::make_message(const char* cmd) {
    return {"rrm", cmd, drv_->get_board_mac()};
}

// A service that asks and does not read gets no more answers.
void rrm_worker::send(const json_writer& message) {
    if (out_queue_.weight() > heavy_queue) {
        log_error(daemon_logger, "rrm: the service does not read, a message is dropped\n");
        return;
    }
    push_json(out_queue_, message);
}

void rrm_worker::send_subscribe_request() {
    auto message = make_message("subscribe-request");
    if (!message.made()) return;
    message.add_string("domain", domain_.c_str());
    message.add_int("ap-mac-count", ap_mac_count);
    message.add_int("use-wildcard-80211r", no_wildcard_80211r);
    add_factory(message);
    if (add_radios(message)) send(message);
}

void rrm_worker::send_mode_response(const json_reader& /*message*/) {
    send_radios("rrm-mode-response");
}

void rrm_worker::send_config_changed() { send_radios("rrm-config-changed"); }

// A message of the domain and the radios, and nothing else.
void rrm_worker::send_radios(const char* cmd) {
    auto message = make_message(cmd);
    if (!message.made()) return;
    message.add_string("domain", domain_.c_str());
    if (add_radios(message)) send(message);
}

void rrm_worker::add_factory(json_writer& message) {
    json_writer factory(false, message, "factory");
    const auto& board = *drv_->get_board_name();
    factory.add_string("board", board.board_name.c_str());
    factory.add_string("hw", board.board_hw_rev.c_str());
    factory.add_string("serial", board.board_serial.c_str());
    factory.add_string("mac", board.board_mac.c_str());
}

// False when the array could not be made.
bool rrm_worker::add_radios(json_writer& message) {
    json_writer radios(true, message, "radios");
    if (!radios.made()) return false;
    for (int radio = 0; radio < drv_->get_radio_count(); ++radio) {
        const std::string ifname = radio_ifname(radio);
        add_radio_description(radios, ifname.c_str(), radio);
    }
    return true;
}

void rrm_worker::add_radio_description(json_writer& radios, const char* ifname, int radio) {
    const bool status = drv_->is_radio_up(radio) && drv_->has_vap_up(radio);
    const bool sentry = !status || drv_->is_sentry_radio(radio);
    const bool auto_channel = drv_->is_auto_channel(radio);
    const auto mac_offset = drv_->get_mac_offset(radio);
    const auto mac_count = drv_->get_radio_mac_count(radio);
    const int power = status ? drv_->get_tx_power(ifname) : default_tx_power;
    const int power_max = status ? drv_->get_tx_power_max(radio) : default_tx_power;
    const int power_min = status ? drv_->get_tx_power_min(radio) : default_tx_power_min;
    const chanspec_t current = drv_->get_chanspec(ifname);
    const chanspec_t configured = status ? drv_->get_config_chanspec(radio) : chanspec_t{0};
    const chanspec_t described = auto_channel ? configured : current;
    const bool dca = read_switch("/skylark/dca");
    const bool tpc = read_switch("/skylark/tpc");
    const int band = drv_->get_band_from_ifname(ifname);

    json_writer object(false, radios, nullptr);
    object.add_int("id", radio);
    object.add_int("status", status ? 1 : 0);
    object.add_int("mac-offset", static_cast<std::int32_t>(mac_offset));
    object.add_int("radio-mac-count", static_cast<std::int32_t>(mac_count));
    object.add_int("locked-for-dca", sentry || !dca ? 1 : 0);
    object.add_int("locked-for-tpc", sentry || !tpc ? 1 : 0);
    object.add_int("locked-for-balancer", 1);
    object.add_int("power", power);
    object.add_int("power-max", power_max);
    object.add_int("power-min", power_min);
    object.add_int("channel", status ? drv_->chanspec_channel(current) : default_channel(band));
    object.add_int("band", band);
    object.add_int("bandwidth", drv_->chanspec_bw(described));
    object.add_string("primary-channel", drv_->chanspec_sideband_string(described));
    if (!status) return;
    std::string channels;
    drv_->fill_chanspecs(ifname, channels);
    object.add_string("available-channels", channels.c_str());
    json_writer vaps(true, object, "vaps");
    if (!vaps.made()) return;
    drv_->for_each_vap(ifname, [&](int vap, const char* ssid, const char* mac, bool has_80211k) {
        add_vap_description(vap, ssid, mac, has_80211k, vaps, radio);
    });
}

void rrm_worker::add_vap_description(int vap, const char* ssid, const char* mac, bool has_80211k,
                                     json_writer& vaps, int radio) {
    json_writer object(false, vaps, nullptr);
    object.add_int("id", vap);
    object.add_string("ssid", ssid);
    object.add_string("mac", mac);
    object.add_int("802dot11k", has_80211k ? 1 : 0);
    object.add_int("802dot11r", drv_->get_ft_enabled_vap(radio, vap) ? 1 : 0);
}

// A setting that is on when it reads "true", off when it cannot be read.
bool rrm_worker::read_switch(const char* path) {
    std::string value;
    return drv_->read_setting(path, value) == 0 && value == "true";
}

}  // namespace rfcd
