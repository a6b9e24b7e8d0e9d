// Watches who serves the radios: hostapd, or widsd in sentry mode. Follows their pid files, and the
// notify files by which other processes tell that one of them has started, that the configuration
// or that the time zone has changed.
//
// Owned by the rrm_worker; lives as long as it does and runs on its thread. The worker is active
// from start_check() on, until the radios are unserved:
//
//   served      hostapd's pid file is there, or widsd is in sentry mode
//   awaited     hostapd went away a minute ago at most
//   unserved    it did not come back in time, or never was there
//
// Only a notify file that tells of a start ends the waiting. When the pid file comes back without
// one, the minute goes on from the first loss.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "driver/driver_interface.h"

namespace rfcd {

class supervision {
  public:
    enum class radio_state { served, awaited, unserved };

    // What the worker does when something has happened.
    struct reactions {
        std::function<void()> started;         // hostapd or widsd; the driver's tables are new
        std::function<void()> stopped;         // hostapd; the driver's tables are still there
        std::function<void()> config_updated;  // the configuration of the access point
    };

    // The driver outlives this object. `hostapd_restart_wait` is in seconds.
    supervision(driver_interface& drv, reactions worker, std::int32_t hostapd_restart_wait);

    // True, with a line in the log, when the pid file of hostapd or widsd is there.
    bool start_check() const;

    // Removes and obeys the notify files, then looks for hostapd. Throws what a reaction throws.
    radio_state supervise();

    // hostapd is gone, or the worker leaves its active state: hostapd is awaited from now on.
    void process_hostapd_stopped();

  private:
    void process_notify_files();
    void process_hostapd_started();
    void process_widsd_started();
    radio_state wait_for_hostapd();

    driver_interface& drv_;
    const reactions worker_;
    const std::int32_t hostapd_restart_wait_;        // seconds
    std::optional<std::int64_t> hostapd_stop_time_;  // seconds of the monotonic clock
};

}  // namespace rfcd
