// The tables of radios and VAPs: makes, fills and clears them, and looks things up in them.
#include "driver/driver.h"

#include <algorithm>
#include <cstdio>

#include "base/bands.h"
#include "base/interface_names.h"
#include "driver/interface_status.h"
#include "main/logging.h"
#include "platform/runproc.h"

namespace rfcd {

namespace {

constexpr std::uint32_t macs_per_radio = 16;
constexpr int no_radio = -1;
constexpr int no_vap = -1;

// The text of an array's bounds error, which is part of a log line.
std::string out_of_range_text(int index, std::size_t size) {
    char text[128];
    std::snprintf(text, sizeof text, "array::at: __n (which is %zu) >= _Nm (which is %zu)",
                  static_cast<std::size_t>(index), size);
    return text;
}

bool in_range(int index, std::size_t size) {
    return index >= 0 && static_cast<std::size_t>(index) < size;
}

// Logs what commands print, because wpa_cli exits with status 0 even when hostapd refuses.
void log_command_output() {
    if (runproc_set_log == nullptr) return;
    runproc_set_log([](const char* line) { log_debug(daemon_logger, "%s\n", line); });
}

}  // namespace

driver& get_driver(const running_flag* enabled_flag) {
    static driver only(enabled_flag);
    return only;
}

driver::driver(const running_flag* enabled_flag)
    : driver_interface(enabled_flag), identity_(read_board_identity()) {
    for (int i = 0; i < get_radio_count(); ++i) {
        auto& radio = radios_[static_cast<std::size_t>(i)];
        radio.id = i;
        radio.mac_offset = static_cast<std::uint32_t>(i) * macs_per_radio;
        radio.mac_count = macs_per_radio;
        radio.ifname = radio_ifname(i);

        for (int j = 0; j < get_vap_count(); ++j) {
            auto& vap = radio.vaps[static_cast<std::size_t>(j)];
            vap.ifname = vap_ifname(i, j);
            vap.bssid = vap_bssid(identity_.board_mac.c_str(), vap.ifname.c_str());
        }
    }
    log_command_output();
}

radio_info* driver::find_radio(int radio_id) {
    return in_range(radio_id, radio_count) ? &radios_[static_cast<std::size_t>(radio_id)] : nullptr;
}

radio_info* driver::get_radio(int radio_id) {
    if (auto* const found = find_radio(radio_id)) return found;
    log_error(daemon_logger, "<%s:%d> radio_id %d are absence: %s\n", __func__, __LINE__, radio_id,
              out_of_range_text(radio_id, radio_count).c_str());
    return nullptr;
}

vap_info* driver::get_vap(radio_info* radio, int vap_id) {
    if (radio == nullptr) return nullptr;
    if (in_range(vap_id, radio->vaps.size())) return &radio->vaps[static_cast<std::size_t>(vap_id)];
    log_error(daemon_logger, "<%s:%d> vap_id %d are absence: %s\n", __func__, __LINE__, vap_id,
              out_of_range_text(vap_id, radio->vaps.size()).c_str());
    return nullptr;
}

radio_info* driver::radio_by_ifname(const std::string& ifname) {
    if (const auto radio_id = read_radio_id(ifname)) return get_radio(*radio_id);
    log_error(daemon_logger, "<%s:%d> cannot parse interface name(%s)\n", __func__, __LINE__,
              ifname.c_str());
    return nullptr;
}

radio_info* driver::up_radio(int radio) {
    auto* const found = guard() ? get_radio(radio) : nullptr;
    return found != nullptr && found->up ? found : nullptr;
}

vap_info* driver::up_vap(int radio, int vap) {
    auto* const found = get_vap(up_radio(radio), vap);
    return found != nullptr && is_up(*found) ? found : nullptr;
}

int driver::vap_with_ssid(const radio_info& radio, const char* ssid) {
    if (ssid == nullptr || *ssid == '\0') return no_vap;
    const auto found = std::find_if(radio.vaps.begin(), radio.vaps.end(),
                                    [&](const auto& vap) { return vap.up && vap.ssid == ssid; });
    return found == radio.vaps.end() ? no_vap : static_cast<int>(found - radio.vaps.begin());
}

bool driver::vap_is_up(const std::string& vap_ifname) {
    return guard() && !vap_ifname.empty() && interface_is_up(vap_ifname) &&
           get_vap_enabled_state(vap_ifname);
}

bool driver::in_sentry_mode() const {
    std::string value;
    if (read_setting("/wids/enabled", value) != 0 || value != "true") return false;
    return read_setting("/wids/scan-mode", value) == 0 && value == "sentry";
}

int driver::get_scan_interface() {
    std::string value;
    if (read_setting("/wids/scan-interface", value) != 0) return no_radio;
    return value == "all" ? get_radio_count() : ifname_to_radio_id(value);
}

void driver::init_interface_context() {
    if (is_stopping()) return;
    log_info(daemon_logger, "Attempt to initialize interface_context...\n");
    sentry_all_ = false;

    int sentry_interface = no_radio;
    if (in_sentry_mode()) {
        sentry_interface = get_scan_interface();
        sentry_all_ = sentry_interface == get_radio_count();
    }
    for (auto& radio : radios_) init_radio(radio, sentry_interface);
}

void driver::init_radio(radio_info& radio, int sentry_interface) {
    const char* name = radio.ifname.c_str();
    log_info(daemon_logger, "Initializing %s radio...\n", name);
    radio.up = guard() && has_live_vap(radio);
    if (!is_up(radio)) {
        log_info(daemon_logger, "Interface %s is down.\n", name);
        return;
    }

    if (sentry_all_ || radio.id == sentry_interface) {
        radio.sentry = true;  // only a reset clears it
    }
    radio.reserved_a = get_reserved_a(name);
    radio.band = band_of_radio(radio.id).number;
    radio.country = get_country(name);
    radio.reserved_b = get_reserved_b(name);
    radio.auto_channel = get_auto_channel(name);

    if (is_sentry(radio) || !initialized_) return;
    for (auto& vap : radio.vaps) init_vap(vap);
}

// Leaves a VAP whose interface does not exist as it is.
void driver::init_vap(vap_info& vap) {
    if (!is_if_exists(vap.ifname.c_str())) return;
    log_info(daemon_logger, "Initializing %s vap...\n", vap.ifname.c_str());
    vap.up = vap_is_up(vap.ifname);
    if (!is_up(vap)) {
        log_info(daemon_logger, "Interface vap %s is down.\n", vap.ifname.c_str());
        return;
    }

    vap.ssid = get_ssid(vap.ifname);
    vap.captive_portal = get_captive_portal_state(vap.ifname);
    vap.enterprise = get_enterprise_vap(vap.ifname);
    vap.dot11k = get_802dot11k_vap(vap.ifname);
}

void driver::reset_interface_context() {
    for (auto& radio : radios_) {
        radio.up = radio.sentry = radio.reserved_b = false;
        radio.band = band_unknown;
        for (auto& vap : radio.vaps) {
            vap.ssid.clear();
            vap.captive_portal = vap.up = vap.enterprise = vap.dot11k = false;
        }
    }
}

bool driver::has_live_vap(const radio_info& radio) {
    return std::any_of(radio.vaps.begin(), radio.vaps.end(), [this](const auto& vap) {
        return is_if_exists(vap.ifname.c_str()) && vap_is_up(vap.ifname);
    });
}

bool driver::radio_is_up(const char* radio_name) {
    if (!guard() || radio_name == nullptr) return false;
    const auto* const found = find_radio(ifname_to_radio_id(vap_to_ifname(radio_name)));
    return found != nullptr && has_live_vap(*found);
}

bool driver::check_vap_up(const char* radio_name, int vap) {
    if (!guard() || radio_name == nullptr) return false;
    const auto* const found = get_vap(radio_by_ifname(radio_name), vap);
    return found != nullptr && vap_is_up(found->ifname);
}

const board_identity* driver::get_board_name() { return &identity_; }
const char* driver::get_board_mac() { return identity_.board_mac.c_str(); }
bool driver::get_reserved_b(const char* /*ifname*/) { return false; }
bool driver::is_radio_reserved(int /*radio*/) { return false; }
void driver::hostapd_disconnected(bool /*flag*/) {}
void driver::poll_events(const driver_event_callback& /*callback*/) {}
int driver::get_radio_count() { return radio_count; }
int driver::get_vap_count() { return radio_info::vap_count; }
void driver::set_initialized(bool initialized) { initialized_ = initialized; }
bool driver::is_initialized() { return initialized_; }
bool driver::is_sentry_all() { return sentry_all_; }

bool driver::is_radio_up(int radio) { return up_radio(radio) != nullptr; }

bool driver::is_sentry_radio(int radio) {
    if (!guard()) return false;
    const auto* const found = get_radio(radio);
    return found != nullptr && found->sentry;
}

bool driver::has_vap_up(int radio) {
    if (!guard()) return false;
    const auto* const found = get_radio(radio);
    return found != nullptr && std::any_of(found->vaps.begin(), found->vaps.end(),
                                           [](const auto& vap) { return vap.up; });
}

bool driver::is_vap_up(int radio, int vap) {
    if (!guard()) return false;
    const auto* const found = get_vap(get_radio(radio), vap);
    return found != nullptr && found->up;
}

bool driver::is_vap_80211k(int radio, int vap) {
    const auto* const found = up_vap(radio, vap);
    return found != nullptr && found->dot11k;
}

bool driver::radio_has_band(int radio, int band) {
    const auto* const found = up_radio(radio);
    return found != nullptr && found->band == band;
}

bool driver::get_radio_reserved_b(int radio) {
    const auto* const found = get_radio(radio);
    return found != nullptr && found->reserved_b;
}

bool driver::is_auto_channel(int radio) {
    const auto* const found = get_radio(radio);
    return found != nullptr && found->auto_channel;
}

std::uint32_t driver::get_mac_offset(int radio) {
    const auto* const found = find_radio(radio);
    return found == nullptr ? 0 : found->mac_offset;
}

std::uint32_t driver::get_radio_mac_count(int radio) {
    const auto* const found = find_radio(radio);
    return found == nullptr ? 0 : found->mac_count;
}

const char* driver::get_vap_ifname(int vap, int radio) {
    const auto* const found = up_vap(radio, vap);
    return found == nullptr ? nullptr : found->ifname.c_str();
}

const char* driver::get_vap_ssid(int vap, int radio) {
    const auto* const found = up_vap(radio, vap);
    return found == nullptr ? nullptr : found->ssid.c_str();
}

const char* driver::get_vap_bssid(int vap, int radio) {
    const auto* const found = up_vap(radio, vap);
    return found == nullptr ? nullptr : found->bssid.c_str();
}

int driver::get_vap_by_ssid(const char* ssid, int radio) {
    const auto* const found = up_radio(radio);
    return found == nullptr ? no_vap : vap_with_ssid(*found, ssid);
}

const char* driver::get_ifname_by_ssid(const char* ssid, int radio) {
    const auto* const found = up_radio(radio);
    const int vap = found == nullptr ? no_vap : vap_with_ssid(*found, ssid);
    if (vap == no_vap) return nullptr;
    return vap == 0 ? found->ifname.c_str()
                    : found->vaps[static_cast<std::size_t>(vap)].ifname.c_str();
}

int driver::for_each_vap(const char* radio_name, const vap_callback& callback) {
    if (!guard() || radio_name == nullptr) return 0;
    const auto* const radio = up_radio(ifname_to_radio_id(radio_name));
    if (radio == nullptr) return 0;

    for (int j = 0; j < get_vap_count(); ++j) {
        const auto& vap = radio->vaps[static_cast<std::size_t>(j)];
        if (is_up(vap)) callback(j, vap.ssid.c_str(), vap.bssid.c_str(), vap.dot11k);
    }
    return 0;
}

int driver::make_vap_ifname(int radio, int vap, char* buffer, std::size_t size) {
    return std::snprintf(buffer, size, "%s", vap_ifname(radio, vap).c_str());
}

int driver::get_band_from_ifname(const char* name) {
    const auto* const radio = name == nullptr ? nullptr : radio_by_ifname(name);
    if (radio != nullptr) return radio->band;
    log_error(daemon_logger, "<%s:%d> no such interface(%s)\n", __func__, __LINE__,
              name == nullptr ? "" : name);
    return 0;
}

}  // namespace rfcd
