#include "radioctl/records.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/radioctl.h"

namespace radioctl {

namespace {

using nl80211::wide_channel;

constexpr int max_power = 63;  // the field has eight bits, and the power is shifted left by two
constexpr unsigned power_shift = 2;
constexpr unsigned sideband_shift = 8;

// Codes of the bandwidth in a channel specification.
constexpr struct {
    int mhz;
    unsigned code;
} widths[] = {
    {.mhz = 20, .code = 0x1000},  {.mhz = 40, .code = 0x1800},  {.mhz = 80, .code = 0x2000},
    {.mhz = 160, .code = 0x2800}, {.mhz = 320, .code = 0x3800},
};

void put_u16(std::uint8_t* at, unsigned value) {
    at[0] = static_cast<std::uint8_t>(value);
    at[1] = static_cast<std::uint8_t>(value >> 8);
}

void put_i32(std::uint8_t* at, int value) {
    for (unsigned i = 0; i < 4; ++i) {
        at[i] = static_cast<std::uint8_t>(static_cast<unsigned>(value) >> (8 * i));
    }
}

void put_text(std::uint8_t* at, std::size_t size, int number) {
    std::snprintf(reinterpret_cast<char*>(at), size, "%d", number);
}

bool has_sideband(int width_mhz) { return width_mhz == 40 || width_mhz == 80; }

unsigned chanspec_of(const nl80211::bss_description& about) {
    const auto* const row = std::find_if(std::begin(widths), std::end(widths), [&](const auto& w) {
        return w.mhz == about.wide.width_mhz;
    });
    const int place = has_sideband(about.wide.width_mhz) ? about.place : 0;
    return (static_cast<unsigned>(about.wide.centre) & 0xffU) | row->code |
           (static_cast<unsigned>(place) << sideband_shift);
}

// An access point need not say its power; 0 stands for that.
int power_of(const nl80211::bss_description& about) {
    const int dbm = about.tx_power.value_or(about.regulatory_power.value_or(0));
    return std::clamp(dbm, 0, max_power);
}

void write_rrm_entry(std::uint8_t* entry, const neighbour& heard) {
    std::copy(heard.bssid.begin(), heard.bssid.end(), entry + RADIOCTL_RRM_ENTRY_BSSID);
    entry[RADIOCTL_RRM_ENTRY_POWER] =
        static_cast<std::uint8_t>(power_of(heard.about) << power_shift);
    put_u16(entry + RADIOCTL_RRM_ENTRY_CHANSPEC, chanspec_of(heard.about));
    put_i32(entry + RADIOCTL_RRM_ENTRY_RSSI_SUM, heard.rssi_sum);
    put_i32(entry + RADIOCTL_RRM_ENTRY_SAMPLES, heard.samples);
}

}  // namespace

bool write_radio_info(void* record, const nl80211::channel& on) {
    const auto primary = nl80211::channel_of(on.primary_mhz);
    const auto centre = nl80211::channel_of(on.centre_mhz);
    if (!primary || !centre) return false;

    auto* const bytes = static_cast<std::uint8_t*>(record);
    std::memset(bytes, 0, RADIOCTL_INFO_SIZE);
    put_text(bytes + RADIOCTL_INFO_BANDWIDTH, RADIOCTL_INFO_BANDWIDTH_SIZE, on.width_mhz);
    bytes[RADIOCTL_INFO_PRIMARY] = static_cast<std::uint8_t>(primary->number);

    const auto place = wide_channel{on.width_mhz, centre->number}.place_of(primary->number);
    if (place && has_sideband(on.width_mhz)) {
        bytes[RADIOCTL_INFO_SECONDARY] =
            *place % 2 == 0 ? RADIOCTL_SECONDARY_ABOVE : RADIOCTL_SECONDARY_BELOW;
    }
    if (on.width_mhz == 80) bytes[RADIOCTL_INFO_CENTRE] = static_cast<std::uint8_t>(centre->number);
    return true;
}

void write_active_entry(std::uint8_t* record, const neighbour& heard) {
    constexpr const char* sidebands[] = {"LL", "LU", "UL", "UU"};
    const auto& about = heard.about;

    std::memset(record, 0, RADIOCTL_ENTRY_SIZE);
    std::copy(heard.bssid.begin(), heard.bssid.end(), record + RADIOCTL_ENTRY_BSSID);
    put_i32(record + RADIOCTL_ENTRY_CHANNEL, about.primary.number);
    put_i32(record + RADIOCTL_ENTRY_BAND, number_of(about.primary.in));
    put_i32(record + RADIOCTL_ENTRY_RSSI, heard.rssi_sum / std::max(heard.samples, 1));

    put_text(record + RADIOCTL_ENTRY_BANDWIDTH, RADIOCTL_ENTRY_BANDWIDTH_SIZE,
             about.wide.width_mhz);
    if (has_sideband(about.wide.width_mhz)) {
        std::memcpy(record + RADIOCTL_ENTRY_SIDEBAND, sidebands[about.place],
                    RADIOCTL_ENTRY_SIDEBAND_SIZE);
    }
}

void write_rrm_results(void* record, const rrm_results& results) {
    auto* const bytes = static_cast<std::uint8_t*>(record);
    const auto count = std::min<std::size_t>(results.heard.size(), RADIOCTL_RRM_MAX_ENTRIES);

    std::memset(bytes, 0, RADIOCTL_RRM_SIZE);
    put_i32(bytes + RADIOCTL_RRM_MAGIC_OFFSET, RADIOCTL_RRM_MAGIC);
    put_i32(bytes + RADIOCTL_RRM_RUNNING_OFFSET, results.running ? 1 : 0);
    put_i32(bytes + RADIOCTL_RRM_COUNT_OFFSET, static_cast<int>(count));
    put_i32(bytes + RADIOCTL_RRM_BAND_OFFSET, number_of(results.band));

    auto* entry = bytes + RADIOCTL_RRM_ENTRIES_OFFSET;
    for (std::size_t i = 0; i < count; ++i, entry += RADIOCTL_RRM_ENTRY_SIZE) {
        write_rrm_entry(entry, results.heard[i]);
    }
}

}  // namespace radioctl
