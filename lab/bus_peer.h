// A module on the local bus of the lab. It receives on a thread of its own; sending is safe from
// any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "harness/inbox.h"
#include "lab/transcript.h"
#include "platform/peermsg.h"

namespace lab {

class bus_peer {
  public:
    struct message {
        std::uint8_t source;
        std::string text;
    };

    // Joins the bus as `module`; the transcript shows it as `name`. Gives each message to `handler`
    // on the peer's thread, or puts it into the inbox without one. Throws std::runtime_error when
    // it cannot join the bus.
    bus_peer(transcript& story, std::string name, std::uint8_t module,
             std::function<void(bus_peer&, const message&)> handler = nullptr);
    bus_peer(const bus_peer&) = delete;
    bus_peer& operator=(const bus_peer&) = delete;
    ~bus_peer();

    void send(std::uint8_t to, std::string_view text);
    // Sends without a line in the transcript. False when the bus did not take it.
    bool send_quietly(std::uint8_t to, std::string_view text);
    inbox<message>& received() { return received_; }
    // Whether messages that arrive get a line in the transcript.
    void narrate(bool on) { narrate_ = on; }

  private:
    using context = std::unique_ptr<peermsg_ctx, decltype(&peermsg_release)>;

    void listen();

    transcript& story_;
    const std::string name_;
    const std::function<void(bus_peer&, const message&)> handler_;
    context receiver_;  // the peer's thread only
    context sender_;    // guarded by send_lock_
    std::mutex send_lock_;
    inbox<message> received_;
    std::atomic<bool> narrate_ = true;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

// Sends one text from a connection without a module number. False when the bus did not take it.
bool send_to_bus(std::uint8_t to, std::string_view text);

}  // namespace lab
