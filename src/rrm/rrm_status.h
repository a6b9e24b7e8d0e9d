// What the RRM worker reports about itself to the status_reporter. The rrm_worker owns it and
// updates it after each pass. Any thread may read it.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/worker_status.h"

namespace rfcd {

enum class subscription_state {
    idle,           // there is no link, or the service has refused
    subscribing,    // asking the service, or waiting for hostapd before it does
    subscribed,     // the service has accepted
    resubscribing,  // the service has accepted before; asking again
};

// The last report of neighbours that was sent. Time 0: none was sent yet.
struct sent_report {
    std::int64_t time = 0;  // seconds of the monotonic clock
    std::uint32_t neighbours = 0;

    bool operator==(const sent_report&) const = default;
};

class rrm_status : public worker_status {
  public:
    struct view {
        subscription_state subscription = subscription_state::idle;
        bool hostapd_runs = false;
        std::uint32_t sweep = 0;  // the one that runs, from 1; 0: no scan runs
        std::uint32_t sweeps = 0;
        sent_report report;

        bool operator==(const view&) const = default;
    };

    // Takes over a change, if there is any. On the worker's thread only.
    void update(const view& now);

    void append_to(status_lines& lines) const override;
    const char* summary() const override;

  private:
    view last_;  // used on the worker's thread only

    std::atomic<subscription_state> subscription_ = subscription_state::idle;
    std::atomic<std::int64_t> subscription_since_ = 0;  // seconds of the monotonic clock
    std::atomic<bool> hostapd_runs_ = false;
    std::atomic<std::uint32_t> sweep_ = 0;
    std::atomic<std::uint32_t> sweeps_ = 0;
    std::atomic<std::int64_t> report_time_ = 0;
    std::atomic<std::uint32_t> report_neighbours_ = 0;
};

}  // namespace rfcd
