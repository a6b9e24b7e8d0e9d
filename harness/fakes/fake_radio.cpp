#include "harness/fakes/fake_radio.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "platform/runproc.h"

namespace fake_radio {

namespace {

template <typename Number>
void put(bytes& into, std::size_t offset, Number value) {
    std::memcpy(into.data() + offset, &value, sizeof value);
}

bytes rrm_entry(const rrm_fields& fields) {
    bytes entry(RADIOCTL_RRM_ENTRY_SIZE);
    std::fill_n(entry.begin(), 6, std::uint8_t{0xcd});
    entry[RADIOCTL_RRM_ENTRY_POWER] = fields.power;
    put(entry, RADIOCTL_RRM_ENTRY_CHANSPEC, fields.chanspec);
    put(entry, RADIOCTL_RRM_ENTRY_RSSI_SUM, fields.rssi_sum);
    put(entry, RADIOCTL_RRM_ENTRY_SAMPLES, fields.samples);
    return entry;
}

}  // namespace

bytes active_entry(const active_fields& fields) {
    bytes entry(RADIOCTL_ENTRY_SIZE);
    std::fill_n(entry.begin(), 6, std::uint8_t{0xab});
    put(entry, RADIOCTL_ENTRY_CHANNEL, fields.channel);
    put(entry, RADIOCTL_ENTRY_BAND, fields.band);
    put(entry, RADIOCTL_ENTRY_RSSI, fields.rssi);
    std::copy(fields.bandwidth.begin(), fields.bandwidth.end(),
              entry.begin() + RADIOCTL_ENTRY_BANDWIDTH);
    std::copy(fields.sideband.begin(), fields.sideband.end(),
              entry.begin() + RADIOCTL_ENTRY_SIDEBAND);
    return entry;
}

bytes rrm_buffer(const rrm_results& results) {
    bytes buffer(RADIOCTL_RRM_SIZE);
    const auto size = static_cast<std::int32_t>(results.entries.size());
    put(buffer, RADIOCTL_RRM_MAGIC_OFFSET, results.magic);
    put(buffer, RADIOCTL_RRM_RUNNING_OFFSET, results.running);
    put(buffer, RADIOCTL_RRM_COUNT_OFFSET, results.count.value_or(size));
    put(buffer, RADIOCTL_RRM_BAND_OFFSET, results.band);
    auto at = buffer.begin() + RADIOCTL_RRM_ENTRIES_OFFSET;
    for (const auto& fields : results.entries) {
        const auto entry = rrm_entry(fields);
        at = std::copy(entry.begin(), entry.end(), at);
    }
    return buffer;
}

}  // namespace fake_radio

using fake_radio::library;

namespace {

int result_of(const std::string& call, const std::string& iface, const std::string& more = "") {
    library.record += call + (iface.empty() ? "" : " " + iface) + more + ", ";
    const auto& results = library.results;
    for (const auto& key : {call + " " + iface, call}) {
        if (const auto found = results.find(key); found != results.end()) return found->second;
    }
    return 0;
}

}  // namespace

int radioctl_init(radioctl_ctx*) { return result_of("init", ""); }
void radioctl_free(radioctl_ctx*) {}

int radioctl_get_radio_info(radioctl_ctx*, const char* iface, void* record) {
    std::memcpy(record, library.info.data(), RADIOCTL_INFO_SIZE);
    return result_of("info", iface);
}

int radioctl_lock_and_stop_scan(radioctl_ctx*, const char* iface, int purpose) {
    return result_of("lock", iface, " " + std::to_string(purpose));
}

int radioctl_start_scan(radioctl_ctx*, const char* iface, const radioctl_scan_params* p) {
    std::string more;
    for (std::uint64_t i = 0; i < p->frequency_count; ++i)
        more += " " + std::to_string(p->frequencies[i]);
    const bool constants = p->option_40 == 0x100000 && p->option_44 == 0x2ab && p->option_80 == 1;
    return result_of("start", iface, constants ? more : " with wrong constants");
}

int radioctl_rrm_scan_init(radioctl_ctx*, const char* iface, int channel) {
    return result_of("rrm", iface, " " + std::to_string(channel));
}

int radioctl_scan_abort(radioctl_ctx*, const char* iface) { return result_of("abort", iface); }

int radioctl_stop_rrm_and_unlock_scan(radioctl_ctx*, const char* iface) {
    return result_of("unlock", iface);
}

void scan_results_init(radioctl_scan_results* results) {
    *results = {};
    ++library.open_containers;
}
void scan_results_free(radioctl_scan_results* results) {
    std::free(results->entries);
    --library.open_containers;
}

int radioctl_get_scan(radioctl_ctx*, const char* iface, radioctl_scan_results* results) {
    const auto& entries = library.active[iface];
    results->count = entries.size() / RADIOCTL_ENTRY_SIZE + library.active_count_lie;
    if (!entries.empty()) {
        results->entries = std::malloc(entries.size());
        std::memcpy(results->entries, entries.data(), entries.size());
    }
    return result_of("get", iface);
}

int radioctl_rrm_scan_get_result(radioctl_ctx*, const char* iface, void* results) {
    const auto& buffer = library.rrm[iface];
    if (!buffer.empty()) std::memcpy(results, buffer.data(), buffer.size());
    return result_of("result", iface);
}

int runproc_exec(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    const std::string command = std::string(format) == "%s" ? va_arg(args, const char*) : format;
    va_end(args);
    const std::string common = "wpa_cli -g /var/run/hostapd/global raw IFNAME=";
    return result_of("run", command.starts_with(common) ? command.substr(common.size()) : command);
}

void runproc_set_log(void (*)(const char*)) {}
