// The six daemon-wide running flags, two for each service: flag 2s for the worker of service s and
// the radio driver that it uses, flag 2s+1 for its WebSocket worker. Start-up sets them once; the
// stop handler clears them, on whatever thread the signal arrives.
#pragma once

#include <array>
#include <cstddef>

#include "base/running_flag.h"
#include "base/services.h"

namespace rfcd {

extern std::array<running_flag, 2 * service_count> running_flags;

inline running_flag& service_flag(service_index service) {
    return running_flags[2 * static_cast<std::size_t>(service)];
}
inline running_flag& websock_flag(service_index service) {
    return running_flags[2 * static_cast<std::size_t>(service) + 1];
}

// The handler of SIGTERM and SIGINT: clears all six flags and does nothing else.
extern "C" void stop_handler(int signal_number);

}  // namespace rfcd
