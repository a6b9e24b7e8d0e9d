// The worker while it has a connection: the state, serving the connection, waiting, timers.
#include "websock/websock_worker.h"

#include <poll.h>
#include <sys/ioctl.h>

#include <iterator>
#include <utility>

#include "base/monotonic_clock.h"
#include "base/services.h"
#include "ipc/json_writer.h"
#include "main/logging.h"

namespace rfcd {

namespace {

constexpr std::int32_t poll_timeout_us = 100'000;
constexpr std::uint32_t idle_pause_us = 1'000'000;
constexpr int longest_wait_ms = poll_timeout_us / 1000;
constexpr std::int64_t service_time_ms = 100;  // at most, before timers and flags have their turn
constexpr std::int32_t watchdog_seconds = 60;

buffer_ptr make_notice(const char* state) {
    auto notice = buffer_info_t::make();
    notice->data = json_writer(link_service, state, "").text();
    return notice;
}

}  // namespace

websock_worker::websock_worker(service_queues queues, link_settings settings)
    : abstract_worker(settings.running, entry_of(settings.service).link_name, poll_timeout_us,
                      idle_pause_us),
      settings_(std::move(settings)),
      in_queue_(queues.to_service),
      out_queue_(queues.from_service),
      connected_notice_(make_notice("connected")),
      disconnected_notice_(make_notice("disconnected")),
      delay_(settings_.initial_delay, settings_.max_delay) {}

websock_worker::~websock_worker() { join(); }

bool websock_worker::process() {
    serve();
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    timers_.run_expired();
    return true;
}

bool websock_worker::keep_running(const running_flag* running) { return *running && servicing(); }

bool websock_worker::servicing() const {
    switch (status_.state) {
        case link_state::connecting:
        case link_state::handshaking:
        case link_state::connected: return true;
        default: return false;
    }
}

bool websock_worker::connected() const {
    const link_state state = status_.state;
    return state == link_state::connected || state == link_state::closing;
}

void websock_worker::enter(link_state state) {
    status_.since = monotonic_now().tv_sec;
    if (status_.state == link_state::connected) status_.lost = status_.since.load();
    status_.state = state;
    status_.note_change();
}

void websock_worker::end_connection(std::string_view reason) {
    if (end_reason_.empty()) end_reason_ = reason;
    if (servicing()) enter(connected() ? link_state::closing : link_state::failed);
}

void websock_worker::serve() {
    const auto deadline_ms = monotonic_milliseconds() + service_time_ms;
    do {
        serve_once();
    } while (serve_again_ && servicing() && active_ && running() &&
             monotonic_milliseconds() < deadline_ms);
}

// By default lws_service blocks until the library's own next timer. So this calls it with a timeout
// that never waits, and wait_for_wake does the waiting.
void websock_worker::serve_once() {
    const short ready = std::exchange(ready_, short{0});
    const bool flushes = (ready & POLLOUT) != 0 && has_unsent_rest();
    const auto events_before = events_;

    // After a message, or a piece of one, there is usually more to read. After anything else, the
    // library may have an answer to write, such as a pong, which must not wait.
    serve_again_ = (ready & POLLIN) != 0;
    hold_back_reading();
    lws_service(context_, -1);

    if (ready != 0) watch_.serviced(events_ != events_before || flushes, unread_bytes());
}

void websock_worker::wait_for_wake() {
    if (serve_again_ || !servicing() || !active_) return;

    const int timeout_ms = lws_service_adjust_timeout(context_, longest_wait_ms, 0);
    const bool watched = watch_.next_wait_watches() && connection_ != nullptr;
    pollfd waits[] = {{wake_fd(), POLLIN, 0},
                      {watched ? lws_get_socket_fd(connection_) : -1, wanted_events(), 0}};
    if (poll(waits, std::size(waits), timeout_ms) > 0 && (waits[0].revents & POLLIN) != 0) {
        reset_wake();
        woken_ = false;
    }
    ready_ = waits[1].revents;
}

// True while the library still has to write the rest of a message.
bool websock_worker::has_unsent_rest() const {
    return connection_ != nullptr && lws_partial_buffered(connection_) != 0;
}

// Asks for writability only when there is something to write: an idle socket is always writable, so
// the loop would spin.
short websock_worker::wanted_events() const {
    if (connection_ == nullptr) return 0;

    const bool has_to_send = connected() && !in_queue_.empty();
    const bool writes = status_.state == link_state::connecting || has_to_send || has_unsent_rest();
    return static_cast<short>((reading_held_ ? 0 : POLLIN) | (writes ? POLLOUT : 0));
}

// How many bytes the socket holds for the library to read.
int websock_worker::unread_bytes() const {
    int count = 0;
    if (connection_ != nullptr) ioctl(lws_get_socket_fd(connection_), FIONREAD, &count);
    return count;
}

// Runs on the thread that pushes a message onto the queue to the service.
void websock_worker::wake_up() {
    // One wake-up serves all pushes until the worker has seen it.
    if (woken_.exchange(true)) return;
    const std::lock_guard guard(lock_);
    if (context_ == nullptr || !connected()) return;
    wake();
    lws_cancel_service(context_);
}

// Stops reading when the messages of the service pile up in the queue, so that the service must
// wait. Reads again when the queue has shrunk to half of that.
void websock_worker::hold_back_reading() {
    const bool hold = out_queue_.weight() > (reading_held_ ? heavy_queue / 2 : heavy_queue);
    if (hold == reading_held_ || !connected() || connection_ == nullptr) return;
    reading_held_ = hold;
    lws_rx_flow_control(connection_, hold ? 0 : 1);
}

void websock_worker::ping_timeout() {
    log_debug(daemon_logger, "%s->%s:%d\n", name().c_str(), "ping_timeout", 281);
    end_reason_ = "nothing could be sent for 60 seconds";
    active_ = false;
}

void websock_worker::rearm_watchdog() {
    timers_.cancel_timers(ping_watchdog_timer);
    timers_.add_timer([this] { ping_timeout(); }, ping_watchdog_timer, watchdog_seconds);
}

}  // namespace rfcd
