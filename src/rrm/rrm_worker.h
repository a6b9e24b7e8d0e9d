// The client of the RRM (radio resource management) service: takes every message of the service and
// of the link, and hands it to the member that acts on it. All radio work goes through the driver.
//
// Start-up makes it in RRM mode. Its loop, its members and their timers all run on the main thread.
// It shares only the two queues with the websock_worker. Its members do the work:
//
//   subscription        asks for the subscription, repeats the request, reports changes
//   scan_session        scans on request, reports the neighbours that it heard
//   radio_settings      channels, transmit powers, neighbour lists
//   fast_transition     802.11r
//   supervision         watches hostapd and widsd, obeys the notify files
//   outgoing_messages   builds and sends every message
//
// The worker becomes active when hostapd or widsd runs; supervision.h tells how long it stays
// active. While it is inactive, it takes no messages. While a scan runs, it puts the messages of
// the service aside until the scan is over; only "rrm-update" and "rrm-request-mode" end the scan
// instead.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <string>

#include "driver/driver_interface.h"
#include "ipc/json_reader.h"
#include "rrm/fast_transition.h"
#include "rrm/outgoing_messages.h"
#include "rrm/radio_settings.h"
#include "rrm/rrm_status.h"
#include "rrm/scan_session.h"
#include "rrm/subscription.h"
#include "rrm/supervision.h"
#include "workers/abstract_worker.h"
#include "workers/safe_queue.h"
#include "workers/timer_list.h"

namespace rfcd {

// Settings that tests change.
struct rrm_tuning {
    std::int32_t subscribe_delay = 30;        // seconds to the first retry
    std::int32_t hostapd_restart_wait = 60;   // seconds
    std::chrono::milliseconds idle_wait{90};  // a pass without a message waits this long
};

class rrm_worker : public abstract_worker {
  public:
    // The driver and the queues outlive the worker. `domain` is the RRM domain to start with.
    rrm_worker(driver_interface& drv, service_queues queues, std::string domain,
               const running_flag* running, const rrm_tuning& tuning = {});
    ~rrm_worker() override;

    // True when hostapd or widsd runs. Runs the expired timers first, because no pass does so while
    // the worker is inactive.
    bool start_check() override;
    // Runs the expired timers, then takes at most one message from the queue and one that was put
    // aside. Waits for a message (rrm_tuning::idle_wait) when there is nothing to do. Always
    // returns true. Throws what a message or a timer throws, and what start_check() or
    // keep_running() kept.
    bool process() override;
    // Empties the neighbour lists, stops all scans, and resets fast transition and the driver.
    void on_stop() override;
    // False when the daemon stops, or when neither hostapd nor widsd serves the radios any more.
    bool keep_running(const running_flag* running) override;

    const worker_status& status() const { return status_; }

  private:
    struct command;

    void handle_message(const buffer_ptr& message);
    void handle_pended(const buffer_ptr& message);
    bool dispatch(const buffer_info_t& message);
    bool dispatch_rrm(const json_reader& message);
    void act_on(const char* cmd, const json_reader& message);
    void dispatch_link(const json_reader& message);
    void process_disconnected();
    void drop_pended_acceptances();
    void forget_radio_work();
    void stop_all_timers();
    void update_status();

    driver_interface& drv_;
    timer_list timers_;
    safe_queue& in_queue_;
    safe_queue pending_;  // messages put aside while a scan runs
    outgoing_messages messages_;
    fast_transition fast_transition_;
    radio_settings settings_;
    scan_session scan_;
    subscription subscription_;
    supervision supervision_;
    const std::chrono::milliseconds idle_wait_;
    const safe_queue::handler on_message_;
    const safe_queue::handler on_pended_;
    const driver_event_callback on_driver_event_;
    rrm_status status_;
    std::exception_ptr failure_;  // from an operation that must not throw; process() throws it
};

}  // namespace rfcd
