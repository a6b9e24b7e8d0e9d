#include "nl80211/scan.h"

#include <linux/nl80211.h>

#include <cerrno>
#include <ctime>

namespace nl80211 {

namespace {

constexpr std::int64_t ns_per_ms = 1'000'000;
constexpr std::int64_t ns_per_s = 1'000'000'000;
constexpr int list_attempts = 3;

// Drivers tell the signal in mBm, some in a measure of their own from 0 to 100, which is spread
// over the usual range of -100 to -50 dBm.
int read_signal(const attributes& all) {
    if (const auto mbm = all.number<std::int32_t>(NL80211_BSS_SIGNAL_MBM)) {
        return (*mbm - 50) / 100;  // rounds, because a signal is below zero
    }
    return all.number<std::uint8_t>(NL80211_BSS_SIGNAL_UNSPEC).value_or(0) / 2 - 100;
}

// Not every driver tells when it heard the last frame; the kernel's own measure is coarser.
std::int64_t read_heard_at(const attributes& all, std::int64_t now) {
    if (const auto time = all.number<std::int64_t>(NL80211_BSS_LAST_SEEN_BOOTTIME)) return *time;
    return now - all.number<std::uint32_t>(NL80211_BSS_SEEN_MS_AGO).value_or(0) * ns_per_ms;
}

bss read_bss(const attributes& all, std::int64_t now) {
    bss entry;
    entry.bssid = all.number<mac_address>(NL80211_BSS_BSSID).value_or(mac_address{});
    entry.mhz = static_cast<int>(all.number<std::uint32_t>(NL80211_BSS_FREQUENCY).value_or(0));
    entry.signal_dbm = read_signal(all);
    entry.heard_at = read_heard_at(all, now);
    const auto elements = all.bytes(NL80211_BSS_INFORMATION_ELEMENTS);
    entry.elements.assign(elements.begin(), elements.end());
    return entry;
}

}  // namespace

int trigger_scan(connection& kernel, std::uint32_t interface_index, scan_kind kind,
                 std::span<const std::uint32_t> frequencies) {
    request order(NL80211_CMD_TRIGGER_SCAN);
    order.put_u32(NL80211_ATTR_IFINDEX, interface_index)
        .put_u32(NL80211_ATTR_SCAN_FLAGS, NL80211_SCAN_FLAG_AP)
        .put_u32_list(NL80211_ATTR_SCAN_FREQUENCIES, frequencies);
    if (kind == scan_kind::active) order.put_list_of_one_empty(NL80211_ATTR_SCAN_SSIDS);
    return kernel.ask(order);
}

int abort_scan(connection& kernel, std::uint32_t interface_index) {
    request order(NL80211_CMD_ABORT_SCAN);
    order.put_u32(NL80211_ATTR_IFINDEX, interface_index);
    const int result = kernel.ask(order);
    const bool no_scan = result == -ENOENT || result == -ENETDOWN;
    return no_scan ? 0 : result;
}

std::int64_t boot_time_now() {
    std::timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec * ns_per_s + now.tv_nsec;
}

int read_bss_list(connection& kernel, std::uint32_t interface_index, std::vector<bss>& list) {
    request question(NL80211_CMD_GET_SCAN, request::kind::dump);
    question.put_u32(NL80211_ATTR_IFINDEX, interface_index);

    // A scan that runs changes the list while it is read. What the last attempt gave is taken then.
    int result = -EINTR;
    for (int attempt = 0; result == -EINTR && attempt < list_attempts; ++attempt) {
        list.clear();
        const auto now = boot_time_now();
        result = kernel.ask(question, [&](const attributes& all) {
            list.push_back(read_bss(all.nest(NL80211_ATTR_BSS), now));
        });
    }
    return result == -EINTR ? 0 : result;
}

}  // namespace nl80211
