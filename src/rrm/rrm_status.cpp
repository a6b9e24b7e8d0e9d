#include "rrm/rrm_status.h"

#include <string>

#include "base/monotonic_clock.h"

namespace rfcd {

void rrm_status::update(const view& now) {
    if (now == last_ && version() != 0) return;

    if (now.subscription != last_.subscription || version() == 0) {
        subscription_since_ = monotonic_now().tv_sec;
    }
    last_ = now;
    subscription_ = now.subscription;
    hostapd_runs_ = now.hostapd_runs;
    sweep_ = now.sweep;
    sweeps_ = now.sweeps;
    report_time_ = now.report.time;
    report_neighbours_ = now.report.neighbours;
    note_change();
}

void rrm_status::append_to(status_lines& lines) const {
    switch (subscription_) {
        case subscription_state::idle: lines.add("subscription", "none"); break;
        case subscription_state::subscribed: lines.add("subscription", "subscribed"); break;
        case subscription_state::subscribing:
        case subscription_state::resubscribing: lines.add("subscription", "subscribing"); break;
    }
    lines.add_time("subscription-since", subscription_since_);
    lines.add("hostapd", hostapd_runs_ ? "running" : "away");

    const auto sweep = sweep_.load();
    lines.add("scan", sweep == 0 ? "idle"
                                 : "sweep " + std::to_string(sweep) + " of " +
                                       std::to_string(sweeps_.load()));
    if (report_time_ == 0) return;
    lines.add_time("last-report-at", report_time_);
    lines.add_number("last-report-neighbours", report_neighbours_);
}

const char* rrm_status::summary() const {
    switch (subscription_) {
        case subscription_state::idle: return ", not subscribed";
        case subscription_state::subscribed: return ", subscribed";
        case subscription_state::subscribing:
        case subscription_state::resubscribing: break;
    }
    return ", asking for the subscription";
}

}  // namespace rfcd
