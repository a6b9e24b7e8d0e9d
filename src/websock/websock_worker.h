// The link: the daemon's WebSocket client connection to its cloud service. It connects after a
// random delay that grows with each failure, and sends pings. It reassembles every message of the
// service and hands it to the service worker, and sends every message that the service worker
// queues. It interprets only the link commands, which are messages of service "internal-ipc".
//
// Start-up makes and destroys it. Its loop, every libwebsockets call and every callback run on one
// thread: the main thread in roaming mode, otherwise a thread of its own. Other threads reach it
// only through in_queue; a push wakes it while it is connected.
#pragma once

#include <libwebsockets.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "base/services.h"
#include "websock/connection_delay.h"
#include "websock/link_status.h"
#include "websock/socket_watch.h"
#include "workers/abstract_worker.h"
#include "workers/safe_queue.h"
#include "workers/timer_list.h"

namespace rfcd {

// The settings of a link, from start-up.
struct link_settings {
    service_index service = service_index::roaming;
    std::string host;
    std::string path;  // begins with "/"
    std::uint32_t port = 0;
    std::uint64_t initial_delay = 0;        // seconds
    std::uint64_t max_delay = 0;            // seconds
    const running_flag* running = nullptr;  // outlives the worker
};

class websock_worker : public abstract_worker {
  public:
    // The longest incoming message. The link drops a connection that sends a longer one.
    static constexpr std::size_t max_message_size = std::size_t{64} << 20;

    // The queues outlive the worker.
    websock_worker(service_queues queues, link_settings settings);
    ~websock_worker() override;

    // Waits for the delay, then makes one connection attempt. False when it made none (because the
    // daemon stops or the link was given up), or when the attempt failed at once.
    bool start_check() override;
    // Serves the connection for as long as something arrives, but 100 ms at most, and runs the
    // timers that are due. Always returns true. Throws what an event threw.
    bool process() override;
    void on_stop() override;
    bool keep_running(const running_flag* running) override;

    // Reacts to one libwebsockets event; returns 0. An exception must not pass through the
    // library's stack frames, so it is kept and thrown by the next `process`.
    int worker_lws_callback(lws* connection, int reason, void* user, void* in, std::size_t length);

    const link_status& status() const { return status_; }

  protected:
    // Waits for the connection, a message to send, or the library's next timer; at most 100 ms.
    void wait_for_wake() override;

  private:
    // True while the connection is being made or is in use.
    bool servicing() const;
    // True from the completed handshake until on_stop.
    bool connected() const;
    void enter(link_state state);
    // Makes the loop end the connection or attempt after this pass. `reason` is for people; of
    // several reasons, the first one counts.
    void end_connection(std::string_view reason);

    // The connection attempt (websock_connect.cpp).
    bool wait_before_attempt();
    bool wait_step();
    bool connect();
    void fill_context_parameters();
    void fill_connect_parameters();
    void destroy_context();
    void note_end();

    // Serving the connection (websock_worker.cpp).
    void serve();
    void serve_once();
    bool has_unsent_rest() const;
    short wanted_events() const;
    int unread_bytes() const;
    void wake_up();
    void ping_timeout();
    void rearm_watchdog();
    void hold_back_reading();

    // Events of the connection (websock_events.cpp).
    void handle_event(lws* connection, int reason, const void* in, std::size_t length);
    void log_reason(int reason) const;
    void process_connection_error(const void* in, std::size_t length);
    void process_client_established(lws* connection);
    void process_closed();
    void process_client_receive(lws* connection, const void* in, std::size_t length);
    bool is_too_long(std::size_t length, std::size_t remaining) const;
    void process_writeable(lws* connection);
    void ping_when_due(lws* connection);
    int lws_send(lws* connection, const void* data, std::size_t length, lws_write_protocol type);

    // Link messages (websock_link.cpp).
    void notify_connected();
    void notify_disconnected();
    void answer_status();
    bool process_internal(const buffer_info_t& message);
    void process_internal_unlink();
    bool take_from_queue(const buffer_ptr& message);

    static constexpr std::int32_t ping_watchdog_timer = 0;

    std::mutex lock_;  // held while connecting, stopping and waking
    timer_list timers_;
    const link_settings settings_;
    safe_queue& in_queue_;               // messages to send
    safe_queue& out_queue_;              // received messages, notices of the state
    const buffer_ptr connected_notice_;  // always this object, so that push_state recognises it
    const buffer_ptr disconnected_notice_;
    lws_context_creation_info context_parameters_{};
    lws_client_connect_info connect_parameters_{};
    lws_context* context_ = nullptr;  // written under lock_
    lws* connection_ = nullptr;       // null once the library has destroyed it
    // The message being reassembled; null after the connection has sent one that is too long.
    buffer_ptr rx_buffer_ = buffer_info_t::make();
    std::array<lws_protocols, 2> protocols_{};  // ours and the terminator
    link_status status_;
    std::string end_reason_;         // of the present connection or attempt
    std::int64_t looked_up_ms_ = 0;  // when its name lookup was over
    bool reading_held_ = false;      // because the service worker does not keep up
    std::timespec last_ping_{};
    connection_delay delay_;
    std::atomic<bool> woken_ = false;  // by a push that the worker has not noticed yet
    socket_watch watch_;
    short ready_ = 0;             // what the last wait found the socket ready for
    bool serve_again_ = false;    // there may be more to read, or an answer to write
    unsigned events_ = 0;         // handled so far, to recognise a service call that did nothing
    std::exception_ptr failure_;  // what an event threw; process() throws it again
};

}  // namespace rfcd
