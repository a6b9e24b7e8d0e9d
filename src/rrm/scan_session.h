// Runs the scans that the RRM service asks for with "rrm-update", and reports what they heard. One
// session runs at a time; a new "rrm-update" replaces it. The armed timer is the session's state:
//
//   timer_scan_delay      the service has delayed the start
//   timer_scan_sweep      the radios scan: once (an RRM scan), or in five sweeps (active scans)
//   timer_response_delay  the RRM scan is over and its report is held back; a new "rrm-update" does
//                         not cancel this timer
//   none                  there is nothing to do
//
// Owned by the rrm_worker; lives as long as it does and runs on its thread.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "driver/driver_interface.h"
#include "ipc/json_reader.h"
#include "ipc/json_writer.h"
#include "rrm/outgoing_messages.h"
#include "rrm/rrm_status.h"
#include "workers/timer_list.h"

namespace rfcd {

class scan_session {
  public:
    // All three outlive this object.
    scan_session(driver_interface& drv, timer_list& timers, outgoing_messages& messages);
    scan_session(const scan_session&) = delete;
    scan_session& operator=(const scan_session&) = delete;

    // Starts a session: at once, or after the delay in the message. Throws std::out_of_range when
    // the message lists no channel for the band of a usable radio. There is no default list. A
    // delayed start and a later sweep, which run as timers, throw the same.
    void process_rrm_update(const json_reader& message);

    // Stops a running scan, drops its results and cancels the timers of the session.
    void abandon_scan();

    // Cancels the timer of a held-back report. The results stay until a scan replaces them.
    void cancel_held_report();

    void clear_scan_results();

    // How many sweeps the present session has, and how many of them are over.
    std::uint32_t sweeps() const { return active_scan_ ? sweep_count : 1; }
    std::uint32_t sweeps_done() const { return scan_sweep_; }
    // The last report that was sent.
    const sent_report& last_report() const { return last_report_; }

  private:
    static constexpr std::uint32_t sweep_count = 5;

    void rebuild_scan_channels(const json_reader& message);
    bool add_scan_channel(int band, int channel);
    void begin_scan();
    void start_sweep();
    void scan_finished();
    void finish_sweep();
    void finish_rrm_scan();
    void send_rrm_response_delayed();
    void report_and_clear();
    void send_rrm_response();
    bool add_rf_environment(json_writer& message);

    driver_interface& drv_;
    timer_list& timers_;
    outgoing_messages& messages_;
    scan_channel_map scan_channels_;
    std::uint32_t scan_sweep_ = 0;  // of this session, that are over
    std::array<std::vector<scan_result>, sweep_count>
        scan_results_;                  // an RRM scan has only the first
    bool active_scan_ = false;          // otherwise an RRM scan
    std::uint32_t response_delay_ = 0;  // seconds, for an RRM scan
    sent_report last_report_;
};

}  // namespace rfcd
