// The identifiers of the RRM worker's timers. The worker has one timer_list. Each timer belongs to
// the member that arms it; only the worker cancels all of them at once.
#pragma once

#include <cstdint>

namespace rfcd {

enum rrm_timer : std::int32_t {
    // Of scan_session.
    timer_scan_delay = 0,
    timer_scan_sweep = 1,
    timer_response_delay = 3,
    // Of subscription.
    timer_subscribe = 2,
    timer_config_changed = 5,
};

}  // namespace rfcd
