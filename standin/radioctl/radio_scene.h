// Parses the scene file, the world that the simulated radios see. They read it again at every call,
// so that it can change while they run. Text in, plain records out. An example:
//
//   {
//     "radios": [{"name": "wlan1", "band": 5, "channel": 36, "width": 80, "sideband": "ll"}],
//     "neighbours": [{"bssid": "02:00:00:00:00:01", "band": 5, "channel": 44, "width": 40,
//                     "sideband": "lower", "rssi": -61, "power": 17}],
//     "rrm_scan_ms": 1000,
//     "faults": [{"call": "radioctl_get_scan", "radio": "wlan1", "result": -5},
//                {"call": "radioctl_rrm_scan_get_result", "field": "count", "value": 300}]
//   }
//
// Widths are in MHz, power in dBm, rssi in dBm. Sidebands: "lower", "upper" for 40 MHz; "ll", "lu",
// "ul", "uu" for 80 MHz; anything else means no sideband. A fault without a "radio" applies to all
// radios. It makes the call return `result`, or writes `value` into a field of its record: "magic",
// "running", "count" of RRM results, "bandwidth" (not terminated) of active entries and of the
// radio's own record.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace standin {

inline constexpr const char* scene_path = "/run/radioctl/scene.json";

struct scene_channel {
    int band = 0;
    int channel = 0;  // primary
    int width = 20;   // MHz
    std::string sideband;

    // The place of the primary 20 MHz channel in the wide channel, counting from 0.
    int position() const;
    // The channel number of the centre of the wide channel.
    int centre() const;
};

struct scene_radio : scene_channel {
    std::string name;
};

struct scene_neighbour : scene_channel {
    std::array<std::uint8_t, 6> bssid{};
    int rssi = 0;
    int power = 0;
};

struct scene_fault {
    std::string call;
    std::string radio;  // empty: every radio
    std::string field;  // empty: the call's result
    long value = 0;
};

struct radio_scene {
    std::vector<scene_radio> radios;
    std::vector<scene_neighbour> neighbours;
    int rrm_scan_ms = 0;
    std::vector<scene_fault> faults;

    const scene_radio* radio(std::string_view name) const;
    // The value of the fault for a call on a radio and a field of its record; null without a fault.
    std::optional<long> fault(std::string_view call, std::string_view radio,
                              std::string_view field = {}) const;
};

// Members of the wrong type count as missing. Null when the text is not a JSON object.
std::optional<radio_scene> parse_scene(const std::string& text);

}  // namespace standin
