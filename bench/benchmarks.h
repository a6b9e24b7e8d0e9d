// The benchmarks, each on the calling thread, with a world of its own.
#pragma once

#include <string>

#include "bench/results.h"

namespace bench {

// Messages through the roaming relay, beside a bare relay on the library and one in Node.js.
void measure_relay(results& r);
// Has measure_relay measure the daemon and the bare relay on the WebSocket library in this folder
// as well.
void use_patched_library(const std::string& folder);
// From a request of the RRM service to its answer, and the share of the local bus in it.
void measure_round_trip(results& r);
// What the daemon costs while nothing happens, in each mode.
void measure_idle(results& r);
// From the start of the process to the first message of a subscription.
void measure_start(results& r);
// Large messages: time and memory, and how they grow.
void measure_large(results& r);
// Many daemons against one service that drops them all.
void measure_fleet(results& r);

}  // namespace bench
