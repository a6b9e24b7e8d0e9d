// Which message does what, and the subscription with the service.
#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "main/logging.h"
#include "rrm/flag_files.h"
#include "rrm/rrm_worker.h"

namespace rfcd {

namespace {

constexpr const char* rrm_service = "rrm";
constexpr const char* subscribe_response = "subscribe-response";

constexpr std::int64_t last_refused_version = 0x20003;  // 2.3
constexpr std::int32_t try_later_code = 503;
constexpr std::int32_t max_subscribe_delay = 120;  // seconds
constexpr std::size_t max_domain_length = 255;     // as the configuration file allows

bool same(const char* a, const char* b) { return strcasecmp(a, b) == 0; }

bool is_version_accepted(const char* version) {
    int major = 0;
    int minor = 0;
    return version != nullptr && std::sscanf(version, "%d.%d", &major, &minor) == 2 &&
           std::int64_t{major} * 0x10000 + minor > last_refused_version;
}

}  // namespace

// A command of the service: what it needs, and what is done. Without an action it belongs to a load
// balancer that this access point does not have.
struct rrm_worker::command {
    const char* name;
    bool needs_hostapd;
    void (rrm_worker::*act)(const json_reader& message);
};

void rrm_worker::handle_message(const buffer_ptr& message) {
    if (!dispatch(*message)) return;
    if (pending_.weight() > heavy_queue) {
        log_error(daemon_logger, "rrm: too many messages wait for the scan, one is dropped\n");
        return;
    }
    log_debug(daemon_logger, "Pending message for delayed processing\n");
    pending_.push(message);
}

void rrm_worker::handle_pended(const buffer_ptr& message) {
    log_debug(daemon_logger, "From pended\n");
    dispatch(*message);
}

// True when the message must wait until the running scan is over.
bool rrm_worker::dispatch(const buffer_info_t& message) {
    const json_reader reader(message.data.c_str());
    const char* service = reader.get_string("service");
    if (service == nullptr) return false;
    if (same(service, rrm_service)) return dispatch_rrm(reader);
    if (same(service, link_service)) dispatch_link(reader);
    return false;
}

bool rrm_worker::dispatch_rrm(const json_reader& message) {
    const char* cmd = message.get_string("cmd");
    if (cmd == nullptr) return false;
    if (drv_->is_scan_in_progress()) {
        // A message that asks about the radios ends the scan; any other waits for its end.
        if (!same(cmd, "rrm-update") && !same(cmd, "rrm-request-mode")) return true;
        log_debug(daemon_logger, "Got %s. turning off the current scan.\n", cmd);
        abandon_scan();
    }
    if (is_version_accepted(message.get_string("version"))) {
        act_on(cmd, message);
    } else {
        log_debug(daemon_logger, "Unsubscribe from RRM service: incorrect version\n");
        unsubscribe();
    }
    return false;
}

// Ends a running scan and forgets what it heard.
void rrm_worker::abandon_scan() {
    drv_->stop_scan(true);
    clear_scan_results();
    for (const auto identifier : {timer_scan_delay, timer_scan_sweep, timer_response_delay}) {
        timers_.cancel_timers(identifier);
    }
}

void rrm_worker::act_on(const char* cmd, const json_reader& message) {
    static constexpr command commands[] = {
        {subscribe_response, false, &rrm_worker::process_subscribe_response},
        {"rrm-info", true, &rrm_worker::apply_config},
        {"rrm-update", true, &rrm_worker::process_rrm_update},
        {"rrm-request-mode", true, &rrm_worker::send_mode_response},
        {"fbt-info", false, &rrm_worker::process_fbt_info},
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
        } else if (row.needs_hostapd && !drv_->is_initialized()) {
            log_debug(daemon_logger, "Ignoring %s because hostapd is not running\n", row.name);
        } else {
            (this->*row.act)(message);
        }
        return;
    }
}

void rrm_worker::dispatch_link(const json_reader& message) {
    const char* cmd = message.get_string("cmd");
    if (cmd == nullptr) return;
    if (same(cmd, "connected")) {
        process_connected();
    } else if (same(cmd, "disconnected")) {
        process_disconnected();
    }
}

void rrm_worker::process_connected() {
    timers_.cancel_timers(timer_subscribe);
    timers_.cancel_timers(timer_response_delay);
    subscribing_ = true;
    if (drv_->is_initialized() || drv_->is_sentry_all()) {
        start_subscribing();
    } else {
        log_debug(daemon_logger, "Waiting for hostapd to start before sending subscribe-request\n");
    }
}

void rrm_worker::process_disconnected() {
    log_debug(daemon_logger, "Disconnected from RRM service - stop all timers\n");
    stop_all_timers();
    // Nothing else would end a scan whose timer is gone, and the answer to the next subscription
    // would wait for its end.
    if (drv_->is_scan_in_progress()) abandon_scan();
    drop_pended_acceptances();
    subscribed_ = false;
    subscribing_ = false;
    flag_files::remove(flag_files::connected);
}

// What was put aside keeps, but for answers to a subscription over the link that has gone: they
// must not subscribe without a link, or on the next one.
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

void rrm_worker::process_subscribe_response(const json_reader& message) {
    const char* status = message.get_string("status");
    if (status == nullptr) return;
    timers_.cancel_timers(timer_subscribe);
    subscribing_ = false;
    if (!same(status, "success")) {
        if (message.get_int("code") != try_later_code) return;
        double_subscribe_delay();
        log_debug(daemon_logger, "Reconnect after %d sec\n", subscribe_delay_);
        subscribing_ = true;
        arm_timer(timer_subscribe, subscribe_delay_);
        return;
    }
    subscribed_ = true;
    const char* domain = message.get_string("domain");
    if (domain != nullptr) take_domain(domain);
    if (const auto config = message.get_object("config"); config.is_object()) apply_config(config);
    flag_files::create(flag_files::connected);
}

void rrm_worker::take_domain(const std::string& domain) {
    if (domain.size() <= max_domain_length) {
        domain_ = domain;
    } else {
        log_error(daemon_logger,
                  "rrm: a domain of %zu bytes is too long (%zu), the old one stays\n",
                  domain.size(), max_domain_length);
    }
}

void rrm_worker::unsubscribe() {
    stop_all_timers();
    log_debug(daemon_logger, "Unsubscribe from RRM service\n");
    {
        auto message = make_message("unsubscribe-request");
        if (message.made()) {
            message.add_string("domain", domain_.c_str());
            add_factory(message);
            send(message);
        }
    }
    push_json(out_queue_, json_writer(link_service, "unlink", ""));
    flag_files::remove(flag_files::connected);
}

void rrm_worker::subscribe() {
    if (!drv_->is_initialized() && !drv_->is_sentry_all()) {
        log_debug(daemon_logger, "Not sending subscribe-request because hostapd is not running\n");
        return;
    }
    log_debug(daemon_logger, "Subscribe to RRM service\n");
    send_subscribe_request();
}

void rrm_worker::subscribe_retry() {
    timers_.cancel_timers(timer_subscribe);
    subscribing_ = true;
    subscribe();
    double_subscribe_delay();
    arm_timer(timer_subscribe, subscribe_delay_);
}

// The first request of a connection, or after hostapd came up; the retries follow from here.
void rrm_worker::start_subscribing() {
    subscribe();
    subscribe_delay_ = first_subscribe_delay_;
    arm_timer(timer_subscribe, subscribe_delay_);
}

void rrm_worker::double_subscribe_delay() {
    subscribe_delay_ = std::min(2 * subscribe_delay_, max_subscribe_delay);
}

}  // namespace rfcd
