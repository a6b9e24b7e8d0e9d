#include "radioctl/rrm_scan.h"

#include <linux/nl80211.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace radioctl {

namespace {

constexpr std::int64_t ns_per_ms = 1'000'000;

// A pass takes a radio off its own channel for a ninth of a second. The daemon reads the results
// 8 s after the start.
constexpr int passes = 5;
constexpr std::int64_t from_pass_to_pass = 1000 * ns_per_ms;
constexpr std::int64_t pass_limit = 2000 * ns_per_ms;
constexpr std::int64_t busy_pause = 100 * ns_per_ms;
constexpr std::int64_t scan_limit = 7000 * ns_per_ms;

// The thread takes no signals: the stop handler belongs to the program's own threads.
std::thread start_without_signals(const std::function<void()>& body) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(body);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

bool is_refusal(int result) { return result != 0 && result != -EBUSY; }

}  // namespace

std::unique_ptr<rrm_scan> rrm_scan::start(const target& of, int& error) {
    auto kernel = nl80211::connection::open();
    auto events = nl80211::events::open({NL80211_MULTICAST_GROUP_SCAN});
    error = -EIO;
    if (!kernel || !events) return nullptr;
    const int stop = eventfd(0, EFD_CLOEXEC);
    if (stop < 0) return nullptr;

    std::unique_ptr<rrm_scan> scan(new rrm_scan(of, std::move(kernel), std::move(events), stop));
    error = scan->trigger();
    if (is_refusal(error)) return nullptr;
    const int first_trigger = error;
    scan->thread_ =
        start_without_signals([s = scan.get(), first_trigger] { s->run(first_trigger); });
    return scan;
}

rrm_scan::rrm_scan(const target& of, std::unique_ptr<nl80211::connection> kernel,
                   std::unique_ptr<nl80211::events> events, int stop_descriptor)
    : of_(of),
      kernel_(std::move(kernel)),
      events_(std::move(events)),
      stop_descriptor_(stop_descriptor),
      limit_(nl80211::boot_time_now() + scan_limit) {
    results_.running = true;
    results_.band = of.channel.in;
}

rrm_scan::~rrm_scan() {
    eventfd_write(stop_descriptor_, 1);
    if (thread_.joinable()) thread_.join();
    close(stop_descriptor_);
}

rrm_results rrm_scan::results() const {
    const std::lock_guard lock(mutex_);
    return results_;
}

int rrm_scan::trigger() {
    // An end that somebody else's scan left behind must not end this pass.
    events_->read([](const nl80211::event& /*earlier*/) {});
    pass_start_ = nl80211::boot_time_now();
    const std::uint32_t frequencies[] = {static_cast<std::uint32_t>(frequency_of(of_.channel))};
    return trigger_scan(*kernel_, of_.interface_index, nl80211::scan_kind::passive, frequencies);
}

void rrm_scan::run(int first_trigger) {
    int triggered = first_trigger;
    int made = 0;
    while (!is_refusal(triggered)) {
        const auto end = triggered == 0 ? wait_for_end_of_pass() : pass_end::missed;
        if (end == pass_end::stopped) break;
        if (end == pass_end::done) take_samples();
        if (end == pass_end::done && ++made == passes) break;

        const auto next = triggered == 0 ? pass_start_ + from_pass_to_pass
                                         : nl80211::boot_time_now() + busy_pause;
        if (next >= limit_ || !pause(next)) break;
        triggered = trigger();
    }

    const std::lock_guard lock(mutex_);
    results_.running = false;
}

rrm_scan::pass_end rrm_scan::wait_for_end_of_pass() {
    const auto until = std::min(pass_start_ + pass_limit, limit_);
    auto end = pass_end::missed;
    bool ended = false;
    while (!ended && nl80211::boot_time_now() < until) {
        if (!wait_for_event(until)) {
            abort_scan(*kernel_, of_.interface_index);
            return pass_end::stopped;
        }

        events_->read([&](const nl80211::event& e) {
            if (e.wiphy != of_.wiphy) return;
            if (e.command == NL80211_CMD_NEW_SCAN_RESULTS) end = pass_end::done;
            ended = ended || end == pass_end::done || e.command == NL80211_CMD_SCAN_ABORTED;
        });
    }
    return end;
}

void rrm_scan::take_samples() {
    std::vector<nl80211::bss> list;
    if (read_bss_list(*kernel_, of_.interface_index, list) != 0) return;
    const auto heard =
        neighbours_in(list, {.since = pass_start_,
                             .frequencies = {static_cast<std::uint32_t>(frequency_of(of_.channel))},
                             .own = of_.own});

    const std::lock_guard lock(mutex_);
    add_pass(results_.heard, heard);
}

bool rrm_scan::wait_for_event(std::int64_t until) {
    const auto left = std::max<std::int64_t>(until - nl80211::boot_time_now(), 0);
    pollfd both[] = {{.fd = stop_descriptor_, .events = POLLIN, .revents = 0},
                     {.fd = events_->descriptor(), .events = POLLIN, .revents = 0}};
    poll(both, 2, static_cast<int>(left / ns_per_ms + 1));
    return both[0].revents == 0;
}

bool rrm_scan::pause(std::int64_t until) {
    const auto left = std::max<std::int64_t>(until - nl80211::boot_time_now(), 0);
    pollfd stop{.fd = stop_descriptor_, .events = POLLIN, .revents = 0};
    poll(&stop, 1, static_cast<int>(left / ns_per_ms + 1));
    return stop.revents == 0;
}

}  // namespace radioctl
