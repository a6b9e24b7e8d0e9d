#include "rrm/supervision.h"

#include <ctime>
#include <utility>

#include "base/monotonic_clock.h"
#include "main/logging.h"
#include "rrm/flag_files.h"

namespace rfcd {

supervision::supervision(driver_interface& drv, reactions worker, std::int32_t hostapd_restart_wait)
    : drv_(drv), worker_(std::move(worker)), hostapd_restart_wait_(hostapd_restart_wait) {}

bool supervision::start_check() const {
    if (flag_files::exists(flag_files::hostapd_pid)) {
        log_debug(daemon_logger, "Connected to hostapd\n");
        return true;
    }
    if (flag_files::exists(flag_files::widsd_pid)) {
        log_debug(daemon_logger, "Connected to widsd\n");
        return true;
    }
    return false;
}

supervision::radio_state supervision::supervise() {
    if (flag_files::consume(flag_files::notify)) process_notify_files();
    if (drv_.is_sentry_all() || flag_files::exists(flag_files::hostapd_pid)) {
        return radio_state::served;
    }
    return wait_for_hostapd();
}

void supervision::process_notify_files() {
    if (flag_files::consume(flag_files::hostapd_started)) {
        flag_files::remove(flag_files::widsd_started);
        if (flag_files::exists(flag_files::hostapd_pid)) process_hostapd_started();
    } else if (flag_files::consume(flag_files::widsd_started)) {
        process_widsd_started();
    }
    if (flag_files::consume(flag_files::config_updated)) worker_.config_updated();
    if (flag_files::consume(flag_files::timezone_changed)) tzset();
}

void supervision::process_hostapd_started() {
    log_debug(daemon_logger, "process_hostapd_started : initializing\n");
    hostapd_stop_time_.reset();
    drv_.set_initialized(true);
    drv_.reset_interface_context();
    drv_.init_interface_context();
    drv_.stop_all_scans();
    worker_.started();
}

void supervision::process_widsd_started() {
    if (drv_.is_initialized()) process_hostapd_stopped();
    log_debug(daemon_logger, "process_widsd_started : initializing\n");
    hostapd_stop_time_.reset();
    drv_.init_interface_context();
    worker_.started();
}

// The pid file of hostapd is missing.
supervision::radio_state supervision::wait_for_hostapd() {
    if (hostapd_stop_time_) {
        if (monotonic_now().tv_sec - *hostapd_stop_time_ <= hostapd_restart_wait_) {
            return radio_state::awaited;
        }
        log_debug(daemon_logger, "Hostapd has not restarted\n");
        return radio_state::unserved;
    }

    if (drv_.is_initialized()) {
        log_debug(daemon_logger, "Hostapd is not running, waiting for restart\n");
        process_hostapd_stopped();
        return radio_state::awaited;
    }

    log_debug(daemon_logger, "Hostapd is not init and widsd is not sentry mode\n");
    return radio_state::unserved;
}

void supervision::process_hostapd_stopped() {
    log_debug(daemon_logger, "process_hostapd_stopped : deinitializing\n");
    hostapd_stop_time_ = monotonic_now().tv_sec;
    drv_.set_initialized(false);
    worker_.stopped();
    drv_.reset_interface_context();
}

}  // namespace rfcd
