// The frequencies that a radio has, and what it may do on each under the present regulatory domain.
#pragma once

#include <cstdint>
#include <vector>

#include "nl80211/connection.h"

namespace nl80211 {

enum class radar_state { none, usable, unavailable, available };

struct frequency {
    int mhz = 0;
    bool disabled = false;                  // neither transmit nor listen
    bool no_ir = false;                     // an access point may not be started, nor a probe sent
    radar_state radar = radar_state::none;  // other than none: a channel with radar detection
    double max_power_dbm = 0;
    bool no_40_below = false;  // 40 MHz with the secondary channel below is not allowed
    bool no_40_above = false;
    bool no_80 = false;
    bool no_160 = false;
};

// The frequencies of the radio that are channels in the bands of 2.4, 5 and 6 GHz, in the order of
// the kernel. 0 or a negative error number.
int read_frequencies(connection& kernel, std::uint32_t wiphy, std::vector<frequency>& list);

}  // namespace nl80211
