// The scenarios that `tools/run` plays. Each plays on the calling thread, in a world of its own
// that it takes down, and returns the exit status: 0 when every check passed.
#pragma once

#include "lab/transcript.h"

namespace lab {

// The roaming bridge: messages both ways, a lost and regained connection, the stop.
int play_roaming(transcript& story);

// A whole session with the RRM service, with everything that an access point meets in it.
int play_rrm(transcript& story);

// The MAC lists of the WIDS service.
int play_wids(transcript& story);

// Keeps an RRM access point up and obeys the words that are typed, until "quit" or the end of
// input.
int stay(transcript& story);

// The radio driver without the daemon: what it reads, hears, and tells hostapd.
int play_driver(transcript& story);

// The daemon on a real access point: radios of the kernel, hostapd, a station. Plays in the virtual
// machine of `tools/run air` only.
int play_air(transcript& story);

}  // namespace lab
