#include "radioctl/radio_scans.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <optional>
#include <thread>

#include "nl80211/wiphy.h"

namespace radioctl {

namespace {

using namespace std::chrono_literals;

// After a scan was ended, the radio is busy for some milliseconds more.
constexpr auto busy_limit = 100ms;
constexpr auto busy_pause = 5ms;

int trigger_when_free(nl80211::connection& kernel, std::uint32_t interface_index,
                      const std::vector<std::uint32_t>& frequencies) {
    const auto until = std::chrono::steady_clock::now() + busy_limit;
    while (true) {
        const int result =
            trigger_scan(kernel, interface_index, nl80211::scan_kind::active, frequencies);
        if (result != -EBUSY || std::chrono::steady_clock::now() >= until) return result;
        std::this_thread::sleep_for(busy_pause);
    }
}

// Those that are asked for and usable, each once; those of the band when none is asked for.
std::vector<std::uint32_t> choose(std::vector<std::uint32_t> asked,
                                  const std::vector<std::uint32_t>& usable, nl80211::band in) {
    std::vector<std::uint32_t> chosen;
    std::copy_if(usable.begin(), usable.end(), std::back_inserter(chosen), [&](std::uint32_t mhz) {
        if (!asked.empty()) return std::find(asked.begin(), asked.end(), mhz) != asked.end();
        const auto channel = nl80211::channel_of(static_cast<int>(mhz));
        return channel && channel->in == in;
    });
    return chosen;
}

}  // namespace

std::unique_ptr<radio_scans> radio_scans::open() {
    auto kernel = nl80211::connection::open();
    if (!kernel) return nullptr;
    return std::unique_ptr<radio_scans>(new radio_scans(std::move(kernel)));
}

radio_scans::radio_state& radio_scans::radio_of(const std::string& interface) {
    return radios_[interface.substr(0, interface.find('-'))];
}

radio_scans::scan_target radio_scans::find_for_scan(const std::string& interface) {
    scan_target f;
    f.error = read_interface(*kernel_, interface, f.info);
    if (f.error != 0) return f;
    const auto channel = nl80211::channel_of(f.info.on.primary_mhz);
    if (!channel) {
        f.error = -ENETDOWN;
        return f;
    }
    f.channel = *channel;

    std::vector<nl80211::frequency> frequencies;
    f.error = read_frequencies(*kernel_, f.info.wiphy, frequencies);
    for (const auto& each : frequencies) {
        if (!each.disabled) f.usable.push_back(static_cast<std::uint32_t>(each.mhz));
    }
    return f;
}

std::vector<nl80211::mac_address> radio_scans::read_own_bssids() {
    std::vector<nl80211::interface_info> interfaces;
    list_interfaces(*kernel_, interfaces);
    return own_bssids(interfaces);
}

int radio_scans::read_channel(const std::string& interface, nl80211::channel& on) {
    nl80211::interface_info info;
    const int result = read_interface(*kernel_, interface, info);
    on = info.on;
    return result != 0 || on.primary_mhz != 0 ? result : -ENETDOWN;
}

int radio_scans::lock(const std::string& interface) {
    nl80211::interface_info info;
    int result = read_interface(*kernel_, interface, info);
    if (result != 0) return result;

    auto& radio = radio_of(interface);
    if (!radio.lock) radio.lock = scan_lock::take(interface.substr(0, interface.find('-')), result);
    if (!radio.lock) return result;

    radio.rrm.reset();
    radio.heard_by_rrm.reset();
    radio.active.reset();
    return abort_scan(*kernel_, info.index);
}

int radio_scans::unlock(const std::string& interface) {
    auto& radio = radio_of(interface);
    nl80211::interface_info info;
    // An interface that has gone while its radio was locked leaves nothing to end but the lock.
    const int result = radio.lock ? 0 : read_interface(*kernel_, interface, info);

    if (radio.rrm) radio.heard_by_rrm = radio.rrm->results();
    radio.rrm.reset();
    radio.lock.reset();
    return result;
}

int radio_scans::start_active(const std::string& interface,
                              std::vector<std::uint32_t> frequencies) {
    const auto found = find_for_scan(interface);
    if (found.error != 0) return found.error;
    auto& radio = radio_of(interface);
    if (!radio.lock) return -EPERM;

    auto chosen = choose(std::move(frequencies), found.usable, found.channel.in);
    if (chosen.empty()) return -EINVAL;
    const auto start = nl80211::boot_time_now();
    const int result = trigger_when_free(*kernel_, found.info.index, chosen);
    if (result != 0) return result;
    radio.active = std::make_unique<active_scan>(active_scan{start, std::move(chosen)});
    return 0;
}

int radio_scans::abort(const std::string& interface) {
    nl80211::interface_info info;
    const int result = read_interface(*kernel_, interface, info);
    if (result != 0) return result;
    return radio_of(interface).active ? abort_scan(*kernel_, info.index) : 0;
}

int radio_scans::read_active(const std::string& interface, std::vector<neighbour>& heard) {
    nl80211::interface_info info;
    int result = read_interface(*kernel_, interface, info);
    const auto& active = radio_of(interface).active;
    if (result != 0 || !active) return result;

    std::vector<nl80211::bss> list;
    result = read_bss_list(*kernel_, info.index, list);
    if (result != 0) return result;
    heard = neighbours_in(
        list,
        {.since = active->start, .frequencies = active->frequencies, .own = read_own_bssids()});
    return 0;
}

int radio_scans::start_rrm(const std::string& interface, int channel) {
    const auto found = find_for_scan(interface);
    if (found.error != 0) return found.error;
    auto& radio = radio_of(interface);
    if (!radio.lock) return -EPERM;

    const nl80211::channel_number wanted{found.channel.in, channel};
    const auto mhz = static_cast<std::uint32_t>(frequency_of(wanted));
    if (std::find(found.usable.begin(), found.usable.end(), mhz) == found.usable.end()) {
        return -EINVAL;
    }
    int error = 0;
    radio.rrm = rrm_scan::start({.interface_index = found.info.index,
                                 .wiphy = found.info.wiphy,
                                 .channel = wanted,
                                 .own = read_own_bssids()},
                                error);
    return radio.rrm ? 0 : error;
}

int radio_scans::read_rrm(const std::string& interface, rrm_results& results) {
    nl80211::interface_info info;
    const int result = read_interface(*kernel_, interface, info);
    if (result != 0) return result;

    const auto& radio = radio_of(interface);
    const auto channel = nl80211::channel_of(info.on.primary_mhz);
    if (radio.rrm) {
        results = radio.rrm->results();
    } else if (radio.heard_by_rrm) {
        results = *radio.heard_by_rrm;
        results.running = false;
    } else if (channel) {
        results.band = channel->in;
    }
    return 0;
}

}  // namespace radioctl
