// The radio library over nl80211, the kernel's own interface to its radios. Errors are negative
// error numbers. It never waits for a scan; start and lock wait up to 100 ms for an ended scan.
#include "platform/radioctl.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "radioctl/radio_scans.h"

using radioctl::neighbour;
using radioctl::radio_scans;
using radioctl::rrm_results;

namespace {

// The first word of a context is the address of its state.
radio_scans& state_of(radioctl_ctx* ctx) {
    void* address = nullptr;
    std::memcpy(&address, ctx->storage, sizeof address);
    return *static_cast<radio_scans*>(address);
}

}  // namespace

int radioctl_init(radioctl_ctx* ctx) {
    auto state = radio_scans::open();
    if (!state) return -ENODEV;
    void* const address = state.release();
    std::memset(ctx, 0, sizeof *ctx);
    std::memcpy(ctx->storage, &address, sizeof address);
    return 0;
}

void radioctl_free(radioctl_ctx* ctx) {
    delete &state_of(ctx);
    std::memset(ctx, 0, sizeof *ctx);
}

int radioctl_get_radio_info(radioctl_ctx* ctx, const char* iface, void* record) {
    nl80211::channel on;
    const int result = state_of(ctx).read_channel(iface, on);
    if (result != 0) return result;
    return radioctl::write_radio_info(record, on) ? 0 : -EINVAL;
}

int radioctl_lock_and_stop_scan(radioctl_ctx* ctx, const char* iface, int /*purpose*/) {
    return state_of(ctx).lock(iface);
}

int radioctl_start_scan(radioctl_ctx* ctx, const char* iface, const radioctl_scan_params* params) {
    return state_of(ctx).start_active(
        iface, {params->frequencies, params->frequencies + params->frequency_count});
}

int radioctl_rrm_scan_init(radioctl_ctx* ctx, const char* iface, int channel) {
    return state_of(ctx).start_rrm(iface, channel);
}

int radioctl_scan_abort(radioctl_ctx* ctx, const char* iface) { return state_of(ctx).abort(iface); }

int radioctl_stop_rrm_and_unlock_scan(radioctl_ctx* ctx, const char* iface) {
    return state_of(ctx).unlock(iface);
}

void scan_results_init(radioctl_scan_results* results) { *results = {}; }

void scan_results_free(radioctl_scan_results* results) {
    std::free(results->entries);
    *results = {};
}

int radioctl_get_scan(radioctl_ctx* ctx, const char* iface, radioctl_scan_results* results) {
    std::vector<neighbour> heard;
    const int result = state_of(ctx).read_active(iface, heard);
    if (result != 0) return result;

    auto* const entries =
        static_cast<std::uint8_t*>(std::calloc(heard.size() + 1, RADIOCTL_ENTRY_SIZE));
    if (entries == nullptr) return -ENOMEM;
    for (std::size_t i = 0; i < heard.size(); ++i) {
        radioctl::write_active_entry(entries + i * RADIOCTL_ENTRY_SIZE, heard[i]);
    }
    results->entries = entries;
    results->count = heard.size();
    return 0;
}

int radioctl_rrm_scan_get_result(radioctl_ctx* ctx, const char* iface, void* results) {
    rrm_results heard;
    const int result = state_of(ctx).read_rrm(iface, heard);
    if (result == 0) radioctl::write_rrm_results(results, heard);
    return result;
}
