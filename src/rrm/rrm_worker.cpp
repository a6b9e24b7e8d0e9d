#include "rrm/rrm_worker.h"

#include <strings.h>

#include <cstdio>
#include <utility>

#include "base/services.h"
#include "main/logging.h"
#include "rrm/flag_files.h"
#include "rrm/rrm_timer.h"

namespace rfcd {

namespace {

constexpr std::int32_t no_poll_timeout = 0;  // the wait is part of a pass
constexpr std::uint32_t idle_pause_us = 300'000;

constexpr const service_entry& rrm = entry_of(service_index::rrm);
constexpr const char* subscribe_response = "subscribe-response";
constexpr std::int64_t last_refused_version = 0x20003;  // 2.3

bool same(const char* a, const char* b) { return strcasecmp(a, b) == 0; }

bool is_version_accepted(const char* version) {
    int major = 0;
    int minor = 0;
    return version != nullptr && std::sscanf(version, "%d.%d", &major, &minor) == 2 &&
           std::int64_t{major} * 0x10000 + minor > last_refused_version;
}

}  // namespace

rrm_worker::rrm_worker(driver_interface& drv, service_queues queues, std::string domain,
                       const running_flag* running, const rrm_tuning& tuning)
    : abstract_worker(running, rrm.worker_name, no_poll_timeout, idle_pause_us),
      drv_(drv),
      in_queue_(queues.from_service),
      messages_(drv, queues.to_service, std::move(domain)),
      fast_transition_(drv),
      settings_(drv, fast_transition_),
      scan_(drv, timers_, messages_),
      subscription_({.drv = drv, .timers = timers_, .messages = messages_, .settings = settings_},
                    tuning.subscribe_delay),
      supervision_(drv,
                   {.started = [this] { subscription_.process_started(); },
                    .stopped = [this] { forget_radio_work(); },
                    .config_updated = [this] { subscription_.process_config_updated(); }},
                   tuning.hostapd_restart_wait),
      idle_wait_(tuning.idle_wait),
      on_message_([this](const buffer_ptr& message) { handle_message(message); }),
      on_pended_([this](const buffer_ptr& message) { handle_pended(message); }),
      on_driver_event_(
          [this](const driver_event_desc& event) { subscription_.handle_driver_event(event); }) {}

rrm_worker::~rrm_worker() {
    log_debug(daemon_logger, "rrm_worker: stop\n");
    join();
    scan_.clear_scan_results();
    settings_.clear_neighbour_lists();
    drv_.stop_all_scans();
    drv_.reset_interface_context();
    flag_files::remove(flag_files::connected);
}

// start_check() and keep_running() must not throw, but the operations that they call can. They keep
// an exception for the next pass, which throws it and so ends the process in the usual way.

bool rrm_worker::start_check() {
    try {
        timers_.run_expired();
    } catch (...) {
        failure_ = std::current_exception();
        return true;
    }
    return supervision_.start_check();
}

bool rrm_worker::keep_running(const running_flag* running) {
    if (!*running) return false;
    if (failure_) return true;
    try {
        return supervision_.supervise() != supervision::radio_state::unserved;
    } catch (...) {
        failure_ = std::current_exception();
        return true;
    }
}

bool rrm_worker::process() {
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));

    timers_.run_expired();
    const bool pended_can_go = !pending_.empty() && !drv_.is_scan_in_progress();
    in_queue_.pop_for(on_message_, pended_can_go ? std::chrono::milliseconds{0} : idle_wait_);
    if (!drv_.is_scan_in_progress()) pending_.try_pop(on_pended_);
    drv_.poll_events(on_driver_event_);
    update_status();
    return true;
}

void rrm_worker::update_status() {
    const bool scans = drv_.is_scan_in_progress();
    status_.update({.subscription = subscription_.state(),
                    .hostapd_runs = drv_.is_initialized(),
                    .sweep = scans ? scan_.sweeps_done() + 1 : 0,
                    .sweeps = scans ? scan_.sweeps() : 0,
                    .report = scan_.last_report()});
}

void rrm_worker::on_stop() {
    log_debug(daemon_logger, "Disconnected from hostapd\n");
    settings_.clear_neighbour_lists();
    drv_.stop_all_scans();
    fast_transition_.on_stop(running());
    if (drv_.is_initialized()) supervision_.process_hostapd_stopped();
    update_status();
}

void rrm_worker::handle_message(const buffer_ptr& message) {
    if (!dispatch(*message)) return;

    if (pending_.weight() > heavy_queue) {
        log_error(daemon_logger, "rrm: too many messages wait for the scan, one is dropped\n");
        in_queue_.note_dropped();
        return;
    }
    log_debug(daemon_logger, "Pending message for delayed processing\n");
    pending_.push(message);
}

void rrm_worker::handle_pended(const buffer_ptr& message) {
    log_debug(daemon_logger, "From pended\n");
    dispatch(*message);
}

