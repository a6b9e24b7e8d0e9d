// The worker's life between connection attempts: waiting for the socket, serving it, timers.
#include "websock/websock_worker.h"

#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <utility>

#include "ipc/json_writer.h"
#include "main/logging.h"
#include "workers/monotonic_clock.h"

namespace rfcd {

namespace {

constexpr const char* worker_names[] = {"websock-roaming", "websock-rrm", "websock-wids"};
constexpr std::int32_t poll_timeout_us = 100'000;
constexpr std::uint32_t idle_pause_us = 1'000'000;
constexpr std::int64_t service_time_ms = 100;
constexpr std::int32_t watchdog_seconds = 60;

buffer_ptr make_notice(const char* state) {
    auto notice = buffer_info_t::make();
    notice->data = json_writer(link_service, state, "").text();
    return notice;
}

}  // namespace

websock_worker::websock_worker(safe_queue& in_queue, safe_queue& out_queue, std::string host,
                               std::string path, std::uint32_t port, const running_flag* running,
                               std::uint64_t initial_delay, std::uint64_t max_delay,
                               std::uint32_t index)
    : abstract_worker(running, worker_names[index], poll_timeout_us, idle_pause_us),
      index_(index),
      in_queue_(in_queue),
      out_queue_(out_queue),
      connected_notice_(make_notice("connected")),
      disconnected_notice_(make_notice("disconnected")),
      host_(std::move(host)),
      path_(std::move(path)),
      port_(port),
      delay_(initial_delay, max_delay) {}

websock_worker::~websock_worker() { join(); }

bool websock_worker::process() {
    serve_until(monotonic_milliseconds() + service_time_ms);
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    timers_.run_expired();
    // The loop's own wait between passes does not look at the socket, so it must not wait.
    wake();
    return true;
}

bool websock_worker::keep_running(const running_flag* running) { return *running && servicing_; }

// lws_service would block until the library's own next timer, so it is only ever called not to
// wait, and the waiting is done here. The library does not always take what the socket offers (an
// end of the stream while something is left to send, say): when two calls for a ready socket
// neither handled an event, nor read or wrote a byte, it is left alone for the rest of the pass.
void websock_worker::serve_until(std::int64_t deadline_ms) {
    // The loop takes the wake-ups that come between passes.
    woken_ = false;
    constexpr int not_known = -1;
    int unread = not_known;
    bool watch_socket = true;
    auto left = service_time_ms;
    do {
        // After a message, or a piece of one, there is mostly more to read. After anything else
        // that came, the library may have an answer to write (a pong, say), which is not to wait.
        const bool serves_again = std::exchange(serve_again_, false);
        const short ready =
            serves_again
                ? short{0}
                : wait_for_activity(lws_service_adjust_timeout(context_, static_cast<int>(left), 0),
                                    watch_socket);
        const bool flushes = (ready & POLLOUT) != 0 && has_unsent_rest();
        hold_back_reading();
        const auto events_before = events_;
        lws_service(context_, -1);
        if ((ready & POLLIN) != 0) serve_again_ = true;
        if (events_ != events_before || flushes) {
            unread = not_known;
        } else if (ready != 0) {
            const int unread_now = unread_bytes();
            watch_socket = unread_now != unread;
            unread = unread_now;
        }
        left = deadline_ms - monotonic_milliseconds();
    } while (left > 0 && servicing_ && active_ && running());
}

// What the socket is ready for.
short websock_worker::wait_for_activity(int timeout_ms, bool watch_socket) {
    const bool watched = watch_socket && connection_ != nullptr;
    pollfd waits[] = {{wake_fd(), POLLIN, 0},
                      {watched ? lws_get_socket_fd(connection_) : -1, wanted_events(), 0}};
    if (poll(waits, std::size(waits), timeout_ms) > 0 && (waits[0].revents & POLLIN) != 0) {
        reset_wake();
        woken_ = false;
    }
    return waits[1].revents;
}

// The library holds back part of a message that it was given to write.
bool websock_worker::has_unsent_rest() const {
    return connection_ != nullptr && lws_partial_buffered(connection_) != 0;
}

// The socket of a connection with nothing to send is always writable: asking for that would spin.
short websock_worker::wanted_events() const {
    if (connection_ == nullptr) return 0;
    const bool connecting = !connected_ && !handshake_sent_;
    const bool has_to_send = connected_ && !in_queue_.empty();
    const bool writes = connecting || has_to_send || has_unsent_rest();
    return static_cast<short>((reading_held_ ? 0 : POLLIN) | (writes ? POLLOUT : 0));
}

// What the socket holds for the library to read.
int websock_worker::unread_bytes() const {
    int count = 0;
    if (connection_ != nullptr) ioctl(lws_get_socket_fd(connection_), FIONREAD, &count);
    return count;
}

// Runs on the thread that pushes a message to send.
void websock_worker::wake_up() {
    // One wake-up serves all pushes until the worker has seen it.
    if (woken_.exchange(true)) return;
    const std::lock_guard guard(lock_);
    if (context_ == nullptr || !connected_) return;
    wake();
    lws_cancel_service(context_);
}

// Lets the service wait when the messages that it sent pile up, and go on when they are gone.
void websock_worker::hold_back_reading() {
    const bool hold = out_queue_.weight() > (reading_held_ ? heavy_queue / 2 : heavy_queue);
    if (hold == reading_held_ || !connected_ || connection_ == nullptr) return;
    reading_held_ = hold;
    lws_rx_flow_control(connection_, hold ? 0 : 1);
}

void websock_worker::ping_timeout() {
    log_debug(daemon_logger, "%s->%s:%d\n", name().c_str(), "ping_timeout", 281);
    active_ = false;
}

void websock_worker::rearm_watchdog() {
    timers_.cancel_timers(ping_watchdog_timer);
    timers_.add_timer([this] { ping_timeout(); }, ping_watchdog_timer, watchdog_seconds);
}

}  // namespace rfcd
