// The scenarios that `tools/run` plays, each on the calling thread, with its own world that is gone
// when it returns. Each answers the exit status: 0 when everything that it shows really happened.
#pragma once

#include "lab/transcript.h"

namespace lab {

// The roaming bridge: messages both ways, a lost and regained connection, the stop.
int play_roaming(transcript& story);

// A whole session with the RRM service, with everything that an access point meets in it.
int play_rrm(transcript& story);

// The MAC lists of the WIDS service.
int play_wids(transcript& story);

// Keeps an RRM access point up and obeys what is typed, until "quit" or the end of the input.
int stay(transcript& story);

// The radio driver by itself: what it reads, hears, and tells hostapd.
int play_driver(transcript& story);

}  // namespace lab
