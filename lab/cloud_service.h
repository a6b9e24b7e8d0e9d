// The cloud of the lab: a WebSocket service on the loopback network that daemons connect to. It
// serves on a thread of its own; every operation is safe from any other thread. It keeps its port
// when it goes down and comes up again. Whole messages go to the inbox.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "harness/inbox.h"
#include "lab/transcript.h"

struct lws;
struct lws_context;

namespace lab {

class cloud_service {
  public:
    enum class frame { text, binary };

    struct request {
        std::string path;
        std::string host;
        std::string subprotocol;
    };

    // Serves at once, on a free port when `port` is 0. The transcript shows it as `name`.
    explicit cloud_service(transcript& story, std::string name = "cloud", std::uint16_t port = 0);
    cloud_service(const cloud_service&) = delete;
    cloud_service& operator=(const cloud_service&) = delete;
    ~cloud_service();

    std::uint16_t port() const { return port_; }

    // Sends to every connection.
    void send(std::string text, frame kind = frame::text);
    // Sends the same text many times, without a line in the transcript.
    void send_many(const std::string& text, int count);
    // Closes every connection: with a close frame, or with a TCP reset.
    void close_all();
    void reset_all();
    // Stops and resumes reading from the connections.
    void pause_reading();
    void resume_reading();
    void go_down();
    void come_up();

    inbox<std::string>& received() { return received_; }
    // The next message; throws std::runtime_error when none comes in time.
    std::string expect(milliseconds timeout = patience);
    // The connections that are open now, and all since the beginning.
    unsigned connected() const { return connected_; }
    unsigned connections_so_far() const { return connections_; }
    bool wait_connections(unsigned so_far, milliseconds timeout = patience) const;
    bool wait_disconnected(milliseconds timeout = patience) const;
    request last_request() const;
    // Whether messages get a line in the transcript.
    void narrate(bool on) { narrate_ = on; }

    // Called by the library's callback, on the service's thread.
    int on_event(lws* connection, int reason, void* in, std::size_t length);

  private:
    struct connection {
        std::vector<std::pair<std::string, frame>> outgoing;
        std::size_t next = 0;
        std::string incoming;
        bool close = false;
    };

    void serve();
    void post(std::function<void()> task);
    void run_tasks();
    void for_each_connection(const std::function<void(lws*, connection&)>& action);
    void on_connected(lws* wsi);
    void on_received(lws* wsi, const void* in, std::size_t length);
    int on_writeable(lws* wsi);

    transcript& story_;
    const std::string name_;
    std::uint16_t port_;
    lws_context* context_ = nullptr;
    std::map<lws*, connection> open_;  // the service's thread only
    std::atomic<unsigned> connected_ = 0;
    std::atomic<unsigned> connections_ = 0;
    std::atomic<bool> narrate_ = true;
    std::atomic<bool> stopping_ = false;
    mutable std::mutex lock_;
    std::vector<std::function<void()>> tasks_;  // guarded by lock_
    request last_request_;                      // guarded by lock_
    inbox<std::string> received_;
    std::thread thread_;
};

}  // namespace lab
