// The roaming bridge: copies every message of the roaming service onto the local bus, and every bus
// message for the daemon's module into the queue to the service. It does not look inside the
// messages. Start-up makes it in roaming mode. It runs on a thread of its own and shares only the
// two queues with the websock_worker.
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
    // The queues outlive the worker. `module_number` is the daemon's own number on the bus.
    ipc_worker(service_queues queues, std::uint32_t module_number, const running_flag* running);
    ~ipc_worker() override;

    // Opens the bus. Returns false and logs nothing when that fails.
    bool start_check() override;
    // Moves at most one message; the bus comes first. True when both sides are empty. After a
    // message, polls eight more times (25.5 ms) before it reports that.
    bool process() override;
    void on_stop() override;
    // False also when the bus is gone.
    bool keep_running(const running_flag* running) override;

    const worker_status& status() const { return status_; }

    // Sends the message to the bus peer of the roaming service; an empty one is not sent.
    void send_to_bus(const buffer_info_t& message) const;

  private:
    bool move_one();

    peermsg_settings settings_{PEERMSG_SETTINGS_CODE, {}};  // in the library's use while bus_ lives
    bus_ptr bus_;                                           // null while inactive
    safe_queue& outgoing_;                                  // from the bus to the service
    safe_queue& incoming_;                                  // from the service to the bus
    const std::uint32_t module_number_;
    bridge_status status_;
    bool in_burst_ = false;  // the last pass moved a message
    const safe_queue::handler on_message_;
};

}  // namespace rfcd
