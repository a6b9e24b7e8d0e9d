// The roaming bridge: copies every message of the roaming service onto the local bus, and every bus
// message addressed to the daemon's module onto the service's connection, without looking inside.
// Made by start-up in roaming mode; runs on a thread of its own and shares only the two queues with
// the websock_worker.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/worker_status.h"
#include "ipc/bus.h"
#include "platform/peermsg.h"
#include "workers/abstract_worker.h"
#include "workers/safe_queue.h"

namespace rfcd {

// Whether the bridge is on the bus.
class bridge_status : public worker_status {
  public:
    void note_bus(bool open) {
        open_ = open;
        note_change();
    }
    void append_to(status_lines& lines) const override {
        lines.add("bus", open_ ? "open" : "closed");
    }
    const char* summary() const override { return open_ ? "" : ", without a local bus"; }

  private:
    std::atomic<bool> open_ = false;
};

class ipc_worker : public abstract_worker {
  public:
    // The queues outlive the worker. `module_number` is the daemon's own on the bus.
    ipc_worker(service_queues queues, std::uint32_t module_number, const running_flag* running);
    ~ipc_worker() override;

    // Opens the bus. False when it cannot be had; nothing is logged.
    bool start_check() override;
    // Moves at most one message; the bus comes first. True when both sides are empty. After a
    // message it looks eight more times, over 25.5 ms, before it says so.
    bool process() override;
    void on_stop() override;
    // False also when the bus is gone.
    bool keep_running(const running_flag* running) override;

    const worker_status& status() const { return status_; }

    // Sends the message to the bus peer of the roaming service; an empty one is not sent.
    void send_to_bus(const buffer_info_t& message) const;

  private:
    bool move_one();

    peermsg_settings settings_{PEERMSG_SETTINGS_CODE, {}};  // the library's while bus_ lives
    bus_ptr bus_;                                           // null while inactive
    safe_queue& outgoing_;                                  // what came from the bus
    safe_queue& incoming_;                                  // what goes to it
    const std::uint32_t module_number_;
    bridge_status status_;
    bool in_burst_ = false;  // the last pass moved a message
    const safe_queue::handler on_message_;
};

}  // namespace rfcd
