// The client of the RRM (radio resource management) service: keeps the access point's subscription,
// acts on every message of the service, and sends its answers and reports. All radio work goes
// through the driver, which it holds and does not own.
//
// Made by start-up in RRM mode; its loop and everything here run on the main thread. It meets the
// websock_worker only in the two queues. It becomes active when hostapd or widsd runs, and stays so
// while hostapd runs, or widsd in sentry mode; without them it waits for a minute. While inactive
// it takes no message.
//
//   link "connected"      -> subscribing: "subscribe-request", again after 30, 60, 120, 120 s
//   "subscribe-response"  -> subscribed ("success"), subscribing (503), or stopped
//   link "disconnected"   -> without a link
//
// While a scan runs, messages are put aside, except those that end the scan.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "driver/driver_interface.h"
#include "ipc/json_reader.h"
#include "ipc/json_writer.h"
#include "workers/abstract_worker.h"
#include "workers/safe_queue.h"
#include "workers/timer_list.h"

namespace rfcd {

// What start-up sets and tests change.
struct rrm_tuning {
    std::int32_t subscribe_delay = 30;       // seconds to the first retry
    std::int32_t hostapd_restart_wait = 60;  // seconds
    std::uint32_t fbt_reassoc_deadline = 1000;
    bool fbt_over_ds = true;
    std::chrono::milliseconds idle_wait{90};  // of a pass that has nothing to do
};

class rrm_worker : public abstract_worker {
  public:
    // The driver and the queues outlive the worker. `domain` is the first RRM domain.
    rrm_worker(driver_interface& drv, safe_queue& in_queue, safe_queue& out_queue,
               std::string domain, const running_flag* running, const rrm_tuning& tuning = {});
    ~rrm_worker() override;

    // Becomes active when hostapd or widsd runs; timers run here too.
    bool start_check() override;
    // Timers, then at most one message of the link and one put aside. Waits a moment for a message
    // when there is nothing to do. Always true; throws what a message or a timer makes it throw.
    bool process() override;
    void on_stop() override;
    // Looks at the notify files and at hostapd.
    bool keep_running(const running_flag* running) override;

  private:
    enum timer : std::int32_t {
        timer_scan_delay = 0,
        timer_scan_sweep = 1,
        timer_subscribe = 2,
        timer_response_delay = 3,
        timer_config_changed = 5,
    };
    static constexpr std::size_t sweep_count = 5;

    struct command;

    // Dispatch and subscription (rrm_dispatch.cpp).
    void handle_message(const buffer_ptr& message);
    void handle_pended(const buffer_ptr& message);
    bool dispatch(const buffer_info_t& message);
    bool dispatch_rrm(const json_reader& message);
    void abandon_scan();
    void act_on(const char* cmd, const json_reader& message);
    void dispatch_link(const json_reader& message);
    void process_connected();
    void process_disconnected();
    void drop_pended_acceptances();
    void process_subscribe_response(const json_reader& message);
    void take_domain(const std::string& domain);
    void unsubscribe();
    void subscribe();
    void subscribe_retry();
    void start_subscribing();
    void arm_timer(timer identifier, std::int32_t seconds);
    void stop_all_timers();
    void double_subscribe_delay();

    // Messages (rrm_messages.cpp).
    json_writer make_message(const char* cmd);
    void send(const json_writer& message);
    void send_subscribe_request();
    void send_mode_response(const json_reader& message);
    void send_config_changed();
    void send_radios(const char* cmd);
    void add_factory(json_writer& message);
    bool add_radios(json_writer& message);
    void add_radio_description(json_writer& radios, const char* ifname, int radio);
    void add_vap_description(int vap, const char* ssid, const char* mac, bool has_80211k,
                             json_writer& vaps, int radio);
    bool read_switch(const char* path);

    // Supervision (rrm_supervision.cpp).
    bool supervise();
    void process_notify_files();
    void process_hostapd_started();
    void process_widsd_started();
    bool wait_for_hostapd();
    void process_hostapd_stopped();
    void process_started();
    void clear_neighbour_lists();

    // Scans and reports (rrm_reports.cpp).
    void process_rrm_update(const json_reader& message);
    void rebuild_scan_channels(const json_reader& message);
    bool add_scan_channel(int band, int channel);
    void begin_scan();
    void start_sweep();
    void scan_finished();
    void send_rrm_response_delayed();
    void send_rrm_response();
    bool add_rf_environment(json_writer& message);
    void config_changed_timer();
    void handle_driver_event(const driver_event_desc& event);
    void clear_scan_results();

    // Settings (rrm_apply.cpp, rrm_fast_transition.cpp).
    void apply_config(const json_reader& config);
    void apply_in_time(const json_reader& list, std::int64_t deadline,
                       const std::function<void(const json_reader&)>& apply);
    void apply_radio(const json_reader& radio, bool use_tpc, bool use_dca);
    void add_neighbours(const json_reader& neighbour, std::int64_t deadline);
    void process_fbt_info(const json_reader& message);
    bool add_fbt_vap(const json_reader& element);

    driver_interface* const drv_;
    timer_list timers_;
    bool subscribed_ = false;
    bool subscribing_ = false;
    scan_channel_map scan_channels_;
    std::string domain_;
    safe_queue& in_queue_;
    safe_queue& out_queue_;
    safe_queue pending_;  // messages put aside while a scan runs
    std::uint32_t scan_sweep_ = 0;
    std::array<std::vector<scan_result>, sweep_count> scan_results_;
    bool active_scan_ = false;
    std::int32_t subscribe_delay_;        // seconds
    std::uint32_t response_delay_ = 0;    // seconds
    std::int64_t hostapd_stop_time_ = 0;  // seconds of the monotonic clock; 0: not waiting
    const std::int32_t hostapd_restart_wait_;
    bool use_80211r_ = false;
    std::uint32_t fbt_reassoc_deadline_;
    bool fbt_over_ds_;
    const std::int32_t first_subscribe_delay_;
    const std::chrono::milliseconds idle_wait_;
    const safe_queue::handler on_message_;
    const safe_queue::handler on_pended_;
    const driver_event_callback on_driver_event_;
    std::exception_ptr failure_;  // of an operation that must not throw; process() throws it
};

}  // namespace rfcd
