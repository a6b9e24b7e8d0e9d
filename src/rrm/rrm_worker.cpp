// The worker's making, its pass and its timers.
#include "rrm/rrm_worker.h"

#include <utility>

#include "main/logging.h"
#include "rrm/flag_files.h"

namespace rfcd {

namespace {

constexpr std::int32_t no_poll_timeout = 0;  // a pass waits by itself
constexpr std::uint32_t idle_pause_us = 300'000;

}  // namespace

rrm_worker::rrm_worker(driver_interface& drv, safe_queue& in_queue, safe_queue& out_queue,
                       std::string domain, const running_flag* running, const rrm_tuning& tuning)
    : abstract_worker(running, "rrm", no_poll_timeout, idle_pause_us),
      drv_(&drv),
      domain_(std::move(domain)),
      in_queue_(in_queue),
      out_queue_(out_queue),
      subscribe_delay_(tuning.subscribe_delay),
      hostapd_restart_wait_(tuning.hostapd_restart_wait),
      fbt_reassoc_deadline_(tuning.fbt_reassoc_deadline),
      fbt_over_ds_(tuning.fbt_over_ds),
      first_subscribe_delay_(tuning.subscribe_delay),
      idle_wait_(tuning.idle_wait),
      on_message_([this](const buffer_ptr& message) { handle_message(message); }),
      on_pended_([this](const buffer_ptr& message) { handle_pended(message); }),
      on_driver_event_([this](const driver_event_desc& event) { handle_driver_event(event); }) {}

rrm_worker::~rrm_worker() {
    log_debug(daemon_logger, "rrm_worker: stop\n");
    join();
    clear_scan_results();
    clear_neighbour_lists();
    drv_->stop_all_scans();
    drv_->reset_interface_context();
    flag_files::remove(flag_files::connected);
}

bool rrm_worker::process() {
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    timers_.run_expired();
    const bool pended_can_go = !pending_.empty() && !drv_->is_scan_in_progress();
    in_queue_.pop_for(on_message_, pended_can_go ? std::chrono::milliseconds{0} : idle_wait_);
    if (!drv_->is_scan_in_progress()) pending_.try_pop(on_pended_);
    drv_->poll_events(on_driver_event_);
    return true;
}

void rrm_worker::arm_timer(timer identifier, std::int32_t seconds) {
    static constexpr struct {
        timer identifier;
        void (rrm_worker::*expired)();
    } callbacks[] = {
        {timer_scan_delay, &rrm_worker::begin_scan},
        {timer_scan_sweep, &rrm_worker::scan_finished},
        {timer_subscribe, &rrm_worker::subscribe_retry},
        {timer_response_delay, &rrm_worker::send_rrm_response_delayed},
        {timer_config_changed, &rrm_worker::config_changed_timer},
    };
    for (const auto& row : callbacks) {
        if (row.identifier != identifier) continue;
        timers_.add_timer([this, expired = row.expired] { (this->*expired)(); }, identifier,
                          seconds);
    }
}

void rrm_worker::stop_all_timers() {
    for (const auto identifier : {timer_scan_delay, timer_scan_sweep, timer_subscribe,
                                  timer_response_delay, timer_config_changed}) {
        timers_.cancel_timers(identifier);
    }
}

}  // namespace rfcd
