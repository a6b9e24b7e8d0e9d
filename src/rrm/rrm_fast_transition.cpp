// Fast BSS transition (IEEE 802.11r): turns the service's "fbt-info" into one configuration text a
// VAP, and has the network daemon apply them in one request.
#include <array>
#include <cstring>
#include <string>

#include "main/logging.h"
#include "rrm/rrm_worker.h"

namespace rfcd {

namespace {

constexpr std::int32_t max_vaps = 32;
constexpr std::int32_t max_remotes = 1025;
constexpr std::size_t max_key_length = 1024;  // every remote gets a copy

// Adds the members of "mac": one a remote key holder, under its R1 key holder identifier.
void add_remotes(json_writer& ft_config, const json_reader& remotes, const char* rrb_key) {
    json_writer mac(false, ft_config, "mac");
    for (std::int32_t i = 0; i < max_remotes; ++i) {
        const auto remote = remotes.get_array_item(i);
        if (remote.empty()) return;
        const char* r1_kh_id = remote.get_string("remote-r1-kh-id");
        if (r1_kh_id == nullptr) continue;
        json_writer entry(false, mac, r1_kh_id);
        entry.add_string("name", r1_kh_id);
        entry.add_string("index", std::to_string(i).c_str());
        entry.add_string("r0-kh-id", remote.get_string("remote-r0-kh-id"));
        entry.add_string("r1-kh-id", r1_kh_id);
        entry.add_string("r0-kh-key", rrb_key);
        entry.add_string("r1-kh-key", remote.get_string("remote-r1-kh-key"));
    }
}

}  // namespace

void rrm_worker::process_fbt_info(const json_reader& message) {
    log_debug(daemon_logger, "%s skylark_use_80211r = %d\n", __func__, use_80211r_ ? 1 : 0);
    if (!use_80211r_) {
        drv_->__reset_skylark_fbt(0);
        return;
    }
    fbt_reassoc_deadline_ = static_cast<std::uint32_t>(message.get_int("fbt-reassoc-deadline"));
    fbt_over_ds_ = message.get_int("fbt-over-ds") != 0;
    drv_->begin_skylark_fbt_params();
    const auto vaps = message.get_object("vaps");
    for (std::int32_t i = 0; i < max_vaps; ++i) {
        const auto element = vaps.get_array_item(i);
        if (element.empty()) break;
        if (add_fbt_vap(element)) continue;
        log_error(daemon_logger, "Unexpected error, no r0/r1 key holders found\n");
        drv_->__reset_skylark_fbt(0);
        return;
    }
    drv_->finish_skylark_fbt_params();
}

// Adds the settings of one VAP to the request; a VAP that is not up is passed over. False when the
// element lacks a key holder identifier.
bool rrm_worker::add_fbt_vap(const json_reader& element) {
    const std::int32_t vap = element.get_int("vap_id");
    const std::int32_t radio = element.get_int("radio_id");
    if (drv_->get_vap_bssid(vap, radio) == nullptr) return true;
    const char* r0_key_holder = element.get_string("r0-key-holder-id");
    const char* r1_key_holder = element.get_string("r1-key-holder-id");
    if (r0_key_holder == nullptr || r1_key_holder == nullptr) return false;
    const auto remotes = element.get_object("remotes");
    if (remotes.empty()) return true;
    const char* rrb_key = element.get_string("fbt-rrb-key");
    if (rrb_key != nullptr && std::strlen(rrb_key) > max_key_length) {
        log_error(daemon_logger, "rrm: a fast-transition key is too long, its VAP is left out\n");
        return true;
    }

    json_writer settings("fbt", "", "");
    {
        json_writer ft_config(false, settings, "ft-config");
        ft_config.add_string("enabled", "true");
        ft_config.add_string("ft-over-ds", fbt_over_ds_ ? "true" : "false");
        ft_config.add_string("ft-psk-generate-local", "false");
        ft_config.add_int("reassociation-deadline",
                          static_cast<std::int32_t>(fbt_reassoc_deadline_));
        ft_config.add_int("mobility-domain", element.get_int("mobility-domain"));
        ft_config.add_string("r0-key-holder-id", r0_key_holder);
        ft_config.add_string("r1-key-holder-id", r1_key_holder);
        add_remotes(ft_config, remotes, rrb_key);
    }
    std::array<char, 32> ifname{};
    drv_->make_vap_ifname(radio, vap, ifname.data(), ifname.size());
    drv_->add_skylark_fbt_params(ifname.data(), settings.text().c_str());
    return true;
}

}  // namespace rfcd
