// The client of the WIDS (wireless intrusion detection) MAC-list service: accepts or rejects each
// list that the service sends, by its name, and hands an accepted message whole to the network
// daemon. It keeps nothing between messages.
//
// Start-up makes it in WIDS mode; its loop runs on the main thread. It shares only the two queues
// with the websock_worker.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "base/worker_status.h"
#include "ipc/ipc_helper.h"
#include "workers/abstract_worker.h"
#include "workers/safe_queue.h"

namespace rfcd {

// What happened to the last list.
class wids_status : public worker_status {
  public:
    void note_list(bool accepted);
    void append_to(status_lines& lines) const override;

  private:
    std::atomic<bool> accepted_ = false;
    std::atomic<std::int64_t> time_ = 0;  // seconds of the monotonic clock; 0: no list so far
};

class wids_worker : public abstract_worker {
  public:
    // The queues and `ipc` outlive the worker. `list_name` is the list of this access point.
    wids_worker(service_queues queues, const ipc_helper& ipc, std::string list_name,
                const running_flag* running);
    ~wids_worker() override;

    bool start_check() override { return true; }
    // Takes at most one message. Always true.
    bool process() override;
    void on_stop() override {}
    bool keep_running(const running_flag* running) override { return *running; }

    const worker_status& status() const { return status_; }

    // Acts on one message. Blocks until the network daemon has answered.
    void handle_message(const buffer_info_t& message);

  private:
    void reply(const char* cmd, const char* list);

    safe_queue& out_queue_;
    safe_queue& in_queue_;
    const ipc_helper& ipc_;
    const std::string list_name_;
    wids_status status_;
    const safe_queue::handler on_message_;
};

}  // namespace rfcd
