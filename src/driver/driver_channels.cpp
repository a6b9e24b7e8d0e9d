// Channel specifications and transmit power: reads the configured and the present ones, and makes
// the two requests that change them.
#include <array>

#include "base/bands.h"
#include "base/files.h"
#include "base/interface_names.h"
#include "base/store_paths.h"
#include "driver/driver.h"
#include "driver/radio_library.h"
#include "main/logging.h"

namespace rfcd {

namespace {

std::string radio_path(int radio, std::string_view setting) {
    return radio_setting_path(radio_ifname(radio), setting);
}

}  // namespace

int driver::read_number(const std::string& path, int otherwise) const {
    std::string value;
    return read_setting(path, value) == 0 ? std::stoi(value) : otherwise;
}

int driver::chanspec_channel(chanspec_t chanspec) { return chanspec & chanspec_channel_mask; }

int driver::chanspec_bw(chanspec_t chanspec) {
    constexpr int unset_bandwidth = 20;
    if (chanspec == 0) return unset_bandwidth;
    if (const auto mhz = bandwidth_mhz(chanspec)) return *mhz;
    log_error(daemon_logger, "<%s:%d> bandwidth is not set in chanspec\n", __func__, __LINE__);
    return unset_bandwidth;
}

const char* driver::primary_channel_to_string(int sideband, int bandwidth) {
    if (const char* text = primary_channel_text(sideband, bandwidth)) return text;
    log_error(daemon_logger, "<%s:%d> unknown band\n", __func__, __LINE__);
    return "none";
}

const char* driver::chanspec_sideband_string(chanspec_t chanspec) {
    if (chanspec == 0) return "none";
    return primary_channel_to_string(chanspec & chanspec_sideband_mask, chanspec_bw(chanspec));
}

int driver::band_from_channel(int channel) { return band_of_channel(channel); }

chanspec_t driver::get_config_bandwidth(const std::string& ifname) {
    if (!guard()) return chanspec_bandwidth_20;
    return bandwidth_code(read_number(radio_setting_path(ifname, "bandwidth"), 20),
                          chanspec_bandwidth_20);
}

chanspec_t driver::get_config_sideband(const std::string& ifname) {
    if (!guard()) return 0;
    std::string value;
    const bool upper = read_setting(radio_setting_path(ifname, "control-sideband"), value) == 0 &&
                       value == "upper";
    return upper ? chanspec_sideband_upper : 0;
}

chanspec_t driver::get_config_chanspec(int radio) {
    const auto* found = get_radio(radio);
    if (found == nullptr) return 0;
    const auto bandwidth = get_config_bandwidth(found->ifname);
    // All widths but 80 MHz get the sideband: their codes have a bit in common with that of 40 MHz.
    if ((bandwidth & chanspec_bandwidth_40) == 0) return bandwidth;
    return static_cast<chanspec_t>(bandwidth | get_config_sideband(found->ifname));
}

chanspec_t driver::get_chanspec(const char* radio_name) {
    const std::string name = radio_name == nullptr ? "" : radio_name;
    const auto* const radio = up_radio(ifname_to_radio_id(name));
    radioctl_ctx* const context = radio == nullptr ? nullptr : radioctl_context();
    if (context == nullptr) return 0;
    const std::string iface = get_active_ifname(*radio);
    if (iface.empty()) {
        log_error(daemon_logger, "<%s:%d> No active interface on radio '%s'\n", __func__, __LINE__,
                  name.c_str());
        return 0;
    }

    std::array<std::uint8_t, RADIOCTL_INFO_SIZE> record{};
    const int result = radioctl_get_radio_info(context, iface.c_str(), record.data());
    if (result < 0) {
        log_error(daemon_logger, "%s: Error %d while trying get radio info on %s!\n", __func__,
                  result, name.c_str());
        return 0;
    }
    return chanspec_of(read_radio_info(record));
}

int driver::get_tx_power(const std::string& ifname) {
    if (!guard()) return default_tx_power;
    std::string value;
    const bool there =
        read_setting(radio_setting_path(ifname, "tx-power"), value) == 0 && !value.empty();
    return there ? std::stoi(value) : default_tx_power;
}

int driver::get_tx_power_max(int radio) {
    return read_number(radio_path(radio, "tx-power-max"), default_tx_power);
}

int driver::get_tx_power_min(int radio) {
    return read_number(radio_path(radio, "tx-power-min"), default_tx_power_min);
}

void driver::get_min_max_tx_power(const char* /*ignored*/, int* min, int* max, int band) {
    if (min == nullptr || max == nullptr) {
        log_error(daemon_logger, "<%s:%d> no pointer to tx_power_min or tx_power_max\n", __func__,
                  __LINE__);
        return;
    }
    if (!guard()) return;

    for (const auto& radio : radios_) {
        if (!is_up(radio) || radio.band != band) continue;
        *min = get_tx_power_min(radio.id);
        *max = get_tx_power_max(radio.id);
        break;
    }
    log_debug(daemon_logger, "<%s:%d> tx_power_min == %d tx_power_max == %d\n", __func__, __LINE__,
              *min, *max);
}

void driver::fill_chanspecs(const char* radio_name, std::string& out) {
    out.clear();
    if (radio_name == nullptr) return;
    const auto* const radio = up_radio(ifname_to_radio_id(radio_name));
    if (radio == nullptr || radio->sentry) return;

    std::string use_limit;
    if (getconf(short_radio_setting_path(radio_name, "use-limit-channels"), use_limit) == 0 &&
        use_limit == "true") {
        if (getconf(radio_setting_path(radio_name, "limit-channels"), out) != 0) return;
    } else {
        out = read_text_file(std::string("/var/run/hostapd-channels-") + radio_name).value_or("");
        if (!out.empty()) out.pop_back();  // the file ends with a line end
    }
    log_debug(daemon_logger, "<%s:%d> chanspecs == %s\n", __func__, __LINE__, out.c_str());
}

int driver::set_tx_power(const std::string& ifname, int power) {
    if (!guard()) return 0;
    return update_skylark(ifname, {{"tx-power", std::to_string(power)}});
}

int driver::set_channel(const std::string& ifname, int channel, int bandwidth, int sideband) {
    if (!guard()) return 0;
    parameters pairs{{"auto-channel", "false"},
                     {"channel", std::to_string(channel)},
                     {"bandwidth", std::to_string(bandwidth)}};
    if (sideband != sideband_none) {
        pairs.emplace_back("control-sideband", sideband == sideband_upper ? "upper" : "lower");
    }
    return update_skylark(ifname, pairs);
}

}  // namespace rfcd
