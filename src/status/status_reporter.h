// Shows the state of the daemon to those who run it: in the status file and to the service manager.
// It also sends the sign of life that the manager's watchdog waits for, unless a loop is stuck
// (loop_progress tells).
//
// Start-up makes it before the workers, and it outlives them. It has no thread of its own: both
// loops call `look` after their passes, and the first of them does what is due. If the other loop
// is already doing so, `look` returns at once.
//
// It writes the file when a state has changed, and at most once a second when only counts have
// changed. An idle daemon writes nothing. While the file cannot be written, it tries once a second.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "base/services.h"
#include "base/worker_status.h"
#include "status/service_manager.h"
#include "status/status_file.h"
#include "websock/link_status.h"
#include "workers/loop_progress.h"
#include "workers/safe_queue.h"

namespace rfcd {

class status_reporter {
  public:
    // Where the workers report. They are made after the reporter and destroyed before it.
    struct sources {
        const link_status& link;
        const worker_status& worker;
        loop_progress& link_loop;
        loop_progress& service_loop;
    };

    // Everybody can see `url`. The queues and the manager outlive the reporter.
    status_reporter(service_index service, std::string url, service_queues queues,
                    const service_manager& manager);
    status_reporter(const status_reporter&) = delete;
    status_reporter& operator=(const status_reporter&) = delete;

    // Observes both loops from now on. Call it once, before the loops run.
    void watch(const sources& workers);

    // Looks at the workers no more: one of them is about to be destroyed. Waits for a look of the
    // other loop to end.
    void stop();

    // Does what is due. Safe on any thread.
    void look() noexcept;

  private:
    struct loops {
        bool link_busy;
        bool service_busy;
        bool stuck;
    };
    loops look_at_loops(std::int64_t now_ms) const;

    void do_what_is_due();
    // False when the file could not be written.
    bool report(std::int64_t now_ms, const loops& state);
    std::uint64_t state_version(const loops& state) const;
    std::string counts() const;
    std::string text(std::int64_t now_ms, const loops& state) const;
    std::string summary() const;

    const service_index service_;
    const std::string url_;
    const service_queues queues_;
    const service_manager& manager_;
    const status_file file_;
    std::optional<sources> from_;  // set before the loops run
    const std::int64_t started_;   // seconds of the monotonic clock

    // Only the thread that has set in_use_ may use the following.
    std::atomic_flag in_use_;
    std::uint64_t last_version_ = 0;
    std::string last_counts_;
    std::string last_summary_;
    std::int64_t last_counted_ms_ = 0;
    std::int64_t last_alive_ms_ = 0;
};

}  // namespace rfcd