// Acts on a message. True when the message must wait until the running scan is over.
bool rrm_worker::dispatch(const buffer_info_t& message) {
    const json_reader reader(message.data.c_str());
    const char* service = reader.get_string("service");
    if (service == nullptr) return false;
    if (same(service, rrm.wire_name)) return dispatch_rrm(reader);
    if (same(service, link_service)) dispatch_link(reader);
    return false;
}

bool rrm_worker::dispatch_rrm(const json_reader& message) {
    const char* cmd = message.get_string("cmd");
    if (cmd == nullptr) return false;

    if (drv_.is_scan_in_progress()) {
        // A new scan request or a question about the radios ends the scan; other messages wait.
        if (!same(cmd, "rrm-update") && !same(cmd, "rrm-request-mode")) return true;
        log_debug(daemon_logger, "Got %s. turning off the current scan.\n", cmd);
        scan_.abandon_scan();
    }

    if (is_version_accepted(message.get_string("version"))) {
        act_on(cmd, message);
    } else {
        log_debug(daemon_logger, "Unsubscribe from RRM service: incorrect version\n");
        stop_all_timers();
        subscription_.unsubscribe();
    }
    return false;
}

// A command of the service: its name, whether the worker ignores it while hostapd does not run, and
// the action. Commands without an action belong to a load balancer that this access point lacks.
struct rrm_worker::command {
    const char* name;
    bool needs_hostapd;
    void (*act)(rrm_worker& worker, const json_reader& message);
};

void rrm_worker::act_on(const char* cmd, const json_reader& message) {
    static constexpr command commands[] = {
        {subscribe_response, false,
         [](auto& worker, auto& received) {
             worker.subscription_.process_subscribe_response(received);
         }},
        {"rrm-info", true,
         [](auto& worker, auto& received) { worker.settings_.apply_config(received); }},
        {"rrm-update", true,
         [](auto& worker, auto& received) { worker.scan_.process_rrm_update(received); }},
        {"rrm-request-mode", true,
         [](auto& worker, auto&) { worker.messages_.send_mode_response(); }},
        {"fbt-info", false,
         [](auto& worker, auto& received) { worker.fast_transition_.process_fbt_info(received); }},
        {"rrm-blacklist", false, nullptr},
        {"rrm-probe-request", false, nullptr},
        {"rrm-disassoc-request", false, nullptr},
        {"rrm-client-assoc-ack", false, nullptr},
    };

    for (const auto& row : commands) {
        if (!same(cmd, row.name)) continue;
        if (row.act == nullptr) {
            log_debug(daemon_logger, "Ignoring %s because load balancer is not yet supported\n",
                      row.name);
        } else if (row.needs_hostapd && !drv_.is_initialized()) {
            log_debug(daemon_logger, "Ignoring %s because hostapd is not running\n", row.name);
        } else {
            row.act(*this, message);
        }
        return;
    }
}

void rrm_worker::dispatch_link(const json_reader& message) {
    const char* cmd = message.get_string("cmd");
    if (cmd == nullptr) return;
    if (same(cmd, "connected")) {
        scan_.cancel_held_report();
        subscription_.process_connected();
    } else if (same(cmd, "disconnected")) {
        process_disconnected();
    }
}

void rrm_worker::process_disconnected() {
    log_debug(daemon_logger, "Disconnected from RRM service - stop all timers\n");
    stop_all_timers();
    // Without its timer a scan would never end, and the answer to the next subscription request
    // would wait for ever.
    if (drv_.is_scan_in_progress()) scan_.abandon_scan();
    drop_pended_acceptances();
    subscription_.process_disconnected();
}

// Keeps the messages that were put aside, except answers to a subscription request: they belong to
// the lost link, and must not make the daemon subscribed without a link or on the next one.
void rrm_worker::drop_pended_acceptances() {
    safe_queue kept;
    const auto sort = [&](const buffer_ptr& message) {
        const json_reader reader(message->data.c_str());
        const char* cmd = reader.get_string("cmd");
        if (cmd != nullptr && same(cmd, subscribe_response)) {
            log_debug(daemon_logger, "Dropping pended %s of the lost link\n", cmd);
        } else {
            kept.push(message);
        }
    };
    while (pending_.try_pop(sort)) {
    }
    while (kept.try_pop([this](const buffer_ptr& message) { pending_.push(message); })) {
    }
}

// hostapd is gone, and so are the radios that were scanning.
void rrm_worker::forget_radio_work() {
    stop_all_timers();
    scan_.clear_scan_results();
}

void rrm_worker::stop_all_timers() {
    for (const auto identifier : {timer_scan_delay, timer_scan_sweep, timer_subscribe,
                                  timer_response_delay, timer_config_changed}) {
        timers_.cancel_timers(identifier);
    }
}

}  // namespace rfcd
