// Channel numbers, frequencies and widths: which channel of a width holds a primary channel, and
// what hostapd is told to move there. Pure functions.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "nl80211/interfaces.h"
#include "nl80211/wiphy.h"

namespace aplocal {

struct numbered_channel {
    int band = 0;    // 2, 5 or 6; 0: not a channel of these
    int number = 0;  // in its band
};
numbered_channel channel_of_frequency(int mhz);
// Null for a number that the band does not have.
std::optional<int> frequency_of_channel(numbered_channel channel);

// Where the primary channel lies in a 40 MHz channel of the 2.4 GHz band. The other bands leave no
// choice.
enum class sideband { any, lower, upper };

struct planned_channel {
    nl80211::channel channel;
    std::string problem;  // not empty: there is no such channel, for this reason
};
planned_channel plan_channel(numbered_channel primary, int width_mhz, sideband place);

// The place of the primary channel in the words of the configuration store: "lower" or "upper" at
// 40 MHz, "ll", "lu", "ul" or "uu" at 80 MHz, "none" at any other width.
std::string sideband_text(const nl80211::channel& channel);

// Which generations of IEEE 802.11 the access point offers.
struct phy_modes {
    bool ht = false;
    bool vht = false;
    bool he = false;
};
// hostapd's command for a channel switch announcement.
std::string channel_switch_command(const nl80211::channel& channel, phy_modes modes);

enum class radar_channels { left_out, included };
// The numbers of the band's channels on which an access point may be started, with blanks between
// them and a line end.
std::string usable_channels(const std::vector<nl80211::frequency>& frequencies, int band,
                            radar_channels radar);

}  // namespace aplocal
