// An RRM scan: listens to one channel again and again for a few seconds, so that each access point
// gives several samples. The caller of the library does not come back in the meantime, so the scan
// has a thread of its own, from its start to its end. The radio's state owns the object;
// destroying it ends the scan within milliseconds.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "nl80211/connection.h"
#include "nl80211/events.h"
#include "radioctl/heard.h"

namespace radioctl {

class rrm_scan {
  public:
    struct target {
        std::uint32_t interface_index = 0;
        std::uint32_t wiphy = 0;
        nl80211::channel_number channel;
        std::vector<nl80211::mac_address> own;
    };

    // Starts the first pass. Null when that fails; `error` is then a negative error number. A radio
    // that is busy for the moment is no failure.
    static std::unique_ptr<rrm_scan> start(const target& of, int& error);

    rrm_scan(const rrm_scan&) = delete;
    rrm_scan& operator=(const rrm_scan&) = delete;
    ~rrm_scan();

    // What was heard so far. On any thread.
    rrm_results results() const;

  private:
    rrm_scan(const target& of, std::unique_ptr<nl80211::connection> kernel,
             std::unique_ptr<nl80211::events> events, int stop_descriptor);

    int trigger();
    void run(int first_trigger);
    enum class pass_end { done, missed, stopped };
    pass_end wait_for_end_of_pass();
    void take_samples();
    // Both wait until that time, the first one only until there is an event. False when the scan is
    // to stop.
    bool wait_for_event(std::int64_t until);
    bool pause(std::int64_t until);

    const target of_;
    const std::unique_ptr<nl80211::connection> kernel_;
    const std::unique_ptr<nl80211::events> events_;
    const int stop_descriptor_;  // an eventfd, readable when the scan is to stop
    const std::int64_t limit_;   // of the whole scan, in nanoseconds of CLOCK_BOOTTIME
    std::int64_t pass_start_ = 0;

    mutable std::mutex mutex_;
    rrm_results results_;  // guarded by mutex_

    std::thread thread_;
};

}  // namespace radioctl
