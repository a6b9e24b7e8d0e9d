// The radio library, simulated: the radios are on the channels of a scene file and hear the
// neighbours in it. Errors are negative error numbers.
#include "platform/radioctl.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <string>

#include "radioctl/radio_scene.h"

using standin::radio_scene;
using standin::scene_channel;
using standin::scene_neighbour;

static_assert(sizeof(radioctl_scan_params) == 88 &&
              offsetof(radioctl_scan_params, option_40) == 40 &&
              offsetof(radioctl_scan_params, option_80) == 80);

namespace {

using clock_type = std::chrono::steady_clock;

constexpr int rssi_samples = 4;

struct radio_state {
    bool locked = false;
    bool scanned = false;                           // an active scan was started since the lock
    std::vector<std::uint32_t> active_frequencies;  // of that scan; empty: all
    int rrm_channel = 0;
    clock_type::time_point rrm_start;
};

// By radio name; shared by all contexts of the process.
std::map<std::string, radio_state>& states() {
    static std::map<std::string, radio_state> all;
    return all;
}

radio_scene read_scene() {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(standin::scene_path, "re"), &std::fclose);
    std::string text;
    char piece[512];
    while (const auto count = file ? std::fread(piece, 1, sizeof piece, file.get()) : 0) {
        text.append(piece, count);
    }
    return standin::parse_scene(text).value_or(radio_scene{});
}

// "wlan1-vap2" is an interface of the radio "wlan1".
std::string radio_of(const char* iface) {
    const std::string name = iface;
    return name.substr(0, name.find('-'));
}

// What every call on an interface reads first: the scene, the radio, and its fault.
struct call {
    call(const char* function, const char* iface)
        : scene(read_scene()), name(radio_of(iface)), radio(scene.radio(name)) {
        const auto fault = scene.fault(function, name);
        const int set = fault ? static_cast<int>(*fault) : 0;
        result = set == 0 && radio == nullptr ? -ENODEV : set;
    }

    const radio_scene scene;
    const std::string name;
    const standin::scene_radio* radio;
    int result;  // 0 when the call can go on
};

void put_u32(std::uint8_t* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

// Clamps a number that the field cannot hold.
void put_i32(std::uint8_t* at, std::int64_t value) {
    using limits = std::numeric_limits<std::int32_t>;
    value = std::clamp<std::int64_t>(value, limits::min(), limits::max());
    put_u32(at, static_cast<std::uint32_t>(value));
}

// The bandwidth as text; with a fault, digits that fill the field without a terminator.
void put_bandwidth(std::uint8_t* at, std::size_t size, int width, bool endless) {
    std::memset(at, '8', size);
    if (!endless) std::snprintf(reinterpret_cast<char*>(at), size, "%d", width);
}

// Channel starting frequencies in MHz: IEEE 802.11-2020, Annex E; 6 GHz: IEEE 802.11ax-2021.
std::uint32_t frequency_of(const scene_channel& c) {
    const std::int64_t start = c.band == 2 ? 2407 : c.band == 5 ? 5000 : 5950;
    return static_cast<std::uint32_t>(start + 5 * std::int64_t{c.channel});
}

void fill_active_entry(std::uint8_t* entry, const scene_neighbour& n, bool endless) {
    constexpr const char* sidebands[] = {"LL", "LU", "UL", "UU"};
    std::copy(n.bssid.begin(), n.bssid.end(), entry + RADIOCTL_ENTRY_BSSID);
    put_i32(entry + RADIOCTL_ENTRY_CHANNEL, n.channel);
    put_i32(entry + RADIOCTL_ENTRY_BAND, n.band);
    put_i32(entry + RADIOCTL_ENTRY_RSSI, n.rssi);
    put_bandwidth(entry + RADIOCTL_ENTRY_BANDWIDTH, RADIOCTL_ENTRY_BANDWIDTH_SIZE, n.width,
                  endless);
    std::memcpy(entry + RADIOCTL_ENTRY_SIDEBAND, sidebands[n.position()],
                RADIOCTL_ENTRY_SIDEBAND_SIZE);
}

std::uint16_t chanspec_of(const scene_channel& c) {
    const int code = c.width == 20    ? 0x1000
                     : c.width == 40  ? 0x1800
                     : c.width == 80  ? 0x2000
                     : c.width == 160 ? 0x2800
                                      : 0x3800;
    return static_cast<std::uint16_t>((c.centre() & 0xff) | code | (c.position() << 8));
}

void fill_rrm_entry(std::uint8_t* entry, const scene_neighbour& n) {
    std::copy(n.bssid.begin(), n.bssid.end(), entry + RADIOCTL_RRM_ENTRY_BSSID);
    entry[RADIOCTL_RRM_ENTRY_POWER] = static_cast<std::uint8_t>(n.power << 2);
    const auto chanspec = chanspec_of(n);
    entry[RADIOCTL_RRM_ENTRY_CHANSPEC] = static_cast<std::uint8_t>(chanspec);
    entry[RADIOCTL_RRM_ENTRY_CHANSPEC + 1] = static_cast<std::uint8_t>(chanspec >> 8);
    put_i32(entry + RADIOCTL_RRM_ENTRY_RSSI_SUM, std::int64_t{n.rssi} * rssi_samples);
    put_i32(entry + RADIOCTL_RRM_ENTRY_SAMPLES, rssi_samples);
}

}  // namespace

int radioctl_init(radioctl_ctx* ctx) {
    std::memset(ctx, 0, sizeof *ctx);
    return static_cast<int>(read_scene().fault("radioctl_init", "").value_or(0));
}

