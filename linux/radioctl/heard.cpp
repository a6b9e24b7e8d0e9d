#include "radioctl/heard.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>

namespace radioctl {

namespace {

constexpr std::string_view radios[] = {"wlan0", "wlan1", "wlan2"};

template <typename List, typename Value>
bool contains(const List& list, const Value& value) {
    return std::find(std::begin(list), std::end(list), value) != std::end(list);
}

// A mean is no integer; the sums are compared as fractions of the samples.
bool is_stronger(const neighbour& a, const neighbour& b) {
    return std::int64_t{a.rssi_sum} * b.samples > std::int64_t{b.rssi_sum} * a.samples;
}

}  // namespace

std::vector<neighbour> neighbours_in(std::span<const nl80211::bss> list, const wanted& want) {
    std::map<nl80211::mac_address, const nl80211::bss*> newest;
    for (const auto& entry : list) {
        if (entry.heard_at < want.since || contains(want.own, entry.bssid)) continue;
        const auto*& kept = newest[entry.bssid];
        if (kept == nullptr || entry.heard_at > kept->heard_at) kept = &entry;
    }

    std::vector<neighbour> heard;
    for (const auto& [bssid, entry] : newest) {
        const auto about = nl80211::read_elements(entry->elements, entry->mhz);
        if (!about) continue;
        const auto mhz = static_cast<std::uint32_t>(frequency_of(about->primary));
        if (contains(want.frequencies, mhz)) heard.push_back({bssid, *about, entry->signal_dbm, 1});
    }
    std::stable_sort(heard.begin(), heard.end(), is_stronger);
    return heard;
}

void add_pass(std::vector<neighbour>& all, const std::vector<neighbour>& pass) {
    for (const auto& heard : pass) {
        const auto known = std::find_if(all.begin(), all.end(),
                                        [&](const neighbour& n) { return n.bssid == heard.bssid; });
        if (known == all.end()) {
            all.push_back(heard);
            continue;
        }
        known->about = heard.about;
        known->rssi_sum += heard.rssi_sum;
        known->samples += heard.samples;
    }
    std::stable_sort(all.begin(), all.end(), is_stronger);
}

std::vector<nl80211::mac_address> own_bssids(std::span<const nl80211::interface_info> interfaces) {
    std::vector<nl80211::mac_address> own;
    for (const auto& i : interfaces) {
        const std::string_view name = i.name;
        if (contains(radios, name.substr(0, name.find('-')))) own.push_back(i.mac);
    }
    return own;
}

}  // namespace radioctl
