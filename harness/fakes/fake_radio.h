// The radio library and the command runner of the unit tests: calls are written down as one text,
// results and records are what a test says.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/radioctl.h"

namespace fake_radio {

using bytes = std::vector<std::uint8_t>;

struct state {
    std::map<std::string, int> results;  // by "call" or "call iface", such as "start wlan1"
    bytes info = bytes(RADIOCTL_INFO_SIZE);
    std::map<std::string, bytes> active;  // entries by interface
    std::map<std::string, bytes> rrm;     // result buffers by interface
    std::uint64_t active_count_lie = 0;   // added to the true count
    int open_containers = 0;              // of active results, not released yet
    std::string record;                   // "lock wlan0 22, start wlan0 2412 2437, ..."
};

inline state library;

inline void reset() { library = {}; }
inline std::string take_record() { return std::exchange(library.record, {}); }

// Records made of their fields.
bytes active_entry(int channel, int band, int rssi, const std::string& bandwidth,
                   const std::string& sideband);
bytes rrm_entry(std::uint8_t power, std::uint16_t chanspec, std::int32_t sum, std::int32_t samples);
bytes rrm_buffer(std::int32_t count, std::int32_t band, const std::vector<bytes>& entries,
                 std::uint32_t magic = RADIOCTL_RRM_MAGIC, std::uint32_t running = 0);

}  // namespace fake_radio
