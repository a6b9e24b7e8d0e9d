// How the worker reacts to each libwebsockets event. The library calls all of this on the worker's
// thread, with the lock of the callback slot held.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "base/monotonic_clock.h"
#include "main/logging.h"
#include "websock/lws_callback.h"
#include "websock/websock_worker.h"

namespace rfcd {

namespace {

constexpr std::int32_t max_missed_pongs = 2;
constexpr std::time_t ping_period_seconds = 30;
constexpr std::int64_t longest_drain_ms = 100;

// Longer than the kernel takes to find out that an address refuses or has no route, and shorter
// than the library waits for an address.
constexpr std::int64_t unanswered_ms = 15'000;

// Makes a text of the library or of the service one short line that is safe to show.
std::string printable(const void* text, std::size_t length) {
    constexpr std::size_t longest = 80;
    std::string shown(static_cast<const char*>(text), std::min(length, longest));
    for (char& c : shown) {
        if (c < ' ' || c > '~') c = '?';
    }
    return shown;
}

// Why an attempt failed. Replaces those messages of the library that only its developers
// understand.
std::string attempt_reason(const void* words, std::size_t length) {
    static constexpr struct {
        std::string_view words;
        const char* meaning;
    } known[] = {
        {"Unable to connect", "connection refused, or the address cannot be reached"},
        {"read failed", "the connection ended before the handshake was answered"},
        {"HS: ws upgrade response not 101", "the service refused the handshake"},
    };

    if (words == nullptr) return "the attempt failed";
    const std::string_view said(static_cast<const char*>(words), length);
    for (const auto& row : known) {
        if (said.starts_with(row.words)) return row.meaning;
    }
    return printable(words, length);
}

// Describes a close frame of the service: a status code (RFC 6455, 7.4) and perhaps a text.
std::string close_reason(const void* payload, std::size_t length) {
    std::string reason = "the service closed the connection";
    if (length < 2) return reason;

    const auto* bytes = static_cast<const unsigned char*>(payload);
    reason += " with code " + std::to_string(bytes[0] * 256 + bytes[1]);
    if (length > 2) reason += ", " + printable(bytes + 2, length - 2);
    return reason;
}

}  // namespace

int websock_worker::worker_lws_callback(lws* connection, int reason, void* /*user*/, void* in,
                                        std::size_t length) {
    ++events_;
    try {
        handle_event(connection, reason, in, length);
    } catch (...) {
        failure_ = std::current_exception();
        end_connection("an exception in the daemon");
    }
    return 0;
}

// In all files of the worker, the line numbers in log lines are part of a fixed text; they do not
// refer to these files.
void websock_worker::handle_event(lws* connection, int reason, const void* in, std::size_t length) {
    if (status_.missed_pongs > max_missed_pongs) {
        log_debug(daemon_logger, "%s->There are no %d pong answer in a row from server\n",
                  name().c_str(), status_.missed_pongs.load());
        status_.missed_pongs = 0;
        end_connection("three pings were not answered");
    }

    switch (reason) {
        case LWS_CALLBACK_CLIENT_CONNECTION_ERROR: process_connection_error(in, length); break;
        case LWS_CALLBACK_CLIENT_ESTABLISHED: process_client_established(connection); break;
        case LWS_CALLBACK_CLOSED:
        case LWS_CALLBACK_CLOSED_HTTP:
        case LWS_CALLBACK_CLOSED_CLIENT_HTTP:
        case LWS_CALLBACK_CLIENT_CLOSED: process_closed(); break;
        case LWS_CALLBACK_CLIENT_RECEIVE: process_client_receive(connection, in, length); break;
        case LWS_CALLBACK_CLIENT_RECEIVE_PONG: status_.missed_pongs = 0; break;
        case LWS_CALLBACK_CLIENT_WRITEABLE: process_writeable(connection); break;
        case LWS_CALLBACK_PROTOCOL_DESTROY:
            log_debug(daemon_logger, "%s->%s:%d\n", name().c_str(), "process_protocol_destroy", 80);
            break;
        case LWS_CALLBACK_GET_THREAD_ID:
        case LWS_CALLBACK_ADD_POLL_FD:
        case LWS_CALLBACK_DEL_POLL_FD:
        case LWS_CALLBACK_CHANGE_MODE_POLL_FD:
        case LWS_CALLBACK_LOCK_POLL:
        case LWS_CALLBACK_UNLOCK_POLL: break;
        case LWS_CALLBACK_CLIENT_APPEND_HANDSHAKE_HEADER:
            if (status_.state == link_state::connecting) enter(link_state::handshaking);
            log_reason(reason);
            break;
        case LWS_CALLBACK_CLIENT_HTTP_REDIRECT:
            // The library follows the redirect: it connects again and sends another handshake.
            if (status_.state == link_state::handshaking) enter(link_state::connecting);
            log_reason(reason);
            break;
        case LWS_CALLBACK_WS_PEER_INITIATED_CLOSE:
            if (end_reason_.empty()) end_reason_ = close_reason(in, length);
            log_reason(reason);
            break;
        case LWS_CALLBACK_WSI_DESTROY:
            if (connection == connection_) connection_ = nullptr;
            log_reason(reason);
            break;
        default: log_reason(reason);
    }
}

void websock_worker::log_reason(int reason) const {
    log_debug(daemon_logger, "%s->%s:%d reason = %s (%d)\n", name().c_str(), "worker_lws_callback",
              457, lws_reason_name(reason), reason);
}

void websock_worker::process_connection_error(const void* in, std::size_t length) {
    log_debug(daemon_logger, "%s->%s:%d\n", name().c_str(), "process_client_connection_error", 90);

    // The library has taken the system's error number off the socket. Only the time tells apart an
    // address that refuses and one that drops every packet. Without a connection the name lookup
    // has failed.
    const bool unanswered = status_.state == link_state::connecting && connection_ != nullptr &&
                            monotonic_milliseconds() - looked_up_ms_ >= unanswered_ms;
    end_connection(unanswered ? "the address of the service does not answer"
                              : attempt_reason(in, length));
}

void websock_worker::process_client_established(lws* connection) {
    log_debug(daemon_logger, "%s->%s:%d\n", name().c_str(), "process_client_established", 107);
    enter(servicing() ? link_state::connected : link_state::closing);
    status_.attempts = 0;
    woken_ = false;
    in_queue_.set_on_push([this] { wake_up(); });
    delay_.reset();
    log_debug(daemon_logger, "Connection established - reset connection delay\n");
    notify_connected();
    last_ping_ = monotonic_now();
    lws_callback_on_writable(connection);
    rearm_watchdog();
}

void websock_worker::process_closed() {
    log_debug(daemon_logger, "%s->%s:%d\n", name().c_str(), "process_closed", 122);
    end_connection("the service closed the connection");
}

void websock_worker::process_client_receive(lws* connection, const void* in, std::size_t length) {
    log_debug(daemon_logger, "%s->%s:%d\n", name().c_str(), "process_client_receive", 129);
    serve_again_ = true;
    if (!rx_buffer_) return;

    const std::size_t remaining = lws_remaining_packet_payload(connection);
    if (is_too_long(length, remaining)) {
        log_error(daemon_logger, "%s->%s: Message too long, drop the connection\n", name().c_str(),
                  "process_client_receive");
        rx_buffer_ = nullptr;
        end_connection("a message was too long");
        return;
    }
    if (remaining != 0 || lws_is_final_fragment(connection) == 0) {
        log_debug(daemon_logger,
                  "%s->%s: Get incomplete packet, beginning len %zd, remaining len %zd\n",
                  name().c_str(), "process_client_receive", static_cast<ssize_t>(length),
                  static_cast<ssize_t>(remaining));
        rx_buffer_->append(in, length);
        return;
    }
    if (in == nullptr) {
        log_debug(daemon_logger, "%s: Bad Input data\n", "process_client_receive");
        return;
    }

    rx_buffer_->append(in, length);
    log_debug(daemon_logger, "%s->%s: Recieve final msg len %zu from websocket\n", name().c_str(),
              "process_client_receive", rx_buffer_->data.size());
    log_debug(daemon_logger, "%s->Send to Queue\n", name().c_str());
    dump_buffer(*rx_buffer_);
    status_.received_messages.add(1);
    status_.received_bytes.add(rx_buffer_->data.size());
    out_queue_.push(rx_buffer_);
    rx_buffer_ = buffer_info_t::make();
}

// True when this piece and the rest of its frame would make the message exceed the limit.
bool websock_worker::is_too_long(std::size_t length, std::size_t remaining) const {
    return remaining > max_message_size || length > max_message_size - remaining ||
           rx_buffer_->data.size() > max_message_size - remaining - length;
}

// Takes a message from the queue only when the socket accepts it: a second message while the
// library still holds part of the first would corrupt the stream. Stops after a while even if the
// queue is not empty yet, so that pings, incoming messages and a stop have their turn.
void websock_worker::process_writeable(lws* connection) {
    ping_when_due(connection);

    bool sent = true;
    const auto send = [&](const buffer_ptr& message) {
        if (take_from_queue(message)) return;
        sent =
            lws_send(connection, message->data.data(), message->data.size(), LWS_WRITE_TEXT) >= 0;
    };

    const auto deadline = monotonic_milliseconds() + longest_drain_ms;
    while (sent && running() && lws_send_pipe_choked(connection) == 0 && in_queue_.try_pop(send)) {
        if (monotonic_milliseconds() > deadline) break;
    }
    lws_callback_on_writable(connection);
}

void websock_worker::ping_when_due(lws* connection) {
    const auto now = monotonic_now();
    if (!connected() || now.tv_sec - last_ping_.tv_sec < ping_period_seconds) return;
    if (lws_send_pipe_choked(connection) != 0) return;
    last_ping_ = now;
    // While reading is held back, pongs stay unread, so this ping does not count as unanswered.
    const bool written = lws_send(connection, nullptr, 0, LWS_WRITE_PING) > 0;
    if (written && !reading_held_) status_.missed_pongs = status_.missed_pongs + 1;
    lws_callback_on_writable(connection);
    rearm_watchdog();
}

int websock_worker::lws_send(lws* connection, const void* data, std::size_t length,
                             lws_write_protocol type) {
    // The library puts the frame header into the space before the payload and masks it in place.
    const std::unique_ptr<unsigned char, void (*)(void*)> frame(
        static_cast<unsigned char*>(std::calloc(1, LWS_PRE + length)), &std::free);
    if (!frame) return -1;

    unsigned char* const payload = frame.get() + LWS_PRE;
    if (data != nullptr) std::memcpy(payload, data, length);

    const int written = lws_write(connection, payload, length, type);
    if (written < 0) {
        log_error(daemon_logger, "%s->%s:Can't send msg type [%d] to websocket\n", name().c_str(),
                  "lws_send", type);
    } else if (type != LWS_WRITE_PING) {
        status_.sent_messages.add(1);
        status_.sent_bytes.add(length);
        log_info(daemon_logger, "%s->%s:Send msg type [%d] len [%d/%d]  to websocket\n",
                 name().c_str(), "lws_send", type, written, static_cast<int>(length));
    }
    return written;
}

}  // namespace rfcd