void radioctl_free(radioctl_ctx* /*ctx*/) {}

int radioctl_get_radio_info(radioctl_ctx* /*ctx*/, const char* iface, void* record) {
    const call c(__func__, iface);
    if (c.result != 0) return c.result;

    auto* bytes = static_cast<std::uint8_t*>(record);
    std::memset(bytes, 0, RADIOCTL_INFO_SIZE);
    const bool endless = c.scene.fault(__func__, c.name, "bandwidth").has_value();
    put_bandwidth(bytes + RADIOCTL_INFO_BANDWIDTH, RADIOCTL_INFO_BANDWIDTH_SIZE, c.radio->width,
                  endless);

    bytes[RADIOCTL_INFO_PRIMARY] = static_cast<std::uint8_t>(c.radio->channel);
    if (c.radio->width == 40 || c.radio->width == 80) {
        bytes[RADIOCTL_INFO_SECONDARY] =
            c.radio->position() % 2 == 0 ? RADIOCTL_SECONDARY_ABOVE : RADIOCTL_SECONDARY_BELOW;
    }
    if (c.radio->width == 80) {
        bytes[RADIOCTL_INFO_CENTRE] = static_cast<std::uint8_t>(c.radio->centre());
    }
    return 0;
}

int radioctl_lock_and_stop_scan(radioctl_ctx* /*ctx*/, const char* iface, int /*purpose*/) {
    const call c(__func__, iface);
    if (c.result != 0) return c.result;
    radio_state fresh;
    fresh.locked = true;
    states()[c.name] = fresh;
    return 0;
}

int radioctl_start_scan(radioctl_ctx* /*ctx*/, const char* iface,
                        const radioctl_scan_params* params) {
    const call c(__func__, iface);
    if (c.result != 0) return c.result;
    auto& state = states()[c.name];
    if (!state.locked) return -EPERM;
    state.scanned = true;
    state.active_frequencies.assign(params->frequencies,
                                    params->frequencies + params->frequency_count);
    return 0;
}

int radioctl_rrm_scan_init(radioctl_ctx* /*ctx*/, const char* iface, int channel) {
    const call c(__func__, iface);
    if (c.result != 0) return c.result;
    auto& state = states()[c.name];
    if (!state.locked) return -EPERM;
    state.rrm_channel = channel;
    state.rrm_start = clock_type::now();
    return 0;
}

int radioctl_scan_abort(radioctl_ctx* /*ctx*/, const char* iface) {
    return call(__func__, iface).result;
}

int radioctl_stop_rrm_and_unlock_scan(radioctl_ctx* /*ctx*/, const char* iface) {
    const call c(__func__, iface);
    if (c.result == 0) states()[c.name].locked = false;
    return c.result;
}

void scan_results_init(radioctl_scan_results* results) { *results = {}; }

void scan_results_free(radioctl_scan_results* results) {
    std::free(results->entries);
    *results = {};
}

int radioctl_get_scan(radioctl_ctx* /*ctx*/, const char* iface, radioctl_scan_results* results) {
    const call c(__func__, iface);
    if (c.result != 0) return c.result;

    const auto& state = states()[c.name];
    const auto& frequencies = state.active_frequencies;
    std::vector<const scene_neighbour*> heard;
    for (const auto& n : c.scene.neighbours) {
        const bool scanned =
            frequencies.empty() ||
            std::find(frequencies.begin(), frequencies.end(), frequency_of(n)) != frequencies.end();
        if (state.scanned && n.band == c.radio->band && scanned) heard.push_back(&n);
    }

    auto* entries = static_cast<std::uint8_t*>(std::calloc(heard.size() + 1, RADIOCTL_ENTRY_SIZE));
    if (entries == nullptr) return -ENOMEM;
    const bool endless = c.scene.fault(__func__, c.name, "bandwidth").has_value();
    for (std::size_t i = 0; i < heard.size(); ++i) {
        fill_active_entry(entries + i * RADIOCTL_ENTRY_SIZE, *heard[i], endless);
    }

    results->entries = entries;
    results->count = heard.size();
    return 0;
}

int radioctl_rrm_scan_get_result(radioctl_ctx* /*ctx*/, const char* iface, void* results) {
    const call c(__func__, iface);
    if (c.result != 0) return c.result;

    auto* bytes = static_cast<std::uint8_t*>(results);
    const auto& state = states()[c.name];
    std::size_t count = 0;
    for (const auto& n : c.scene.neighbours) {
        if (n.band != c.radio->band || n.channel != state.rrm_channel) continue;
        if (count == RADIOCTL_RRM_MAX_ENTRIES) break;
        fill_rrm_entry(bytes + RADIOCTL_RRM_ENTRIES_OFFSET + count * RADIOCTL_RRM_ENTRY_SIZE, n);
        ++count;
    }

    const auto end = state.rrm_start + std::chrono::milliseconds(c.scene.rrm_scan_ms);
    const auto field = [&](const char* name, long otherwise) {
        return static_cast<std::uint32_t>(
            c.scene.fault("radioctl_rrm_scan_get_result", c.name, name).value_or(otherwise));
    };
    put_u32(bytes + RADIOCTL_RRM_MAGIC_OFFSET, field("magic", RADIOCTL_RRM_MAGIC));
    put_u32(bytes + RADIOCTL_RRM_RUNNING_OFFSET, field("running", clock_type::now() < end ? 1 : 0));
    put_u32(bytes + RADIOCTL_RRM_COUNT_OFFSET, field("count", static_cast<long>(count)));
    put_i32(bytes + RADIOCTL_RRM_BAND_OFFSET, c.radio->band);
    return 0;
}
