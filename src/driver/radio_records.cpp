#include "driver/radio_records.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

namespace rfcd {

namespace {

constexpr struct {
    std::string_view text;
    chanspec_t bits;
} sideband_codes[] = {
    {"LL", chanspec_sideband_ll},
    {"LU", chanspec_sideband_lu},
    {"UL", chanspec_sideband_ul},
    {"UU", chanspec_sideband_uu},
};

constexpr unsigned power_shift = 2;

std::uint32_t read_u32(record_bytes record, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) value = (value << 8) | record[offset + i];
    return value;
}

std::int32_t read_i32(record_bytes record, std::size_t offset) {
    return static_cast<std::int32_t>(read_u32(record, offset));
}

std::uint16_t read_u16(record_bytes record, std::size_t offset) {
    return static_cast<std::uint16_t>(record[offset] | (record[offset + 1] << 8));
}

// A text field up to its zero byte, or to the end of the field.
std::string read_text(record_bytes record, std::size_t offset, std::size_t size) {
    const auto field = record.subspan(offset, size);
    return {field.begin(), std::find(field.begin(), field.end(), 0)};
}

int read_number(record_bytes record, std::size_t offset, std::size_t size) {
    return static_cast<int>(std::strtol(read_text(record, offset, size).c_str(), nullptr, 10));
}

libnetworkd::MacAddr read_mac(record_bytes record, std::size_t offset) {
    libnetworkd::MacAddr mac;
    std::copy_n(record.begin() + static_cast<std::ptrdiff_t>(offset), mac.bytes.size(),
                mac.bytes.begin());
    return mac;
}

std::int32_t sideband_bits(std::string_view text) {
    for (const auto& row : sideband_codes) {
        if (row.text == text) return row.bits;
    }
    return chanspec_sideband_ll;
}

// In 64 bits, because the least 32-bit number divided by -1 needs more than 32.
std::int32_t mean(std::int64_t sum, std::int64_t samples) {
    return samples == 0 ? 0 : static_cast<std::int32_t>(sum / samples);
}

rrm_scan_entry read_rrm_entry(record_bytes entry) {
    return {read_mac(entry, RADIOCTL_RRM_ENTRY_BSSID),
            mean(read_i32(entry, RADIOCTL_RRM_ENTRY_RSSI_SUM),
                 read_i32(entry, RADIOCTL_RRM_ENTRY_SAMPLES)),
            entry[RADIOCTL_RRM_ENTRY_POWER] >> power_shift,
            read_u16(entry, RADIOCTL_RRM_ENTRY_CHANSPEC)};
}

}  // namespace

radio_channel read_radio_info(record_bytes record) {
    return {read_number(record, RADIOCTL_INFO_BANDWIDTH, RADIOCTL_INFO_BANDWIDTH_SIZE),
            record[RADIOCTL_INFO_PRIMARY], record[RADIOCTL_INFO_SECONDARY],
            record[RADIOCTL_INFO_CENTRE]};
}

scan_result read_active_entry(record_bytes record) {
    scan_result result;
    result.bssid = read_mac(record, RADIOCTL_ENTRY_BSSID);
    result.rssi = read_i32(record, RADIOCTL_ENTRY_RSSI);
    result.channel = read_i32(record, RADIOCTL_ENTRY_CHANNEL);
    result.band = read_i32(record, RADIOCTL_ENTRY_BAND);
    result.bandwidth = read_number(record, RADIOCTL_ENTRY_BANDWIDTH, RADIOCTL_ENTRY_BANDWIDTH_SIZE);
    if (result.bandwidth == 80) {
        result.sideband =
            sideband_bits(read_text(record, RADIOCTL_ENTRY_SIDEBAND, RADIOCTL_ENTRY_SIDEBAND_SIZE));
    }
    return result;
}

rrm_scan_head read_rrm_head(record_bytes buffer) {
    return {read_u32(buffer, RADIOCTL_RRM_MAGIC_OFFSET),
            read_u32(buffer, RADIOCTL_RRM_RUNNING_OFFSET) != 0,
            read_i32(buffer, RADIOCTL_RRM_COUNT_OFFSET),
            read_i32(buffer, RADIOCTL_RRM_BAND_OFFSET)};
}

std::vector<rrm_scan_entry> read_rrm_entries(record_bytes buffer) {
    const auto count = static_cast<std::size_t>(
        std::clamp<std::int32_t>(read_rrm_head(buffer).count, 0, RADIOCTL_RRM_MAX_ENTRIES));
    std::vector<rrm_scan_entry> entries;
    entries.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto offset = RADIOCTL_RRM_ENTRIES_OFFSET + i * RADIOCTL_RRM_ENTRY_SIZE;
        entries.push_back(read_rrm_entry(buffer.subspan(offset, RADIOCTL_RRM_ENTRY_SIZE)));
    }
    return entries;
}

}  // namespace rfcd
