#include "rrm/radio_descriptions.h"

#include <string>

#include "base/bands.h"
#include "base/interface_names.h"

namespace rfcd {

namespace {

// The channel of a radio that is not up; 0 for an unknown band.
int default_channel(int band) {
    const auto* const known = find_band(band);
    return known == nullptr ? 0 : known->default_channel;
}

}  // namespace

bool radio_descriptions::add_radios(json_writer& message) {
    auto radios = message.add_array("radios");
    if (!radios.made()) return false;

    for (int radio = 0; radio < drv_.get_radio_count(); ++radio) {
        const std::string ifname = radio_ifname(radio);
        add_radio_description(radios, ifname.c_str(), radio);
    }
    return true;
}

void radio_descriptions::add_radio_description(json_writer& radios, const char* ifname, int radio) {
    const bool status = drv_.is_radio_up(radio) && drv_.has_vap_up(radio);
    const bool sentry = !status || drv_.is_sentry_radio(radio);
    const bool auto_channel = drv_.is_auto_channel(radio);
    const auto mac_offset = drv_.get_mac_offset(radio);
    const auto mac_count = drv_.get_radio_mac_count(radio);

    const int power = status ? drv_.get_tx_power(ifname) : default_tx_power;
    const int power_max = status ? drv_.get_tx_power_max(radio) : default_tx_power;
    const int power_min = status ? drv_.get_tx_power_min(radio) : default_tx_power_min;

    const chanspec_t current = drv_.get_chanspec(ifname);
    const chanspec_t configured = status ? drv_.get_config_chanspec(radio) : chanspec_t{0};
    const chanspec_t described = auto_channel ? configured : current;

    const bool dca = read_switch("/skylark/dca");
    const bool tpc = read_switch("/skylark/tpc");
    const int band = drv_.get_band_from_ifname(ifname);

    auto object = radios.add_object();
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

    object.add_int("channel", status ? drv_.chanspec_channel(current) : default_channel(band));
    object.add_int("band", band);
    object.add_int("bandwidth", drv_.chanspec_bw(described));
    object.add_string("primary-channel", drv_.chanspec_sideband_string(described));

    if (status) add_channels_and_vaps(object, ifname, radio);
}

void radio_descriptions::add_channels_and_vaps(json_writer& object, const char* ifname, int radio) {
    std::string channels;
    drv_.fill_chanspecs(ifname, channels);
    object.add_string("available-channels", channels.c_str());

    auto vaps = object.add_array("vaps");
    if (!vaps.made()) return;
    drv_.for_each_vap(ifname, [&](int vap, const char* ssid, const char* mac, bool has_80211k) {
        add_vap_description(vap, ssid, mac, has_80211k, vaps, radio);
    });
}

void radio_descriptions::add_vap_description(int vap, const char* ssid, const char* mac,
                                             bool has_80211k, json_writer& vaps, int radio) {
    auto object = vaps.add_object();
    object.add_int("id", vap);
    object.add_string("ssid", ssid);
    object.add_string("mac", mac);
    object.add_int("802dot11k", has_80211k ? 1 : 0);
    object.add_int("802dot11r", drv_.get_ft_enabled_vap(radio, vap) ? 1 : 0);
}

// Reads a switch from the configuration store: on when it is "true", off when it cannot be read.
bool radio_descriptions::read_switch(const char* path) {
    std::string value;
    return drv_.read_setting(path, value) == 0 && value == "true";
}

}  // namespace rfcd
