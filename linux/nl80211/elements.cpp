#include "nl80211/elements.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

namespace nl80211 {

namespace {

// Element IDs: IEEE Std 802.11-2020, Table 9-92. Extension IDs: HE from IEEE Std 802.11ax-2021, EHT
// from IEEE P802.11be/D3.0, Table 9-92 of each.
enum class id : int {
    ssid = 0,
    dsss_parameter_set = 3,
    country = 7,
    tpc_report = 35,
    ht_operation = 61,
    vht_operation = 192,
    extension = 255
};
constexpr std::uint8_t extension_he_operation = 36;
constexpr std::uint8_t extension_eht_operation = 106;

constexpr std::size_t max_ssid_length = 32;

// Calls `visit` with ID and content of each element that is there in full.
template <typename Visit>
void for_each_element(element_bytes bytes, Visit visit) {
    constexpr std::size_t head = 2;
    while (bytes.size() >= head && bytes.size() - head >= bytes[1]) {
        visit(static_cast<id>(bytes[0]), bytes.subspan(head, bytes[1]));
        bytes = bytes.subspan(head + bytes[1]);
    }
}

// The elements that are used, each as it came first; empty when it is missing.
struct element_set {
    std::optional<element_bytes> ssid;
    element_bytes dsss, country, tpc_report, ht, vht, he, eht;

    explicit element_set(element_bytes bytes) {
        for_each_element(bytes,
                         [this](id number, element_bytes content) { take(number, content); });
    }

  private:
    static void keep_first(element_bytes& kept, element_bytes content) {
        if (kept.empty()) kept = content;
    }

    void take(id number, element_bytes content) {
        switch (number) {
            case id::ssid:
                if (!ssid) ssid = content;
                break;
            case id::dsss_parameter_set: keep_first(dsss, content); break;
            case id::country: keep_first(country, content); break;
            case id::tpc_report: keep_first(tpc_report, content); break;
            case id::ht_operation: keep_first(ht, content); break;
            case id::vht_operation: keep_first(vht, content); break;
            case id::extension: take_extension(content); break;
        }
    }

    void take_extension(element_bytes content) {
        if (content.empty()) return;
        if (content[0] == extension_he_operation) keep_first(he, content.subspan(1));
        if (content[0] == extension_eht_operation) keep_first(eht, content.subspan(1));
    }
};

// --- the operation elements, oldest first. Each gives the wide channels that it may mean.

// 9.4.2.56 of IEEE Std 802.11-2020: the primary channel, five bytes of information, 16 bytes of the
// basic MCS set.
struct ht_operation {
    static constexpr std::size_t length = 22;

    int primary = 0;
    int secondary = 0;
    bool any_width = false;
    int centre_segment_2 = 0;  // for VHT with few spatial streams

    static std::optional<ht_operation> read(element_bytes content) {
        if (content.size() < length) return std::nullopt;
        const int operation_mode = content[2] | (content[3] << 8);
        return ht_operation{.primary = content[0],
                            .secondary = content[1] & 0x3,
                            .any_width = (content[1] & 0x4) != 0,
                            .centre_segment_2 = (operation_mode >> 5) & 0xff};
    }

