#include "status/status_reporter.h"

#include <unistd.h>

#include <thread>

#include "base/monotonic_clock.h"

namespace rfcd {

namespace {

constexpr std::int64_t busy_ms = 2'000;   // a loop without a pass for longer is shown as busy
constexpr std::int64_t count_ms = 1'000;  // the shortest time between two reports of counts alone

const char* name_of(const link_status& link) {
    if (link.unlinked) return "unlinked";
    switch (link.state) {
        case link_state::idle: return "waiting";
        case link_state::connecting:
        case link_state::handshaking: return "connecting";
        case link_state::connected: return "connected";
        case link_state::closing:
        case link_state::failed: break;
    }
    return "closing";
}

const char* name_of(wait_reason reason) {
    switch (reason) {
        case wait_reason::request: return "request to a local daemon";
        case wait_reason::command: return "command";
        case wait_reason::name_lookup: return "name lookup";
        case wait_reason::none: break;
    }
    return "unknown";
}

void add_queue(status_lines& lines, const std::string& name, const safe_queue& queue) {
    const auto held = queue.held();
    lines.add_number((name + "-messages").c_str(), static_cast<std::int64_t>(held.count));
    lines.add_number((name + "-bytes").c_str(), static_cast<std::int64_t>(held.weight));
    lines.add_number((name + "-dropped").c_str(), static_cast<std::int64_t>(queue.dropped()));
}

void add_count(status_lines& lines, const char* key, const shared_count& count) {
    lines.add_number(key, static_cast<std::int64_t>(count.value()));
}

}  // namespace

status_reporter::status_reporter(service_index service, std::string url, service_queues queues,
                                 const service_manager& manager)
    : service_(service),
      url_(std::move(url)),
      queues_(queues),
      manager_(manager),
      file_(entry_of(service).name),
      started_(monotonic_now().tv_sec) {}

void status_reporter::watch(const sources& workers) {
    from_.emplace(workers);
    look();
    workers.link_loop.set_observer([this] { look(); });
    workers.service_loop.set_observer([this] { look(); });
}

void status_reporter::stop() {
    while (in_use_.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
    from_.reset();
    in_use_.clear(std::memory_order_release);
}

void status_reporter::look() noexcept {
    if (in_use_.test_and_set(std::memory_order_acquire)) return;
    try {
        if (from_) do_what_is_due();
    } catch (...) {
        // Out of memory: this call shows nothing, the next one tries again.
    }
    in_use_.clear(std::memory_order_release);
}

void status_reporter::do_what_is_due() {
    const auto now_ms = monotonic_milliseconds();
    const auto state = look_at_loops(now_ms);

    const auto version = state_version(state);
    const bool state_changed = version != last_version_;
    if (state_changed || now_ms - last_counted_ms_ >= count_ms) {
        auto counted = counts();
        last_counted_ms_ = now_ms;
        if (state_changed || counted != last_counts_) {
            last_version_ = version;
            last_counts_ = std::move(counted);
            // Without a file, try again when counts are due.
            if (!report(now_ms, state)) last_counts_.clear();
        }
    }

    const auto period_ms = manager_.watchdog_period().count();
    if (period_ms > 0 && !state.stuck && now_ms - last_alive_ms_ >= period_ms / 4) {
        last_alive_ms_ = now_ms;
        manager_.alive();
    }
}

status_reporter::loops status_reporter::look_at_loops(std::int64_t now_ms) const {
    const auto takes_longer = [&](const loop_progress& loop, std::int64_t limit) {
        return loop.started() && now_ms - loop.look().last_ms > limit;
    };
    const auto is_stuck = [&](const loop_progress& loop) {
        return takes_longer(loop, loop_progress::limit_ms(loop.look().reason));
    };
    const auto waits = [](const loop_progress& loop) {
        return loop.look().reason != wait_reason::none;
    };
    // A loop that waits cannot tell of the other later. So both count as busy at once.
    const bool both_wait = waits(from_->link_loop) && waits(from_->service_loop);
    return {.link_busy = both_wait || takes_longer(from_->link_loop, busy_ms),
            .service_busy = both_wait || takes_longer(from_->service_loop, busy_ms),
            .stuck = is_stuck(from_->link_loop) || is_stuck(from_->service_loop)};
}

bool status_reporter::report(std::int64_t now_ms, const loops& state) {
    const bool written = file_.replace(text(now_ms, state));

    auto now_summary = summary();
    if (now_summary != last_summary_) {
        manager_.status(now_summary);
        last_summary_ = std::move(now_summary);
    }
    return written;
}

std::uint64_t status_reporter::state_version(const loops& state) const {
    constexpr unsigned loop_bits = 2;
    const std::uint64_t versions = std::uint64_t{from_->link.version} + from_->worker.version() + 1;
    return versions << loop_bits | (state.link_busy ? 1U : 0U) | (state.service_busy ? 2U : 0U);
}

std::string status_reporter::counts() const {
    status_lines lines;
    const auto& link = from_->link;
    lines.add_number("pings-unanswered", link.missed_pongs);
    add_count(lines, "received-messages", link.received_messages);
    add_count(lines, "received-bytes", link.received_bytes);
    add_count(lines, "sent-messages", link.sent_messages);
    add_count(lines, "sent-bytes", link.sent_bytes);
    add_queue(lines, "to-service", queues_.to_service);
    add_queue(lines, "from-service", queues_.from_service);
    return lines.text();
}

std::string status_reporter::text(std::int64_t now_ms, const loops& state) const {
    const auto& link = from_->link;
    status_lines lines;
    lines.add("version", RFCD_VERSION);
    lines.add("service", entry_of(service_).name);
    lines.add("url", url_);
    lines.add_number("pid", getpid());
    lines.add_number("started", started_);
    lines.add_number("written", now_ms / 1000);

    lines.add("link", name_of(link));
    lines.add_number("link-since", link.since != 0 ? link.since.load() : started_);
    if (link.state != link_state::connected) {
        lines.add_number("disconnected-since", link.lost != 0 ? link.lost.load() : started_);
    }
    lines.add_number("attempts", link.attempts);
    lines.add_time("next-attempt", link.next_attempt);
    const auto last = link.last_end();
    lines.add("last-end", last.reason);
    lines.add_time("last-end-at", last.time);

    status_lines after;
    from_->worker.append_to(after);
    const auto link_loop = from_->link_loop.look();
    const auto service_loop = from_->service_loop.look();
    after.add_time("link-loop", link_loop.last_ms / 1000);
    after.add_time("service-loop", service_loop.last_ms / 1000);
    if (state.link_busy) after.add("link-loop-busy", name_of(link_loop.reason));
    if (state.service_busy) after.add("service-loop-busy", name_of(service_loop.reason));
    return lines.text() + last_counts_ + after.text();
}

// The state in one line, for people.
std::string status_reporter::summary() const {
    const auto& link = from_->link;
    if (link.unlinked) return "Gave the service up for good";
    if (link.state == link_state::connected) {
        return "Connected to " + url_ + from_->worker.summary();
    }

    std::string line = "Not connected to " + url_;
    if (const auto attempts = link.attempts.load(); attempts > 0) {
        line += ", " + std::to_string(attempts) + (attempts == 1 ? " attempt" : " attempts");
    }
    if (const auto last = link.last_end(); !last.reason.empty()) line += ", last: " + last.reason;
    return line;
}

}  // namespace rfcd
