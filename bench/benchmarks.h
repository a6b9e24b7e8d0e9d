// The benchmarks. Each runs on the calling thread in a world of its own.
#pragma once

#include <string>

#include "bench/results.h"

namespace bench {

// The roaming relay, compared with a bare relay on the same library and with one in Node.js.
void measure_relay(results& r);
// Makes measure_relay also measure the daemon and the bare relay on the WebSocket library in this
// folder.
void use_patched_library(const std::string& folder);
// The time from a request of the RRM service to its response, and the share of the local bus in it.
void measure_round_trip(results& r);
// The cost of an idle daemon in each mode.
void measure_idle(results& r);
// The time from the start of the process to its subscription.
void measure_start(results& r);
// Time and memory for large messages, and how they grow with the size.
void measure_large(results& r);
// Many daemons and one service that drops all their connections.
void measure_fleet(results& r);

}  // namespace bench
