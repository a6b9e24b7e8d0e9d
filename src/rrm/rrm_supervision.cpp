// When the worker is active: hostapd and widsd coming and going, and the notify files.
//
// These operations are asked for by the worker loop, which expects them not to throw. What they set
// in motion can throw all the same (a configured number that is none); it is kept for the next
// pass, where an exception ends the process in the ordinary way.
#include <ctime>

#include "main/logging.h"
#include "rrm/flag_files.h"
#include "rrm/rrm_worker.h"
#include "workers/monotonic_clock.h"

namespace rfcd {

namespace {

// For all lists together: a hostapd that hangs costs the whole time-out of a command for each.
constexpr std::int64_t max_clear_seconds = 60;

}  // namespace

bool rrm_worker::start_check() {
    try {
        timers_.run_expired();
    } catch (...) {
        failure_ = std::current_exception();
        return true;
    }
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

bool rrm_worker::keep_running(const running_flag* running) {
    if (!*running) return false;
    if (failure_) return true;
    try {
        return supervise();
    } catch (...) {
        failure_ = std::current_exception();
        return true;
    }
}

bool rrm_worker::supervise() {
    if (flag_files::consume(flag_files::notify)) process_notify_files();
    if (drv_->is_sentry_all() || flag_files::exists(flag_files::hostapd_pid)) return true;
    return wait_for_hostapd();
}

void rrm_worker::process_notify_files() {
    if (flag_files::consume(flag_files::hostapd_started)) {
        flag_files::remove(flag_files::widsd_started);
        if (flag_files::exists(flag_files::hostapd_pid)) process_hostapd_started();
    } else if (flag_files::consume(flag_files::widsd_started)) {
        process_widsd_started();
    }
    if (flag_files::consume(flag_files::config_updated) && subscribed_) send_config_changed();
    if (flag_files::consume(flag_files::timezone_changed)) tzset();
}

void rrm_worker::process_hostapd_started() {
    log_debug(daemon_logger, "process_hostapd_started : initializing\n");
    hostapd_stop_time_ = 0;
    drv_->set_initialized(true);
    drv_->reset_interface_context();
    drv_->init_interface_context();
    drv_->stop_all_scans();
    process_started();
}

void rrm_worker::process_widsd_started() {
    if (drv_->is_initialized()) process_hostapd_stopped();
    log_debug(daemon_logger, "process_widsd_started : initializing\n");
    hostapd_stop_time_ = 0;
    drv_->init_interface_context();
    process_started();
}

// hostapd's pid file is gone: false when it stays away for too long, or was never there.
bool rrm_worker::wait_for_hostapd() {
    if (hostapd_stop_time_ != 0) {
        if (monotonic_now().tv_sec - hostapd_stop_time_ <= hostapd_restart_wait_) return true;
        log_debug(daemon_logger, "Hostapd has not restarted\n");
        return false;
    }
    if (drv_->is_initialized()) {
        log_debug(daemon_logger, "Hostapd is not running, waiting for restart\n");
        process_hostapd_stopped();
        return true;
    }
    log_debug(daemon_logger, "Hostapd is not init and widsd is not sentry mode\n");
    return false;
}

void rrm_worker::process_hostapd_stopped() {
    log_debug(daemon_logger, "process_hostapd_stopped : deinitializing\n");
    hostapd_stop_time_ = monotonic_now().tv_sec;
    drv_->set_initialized(false);
    stop_all_timers();
    clear_scan_results();
    drv_->reset_interface_context();
}

void rrm_worker::process_started() {
    if (subscribing_) {
        log_debug(daemon_logger, "process_started : subscribing\n");
        timers_.cancel_timers(timer_subscribe);
        start_subscribing();
    } else if (subscribed_) {
        log_debug(daemon_logger, "process_started : subscribed\n");
        flag_files::remove(flag_files::config_updated);
        send_config_changed();
    }
}

void rrm_worker::on_stop() {
    log_debug(daemon_logger, "Disconnected from hostapd\n");
    clear_neighbour_lists();
    drv_->stop_all_scans();
    if (use_80211r_) drv_->__reset_skylark_fbt(running() ? 0 : 1);
    if (drv_->is_initialized()) process_hostapd_stopped();
}

void rrm_worker::clear_neighbour_lists() {
    const std::int64_t deadline = monotonic_now().tv_sec + max_clear_seconds;
    for (int radio = 0; radio < drv_->get_radio_count(); ++radio) {
        for (int vap = 0; vap < drv_->get_vap_count(); ++vap) {
            const char* ifname = drv_->get_vap_ifname(vap, radio);
            if (ifname == nullptr || !drv_->is_vap_80211k(radio, vap)) continue;
            if (monotonic_now().tv_sec > deadline) {
                log_error(daemon_logger,
                          "rrm: clearing the neighbour lists takes too long, the rest stays\n");
                return;
            }
            drv_->clear_rrm_nbr_ap_list(ifname);
        }
    }
}

}  // namespace rfcd
