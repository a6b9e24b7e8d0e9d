#include "rrm/fast_transition.h"

#include <array>
#include <cstring>
#include <string>

#include "ipc/json_writer.h"
#include "main/logging.h"

namespace rfcd {

namespace {

constexpr std::int32_t max_vaps = 32;
constexpr std::int32_t max_remotes = 1025;
constexpr std::size_t max_key_length = 1024;  // every remote gets a copy

constexpr int reset_now = 0;  // arguments of __reset_skylark_fbt
constexpr int skip_reset = 1;

// Adds the object "mac": one member for each remote key holder, named by its R1 key holder
// identifier.
void add_remotes(json_writer& ft_config, const json_reader& remotes, const char* rrb_key) {
    auto mac = ft_config.add_object("mac");
    for (std::int32_t i = 0; i < max_remotes; ++i) {
        const auto remote = remotes.get_array_item(i);
        if (remote.empty()) return;
        const char* r1_kh_id = remote.get_string("remote-r1-kh-id");
        if (r1_kh_id == nullptr) continue;

        auto entry = mac.add_object(r1_kh_id);
        entry.add_string("name", r1_kh_id);
        entry.add_string("index", std::to_string(i).c_str());
        entry.add_string("r0-kh-id", remote.get_string("remote-r0-kh-id"));
        entry.add_string("r1-kh-id", r1_kh_id);
        entry.add_string("r0-kh-key", rrb_key);
        entry.add_string("r1-kh-key", remote.get_string("remote-r1-kh-key"));
    }
}

bool has_key_holders(const json_reader& element) {
    return element.get_string("r0-key-holder-id") != nullptr &&
           element.get_string("r1-key-holder-id") != nullptr;
}

}  // namespace

void fast_transition::take_switch(const json_reader& config) {
    if (config.contains("use-80211r")) use_80211r_ = config.get_int("use-80211r") != 0;
}

void fast_transition::process_fbt_info(const json_reader& message) {
    log_debug(daemon_logger, "%s skylark_use_80211r = %d\n", __func__, use_80211r_ ? 1 : 0);
    if (!use_80211r_) {
        drv_.__reset_skylark_fbt(reset_now);
        return;
    }

    fbt_reassoc_deadline_ = static_cast<std::uint32_t>(message.get_int("fbt-reassoc-deadline"));
    fbt_over_ds_ = message.get_int("fbt-over-ds") != 0;
    drv_.begin_skylark_fbt_params();

    const auto vaps = message.get_object("vaps");
    for (std::int32_t i = 0; i < max_vaps; ++i) {
        const auto element = vaps.get_array_item(i);
        if (element.empty()) break;
        if (add_fbt_vap(element)) continue;
        log_error(daemon_logger, "Unexpected error, no r0/r1 key holders found\n");
        drv_.__reset_skylark_fbt(reset_now);
        return;
    }

    drv_.finish_skylark_fbt_params();
}

void fast_transition::on_stop(const running_flag& running) {
    if (use_80211r_) drv_.__reset_skylark_fbt(running ? reset_now : skip_reset);
}

// Adds the settings of one VAP to the request; skips a VAP that is not up or has no remotes. False
// when the element lacks a key holder identifier.
bool fast_transition::add_fbt_vap(const json_reader& element) {
    const std::int32_t vap = element.get_int("vap_id");
    const std::int32_t radio = element.get_int("radio_id");
    if (drv_.get_vap_bssid(vap, radio) == nullptr) return true;
    if (!has_key_holders(element)) return false;

    const auto remotes = element.get_object("remotes");
    if (remotes.empty()) return true;

    const char* rrb_key = element.get_string("fbt-rrb-key");
    if (rrb_key != nullptr && std::strlen(rrb_key) > max_key_length) {
        log_error(daemon_logger, "rrm: a fast-transition key is too long, its VAP is left out\n");
        return true;
    }

    const auto text = configuration_text(element);
    std::array<char, 32> ifname{};
    drv_.make_vap_ifname(radio, vap, ifname.data(), ifname.size());
    drv_.add_skylark_fbt_params(ifname.data(), text.c_str());
    return true;
}

std::string fast_transition::configuration_text(const json_reader& element) const {
    json_writer settings("fbt", "", "");
    {
        auto ft_config = settings.add_object("ft-config");
        ft_config.add_string("enabled", "true");
        ft_config.add_string("ft-over-ds", fbt_over_ds_ ? "true" : "false");
        ft_config.add_string("ft-psk-generate-local", "false");
        ft_config.add_int("reassociation-deadline",
                          static_cast<std::int32_t>(fbt_reassoc_deadline_));
        ft_config.add_int("mobility-domain", element.get_int("mobility-domain"));
        ft_config.add_string("r0-key-holder-id", element.get_string("r0-key-holder-id"));
        ft_config.add_string("r1-key-holder-id", element.get_string("r1-key-holder-id"));
        add_remotes(ft_config, element.get_object("remotes"), element.get_string("fbt-rrb-key"));
    }
    return settings.text();
}

}  // namespace rfcd
