#include "workers/timer_list.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/monotonic_clock.h"

namespace rfcd {

timer_list::timer_list() : now_(monotonic_now()) {}

void timer_list::add_timer(std::function<void()> callback, std::int32_t identifier,
                           std::int32_t delay) {
    now_ = monotonic_now();
    const std::int64_t deadline = std::int64_t{now_.tv_sec} + delay;
    const auto later = std::find_if(entries_.begin(), entries_.end(),
                                    [=](const entry& e) { return e.deadline > deadline; });
    entries_.insert(later, {std::move(callback), identifier, deadline});
}

void timer_list::run_expired() {
    now_ = monotonic_now();
    const auto present = static_cast<std::int32_t>(now_.tv_sec);
    const auto first_pending = std::find_if(entries_.begin(), entries_.end(),
                                            [=](const entry& e) { return e.deadline > present; });
    std::list<entry> expired;
    expired.splice(expired.end(), entries_, entries_.begin(), first_pending);
    for (const auto& timer : expired) timer.callback();
}

void timer_list::cancel_timers(std::int32_t identifier) {
    entries_.remove_if([=](const entry& e) { return e.identifier == identifier; });
}

}  // namespace rfcd