    // Secondary Channel Offset.
    std::optional<wide_channel> wide(int primary_channel) const {
        constexpr int above = 1;
        constexpr int below = 3;
        if (!any_width || (secondary != above && secondary != below)) return std::nullopt;
        return wide_channel{40, primary_channel + (secondary == above ? 2 : -2)};
    }
};

// The pair of centres with which VHT and HE tell a channel of 80 MHz and more: the first is
// the 80 MHz segment with the primary channel. The second is 0, or the centre of the 160 MHz
// channel, which is 8 channel numbers away, or that of another 80 MHz segment. Table 9-274 of IEEE
// Std 802.11-2020 (VHT); HE and EHT use the same pair.
wide_channel read_centre_pair(int first, int second) {
    constexpr int half_of_160 = 8;
    if (second != 0 && std::abs(second - first) == half_of_160) return {160, second};
    return {80, first};
}

// 9.4.2.158 of IEEE Std 802.11-2020: channel width, two centres, basic MCS set.
std::optional<wide_channel> read_vht(element_bytes content, const std::optional<ht_operation>& ht) {
    constexpr std::size_t length = 5;
    enum width { of_ht, wide, old_160, old_80_80 };
    if (content.size() < length) return std::nullopt;

    const int first = content[1];
    const int second = content[2];
    switch (content[0]) {
        // With few spatial streams the second centre is in the HT Operation element: 11.38.1.
        case wide:
            return read_centre_pair(first, second == 0 && ht ? ht->centre_segment_2 : second);
        case old_160: return wide_channel{160, first};
        case old_80_80: return wide_channel{80, first};
        default: return std::nullopt;
    }
}

// The 6 GHz Operation Information field of the HE Operation element, 9.4.2.249 of IEEE Std
// 802.11ax-2021: primary channel, width, two centres, least rate. Optional fields may stand before
// it.
std::optional<wide_channel> read_he(element_bytes content) {
    constexpr std::size_t fixed_length = 6;  // parameters, BSS colour, basic MCS and NSS set
    constexpr std::size_t vht_length = 3;
    constexpr std::size_t co_hosted_length = 1;
    constexpr std::size_t information_length = 5;
    constexpr std::uint8_t vht_present = 0x40;  // in the second byte
    constexpr std::uint8_t co_hosted_present = 0x80;
    constexpr std::uint8_t information_present = 0x02;  // in the third byte
    if (content.size() < fixed_length || (content[2] & information_present) == 0) {
        return std::nullopt;
    }

    std::size_t at = fixed_length;
    if ((content[1] & vht_present) != 0) at += vht_length;
    if ((content[1] & co_hosted_present) != 0) at += co_hosted_length;
    if (content.size() < at + information_length) return std::nullopt;

    const auto field = content.subspan(at, information_length);
    constexpr std::array widths{20, 40, 80};
    const std::size_t width = field[1] & 0x3U;
    if (width < widths.size()) return wide_channel{widths[width], field[2]};
    return read_centre_pair(field[2], field[3]);
}

// 9.4.2.311 of IEEE P802.11be/D3.0: parameters, basic MCS and NSS set, then optional information:
// the width and two centres. The second centre is that of the whole channel from 160 MHz on.
std::optional<wide_channel> read_eht(element_bytes content) {
    constexpr std::size_t fixed_length = 5;
    constexpr std::size_t information_length = 3;
    constexpr std::uint8_t information_present = 0x01;
    constexpr std::array widths{20, 40, 80, 160, 320};
    if (content.size() < fixed_length + information_length ||
        (content[0] & information_present) == 0) {
        return std::nullopt;
    }

    const auto field = content.subspan(fixed_length, information_length);
    const std::size_t width = field[0] & 0x7U;
    if (width >= widths.size()) return std::nullopt;
    return wide_channel{widths[width], widths[width] >= 160 ? field[2] : field[1]};
}

// --- what the elements say together

bool is_channel(band in, int number) { return wide_channel{20, number}.lies_in(in); }

int primary_channel(const element_set& all, const std::optional<ht_operation>& ht,
                    channel_number heard) {
    if (heard.in != band::ghz_2) return heard.number;
    const int named = ht ? ht->primary : !all.dsss.empty() ? all.dsss[0] : heard.number;
    return is_channel(heard.in, named) ? named : heard.number;
}

void set_wide_channel(bss_description& bss, const element_set& all,
                      const std::optional<ht_operation>& ht) {
    std::vector<std::optional<wide_channel>> newest_first{read_eht(all.eht)};
    if (bss.primary.in == band::ghz_6) {
        newest_first.push_back(read_he(all.he));
    } else {
        if (bss.primary.in == band::ghz_5) newest_first.push_back(read_vht(all.vht, ht));
        if (ht) newest_first.push_back(ht->wide(bss.primary.number));
    }

    bss.wide = {20, bss.primary.number};
    for (const auto& wide : newest_first) {
        if (!wide || !wide->lies_in(bss.primary.in)) continue;
        const auto place = wide->place_of(bss.primary.number);
        if (!place) continue;
        bss.wide = *wide;
        bss.place = *place;
        return;
    }
}

// TPC Report, 9.4.2.16 of IEEE Std 802.11-2020: the transmit power, then the link margin.
std::optional<int> reported_power(element_bytes content) {
    constexpr std::size_t length = 2;
    if (content.size() < length) return std::nullopt;
    return static_cast<std::int8_t>(content[0]);
}

// Country, 9.4.2.8 of IEEE Std 802.11-2020: three characters, then triplets. A first byte from 201
// on begins an operating triplet, which has no power; any other triplet is the first channel, the
// number of channels, the greatest power. Channels of 5 GHz are four numbers apart.
std::optional<int> power_limit(element_bytes content, channel_number channel) {
    constexpr std::size_t name_length = 3;
    constexpr std::size_t triplet_length = 3;
    constexpr int first_operating_triplet = 201;
    const int step = channel.in == band::ghz_2 ? 1 : 4;

    for (auto at = name_length; at + triplet_length <= content.size(); at += triplet_length) {
        const int first = content[at];
        const int last = first + (content[at + 1] - 1) * step;
        if (first < first_operating_triplet && channel.number >= first && channel.number <= last) {
            return static_cast<std::int8_t>(content[at + 2]);
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<bss_description> read_elements(element_bytes elements, int heard_mhz) {
    const auto heard = channel_of(heard_mhz);
    if (!heard) return std::nullopt;
    const element_set all(elements);
    const auto ht = ht_operation::read(all.ht);

    bss_description bss;
    if (all.ssid && all.ssid->size() <= max_ssid_length) {
        bss.ssid.assign(all.ssid->begin(), all.ssid->end());
    }
    bss.hidden = std::all_of(bss.ssid.begin(), bss.ssid.end(), [](char c) { return c == '\0'; });

    bss.primary = {heard->in, primary_channel(all, ht, *heard)};
    set_wide_channel(bss, all, ht);

    bss.tx_power = reported_power(all.tpc_report);
    bss.regulatory_power = power_limit(all.country, bss.primary);
    return bss;
}

}  // namespace nl80211
