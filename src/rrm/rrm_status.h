// What the RRM worker tells about itself. The worker compares it with what it told before after
// each pass; any thread reads.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/worker_status.h"

namespace rfcd {

enum class subscription_state {
    idle,           // without a link, or refused by the service
    subscribing,    // asks, or waits for hostapd to ask
    subscribed,     // accepted by the service
    resubscribing,  // accepted before, and asks again
};

// A report of the neighbours, the last one that was sent. Time 0: there was none yet.
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
        std::uint32_t sweep = 0;  // that runs, counting from 1; 0: no scan runs
        std::uint32_t sweeps = 0;
        sent_report report;

        bool operator==(const view&) const = default;
    };

    // On the worker's thread.
    void update(const view& now);

    void append_to(status_lines& lines) const override;
    const char* summary() const override;

  private:
    view last_;  // the worker's

    std::atomic<subscription_state> subscription_ = subscription_state::idle;
    std::atomic<std::int64_t> subscription_since_ = 0;  // seconds of the monotonic clock
    std::atomic<bool> hostapd_runs_ = false;
    std::atomic<std::uint32_t> sweep_ = 0;
    std::atomic<std::uint32_t> sweeps_ = 0;
    std::atomic<std::int64_t> report_time_ = 0;
    std::atomic<std::uint32_t> report_neighbours_ = 0;
};

}  // namespace rfcd
