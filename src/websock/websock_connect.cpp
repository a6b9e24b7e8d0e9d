// The worker without a connection: waiting, starting an attempt, and cleaning up after one.
#include <cstdlib>

#include "base/monotonic_clock.h"
#include "main/logging.h"
#include "websock/lws_callback.h"
#include "websock/websock_worker.h"

namespace rfcd {

namespace {

constexpr int library_log_all_levels = 1023;
constexpr std::uint32_t wait_step_us = 100'000;

// How many bytes the library writes to the socket, and reads from it, in one call. Its default cuts
// messages into pieces of 4 kB. Each context allocates the buffer once.
constexpr std::size_t write_piece = 64 << 10;
constexpr unsigned service_buffer = 64 << 10;

// How long the library waits for the answer to the handshake. With its default of 5 s, a fleet
// would never get through to a service that starts under load.
constexpr unsigned handshake_seconds = 20;

// How long the library waits for a connection, for all addresses of the service together. It must
// be longer than the wait for one address; otherwise the link never reaches the second address of a
// service whose first address drops every packet.
constexpr unsigned connect_seconds = 30;

}  // namespace

bool websock_worker::start_check() {
    timers_.run_expired();
    notify_disconnected();
    if (!wait_before_attempt()) return false;

    const std::lock_guard guard(lock_);
    if (status_.unlinked) return false;
    status_.attempts = status_.attempts + 1;
    status_.note_change();
    end_reason_.clear();
    if (connect()) return true;
    note_end();
    return false;
}

// False when the daemon was told to stop during the wait.
bool websock_worker::wait_before_attempt() {
    const auto range = delay_.next_range();
    log_debug(daemon_logger, "Generate delay into [%zu;%zu) range\n",
              static_cast<std::size_t>(range.begin), static_cast<std::size_t>(range.end));
    // Start-up has seeded the generator, and only this thread draws from it.
    const auto delay = connection_delay::draw(range, rand());
    log_debug(daemon_logger, "Delay before connection: %d sec\n", static_cast<int>(delay));
    const auto seconds = [] { return static_cast<std::uint64_t>(monotonic_now().tv_sec); };
    const auto deadline = seconds() + delay;
    if (!status_.unlinked) status_.next_attempt = static_cast<std::int64_t>(deadline);
    status_.note_change();

    bool waited = true;
    do {
        pause_microseconds(wait_step_us);
        waited = wait_step();
        progress().note_pass();
    } while (waited && seconds() < deadline);
    status_.next_attempt = 0;
    status_.note_change();
    return waited;
}

// Drops one queued message, because there is no connection yet, but obeys it when it is a link
// command. False when the daemon was told to stop.
bool websock_worker::wait_step() {
    if (!running()) return false;
    in_queue_.try_pop([this](const buffer_ptr& message) {
        if (!take_from_queue(message)) in_queue_.note_dropped();
    });
    return true;
}

bool websock_worker::connect() {
    set_lws_dispatcher(
        [this](lws* connection, int reason, void* user, void* in, std::size_t length) {
            return worker_lws_callback(connection, reason, user, in, length);
        });
    fill_context_parameters();
    enter(link_state::connecting);
    reading_held_ = false;
    serve_again_ = false;
    ready_ = 0;
    watch_ = {};

    // The emitter writes at debug level only; without that level the library need not format lines.
    lws_set_log_level(daemon_logger.enabled(log_mask_debug) ? library_log_all_levels : 0,
                      log_emitter(settings_.service));
    context_ = lws_create_context(&context_parameters_);
    if (context_ == nullptr) {
        log_error(daemon_logger, "%s->Creating libwebsocket context failed\n", name().c_str());
        remove_lws_dispatcher();
        end_connection("the WebSocket library has no memory");
        return false;
    }

    fill_connect_parameters();
    log_debug(daemon_logger, "%s-> %s: Try to establish connect with server %s:%d%s\n",
              name().c_str(), "_connect", settings_.host.c_str(), static_cast<int>(settings_.port),
              settings_.path.c_str());
    {
        const long_wait lookup(wait_reason::name_lookup);
        connection_ = lws_client_connect_via_info(&connect_parameters_);
    }
    if (connection_ == nullptr) {
        end_connection("the name of the service has no address, or no socket could be made");
        destroy_context();
        return false;
    }
    looked_up_ms_ = monotonic_milliseconds();
    log_debug(daemon_logger, "%s->Connected\n", name().c_str());
    return true;
}

void websock_worker::fill_context_parameters() {
    protocols_ = {};
    protocols_[0].name = name().c_str();
    protocols_[0].callback = lws_static_callback;
    protocols_[0].user = this;
    protocols_[0].tx_packet_size = write_piece;
    context_parameters_ = {};
    context_parameters_.port = CONTEXT_PORT_NO_LISTEN;
    context_parameters_.protocols = protocols_.data();
    context_parameters_.gid = -1;
    context_parameters_.uid = -1;
    context_parameters_.pt_serv_buf_size = service_buffer;
    context_parameters_.timeout_secs = handshake_seconds;
    context_parameters_.connect_timeout_secs = connect_seconds;
}

void websock_worker::fill_connect_parameters() {
    connect_parameters_ = {};
    connect_parameters_.context = context_;
    connect_parameters_.address = settings_.host.c_str();
    connect_parameters_.port = static_cast<int>(settings_.port);
    connect_parameters_.path = settings_.path.c_str();
    connect_parameters_.host = settings_.host.c_str();
    connect_parameters_.origin = settings_.host.c_str();
    connect_parameters_.protocol = name().c_str();
    connect_parameters_.ietf_version_or_minus_one = -1;
}

// Records in the status that the present connection or attempt has ended, and why.
void websock_worker::note_end() {
    enter(link_state::idle);
    if (!running()) return;
    status_.set_last_end(
        {end_reason_.empty() ? "the connection was lost" : end_reason_, monotonic_now().tv_sec});
}

// The library still calls back while it destroys the context. A partly received message is lost
// with its connection.
void websock_worker::destroy_context() {
    if (context_ != nullptr) lws_context_destroy(context_);
    context_ = nullptr;
    connection_ = nullptr;
    rx_buffer_ = buffer_info_t::make();
    remove_lws_dispatcher();
}

void websock_worker::on_stop() {
    in_queue_.reset_on_push();
    const std::lock_guard guard(lock_);
    log_debug(daemon_logger, "%s->Stopping\n", name().c_str());
    notify_disconnected();
    note_end();
    timers_.cancel_timers(ping_watchdog_timer);
    destroy_context();
}

}  // namespace rfcd
