// The radio library and the command runner of the unit tests. They record the calls as one text; a
// test sets the results and the records that they return.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
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
    std::uint64_t active_count_lie = 0;   // added to the true count of entries
    int open_containers = 0;              // containers of active results that are not released
    std::string record;                   // "lock wlan0 22, start wlan0 2412 2437, ..."
};

inline state library;

inline void reset() { library = {}; }
inline std::string take_record() { return std::exchange(library.record, {}); }

// The fields of the library's records, and functions that make records of them.
struct active_fields {
    int channel = 44;
    int band = 5;
    int rssi = -61;
    std::string bandwidth = "20";  // a longer text runs into the next fields
    std::string sideband = {};
};
bytes active_entry(const active_fields& fields);

struct rrm_fields {
    std::uint8_t power = 0;
    std::uint16_t chanspec = 0;
    std::int32_t rssi_sum = 0;
    std::int32_t samples = 0;
};
struct rrm_results {
    std::uint32_t magic = RADIOCTL_RRM_MAGIC;
    std::uint32_t running = 0;
    std::optional<std::int32_t> count = {};  // if not set, the true number of entries
    std::int32_t band = 5;
    std::vector<rrm_fields> entries = {};
};
bytes rrm_buffer(const rrm_results& results);

}  // namespace fake_radio
