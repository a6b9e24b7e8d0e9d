// Watches which program serves the radios: hostapd, or widsd in sentry mode. It checks their pid
// files and obeys the notify files, which say that one of them has started, or that the
// configuration or the time zone has changed.
//
// Owned by the rrm_worker; lives as long as it does and runs on its thread. The worker is active
// from start_check() until the radios are unserved:
//
//   served      hostapd's pid file is there, or widsd is in sentry mode
//   awaited     hostapd went away, a minute ago at most
//   unserved    hostapd did not come back in time, or was never there
//
// Only a notify file that reports a start resets the minute. If the pid file comes back without one
// and is lost again, the minute still counts from the first loss.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "driver/driver_interface.h"

namespace rfcd {

class supervision {
  public:
    enum class radio_state { served, awaited, unserved };

    // How the worker reacts to what has happened.
    struct reactions {
        std::function<void()> started;         // hostapd or widsd; the driver has read its tables
        std::function<void()> stopped;         // hostapd; the driver still has its tables
        std::function<void()> config_updated;  // the configuration of the access point
    };

    // The driver outlives this object. `hostapd_restart_wait` is in seconds.
    supervision(driver_interface& drv, reactions worker, std::int32_t hostapd_restart_wait);

    // True when the pid file of hostapd or widsd exists, which it logs.
    bool start_check() const;

    // Obeys and removes the notify files, then looks for hostapd. Throws what a reaction throws.
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
