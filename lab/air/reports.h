// The daemon's messages, and the same facts as iw tells them, in one form: equal when the daemon
// tells the truth. The readers of messages are pure text work.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "lab/air/iw_output.h"

namespace lab::air {

struct radio_view {
    bool up = false;
    channel_view channel;
    int power = 0;                  // dBm
    std::vector<std::string> vaps;  // "02:11:22:33:44:60 office"

    bool operator==(const radio_view&) const = default;
};
std::string description(const radio_view& view);

// A radio in "radios" of a message of the daemon.
radio_view described_radio(const std::string& message, int radio);

// An access point in "rf-environment" of a report, with its signal in every sweep that heard it.
struct reported_view {
    channel_view channel;
    std::vector<int> signals;  // dBm
};
std::map<std::string, reported_view> reported_air(const std::string& message);

}  // namespace lab::air
