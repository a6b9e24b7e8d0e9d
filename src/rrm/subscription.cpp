#include "rrm/subscription.h"

#include <strings.h>

#include <algorithm>

#include "main/logging.h"
#include "rrm/flag_files.h"
#include "rrm/rrm_timer.h"

namespace rfcd {

namespace {

constexpr std::int32_t try_later_code = 503;
constexpr std::int32_t max_subscribe_delay = 120;  // seconds
constexpr std::uint32_t event_radio_changed = 2;
constexpr std::int32_t config_changed_delay = 10;  // seconds

}  // namespace

subscription::subscription(const members& worker, std::int32_t subscribe_delay)
    : drv_(worker.drv),
      timers_(worker.timers),
      messages_(worker.messages),
      settings_(worker.settings),
      first_subscribe_delay_(subscribe_delay),
      subscribe_delay_(subscribe_delay) {}

bool subscription::is_subscribed() const {
    return state_ == subscription_state::subscribed || state_ == subscription_state::resubscribing;
}

bool subscription::is_subscribing() const {
    return state_ == subscription_state::subscribing || state_ == subscription_state::resubscribing;
}

void subscription::enter_subscribing() {
    state_ = is_subscribed() ? subscription_state::resubscribing : subscription_state::subscribing;
}

void subscription::leave_subscribing() {
    state_ = is_subscribed() ? subscription_state::subscribed : subscription_state::idle;
}

void subscription::process_connected() {
    timers_.cancel_timers(timer_subscribe);
    enter_subscribing();
    if (radios_are_served()) {
        start_subscribing();
    } else {
        log_debug(daemon_logger, "Waiting for hostapd to start before sending subscribe-request\n");
    }
}

void subscription::process_disconnected() {
    state_ = subscription_state::idle;
    flag_files::remove(flag_files::connected);
}

void subscription::process_subscribe_response(const json_reader& message) {
    const char* status = message.get_string("status");
    if (status == nullptr) return;

    timers_.cancel_timers(timer_subscribe);
    leave_subscribing();
    if (strcasecmp(status, "success") != 0) {
        if (message.get_int("code") != try_later_code) return;
        double_subscribe_delay();
        log_debug(daemon_logger, "Reconnect after %d sec\n", subscribe_delay_);
        enter_subscribing();
        arm_subscribe_timer();
        return;
    }

    state_ = subscription_state::subscribed;
    const char* domain = message.get_string("domain");
    if (domain != nullptr) messages_.take_domain(domain);
    const auto config = message.get_object("config");
    if (config.is_object()) settings_.apply_config(config);
    flag_files::create(flag_files::connected);
}

void subscription::process_started() {
    if (is_subscribing()) {
        log_debug(daemon_logger, "process_started : subscribing\n");
        timers_.cancel_timers(timer_subscribe);
        start_subscribing();
    } else if (is_subscribed()) {
        log_debug(daemon_logger, "process_started : subscribed\n");
        flag_files::remove(flag_files::config_updated);
        messages_.send_config_changed();
    }
}

void subscription::unsubscribe() {
    log_debug(daemon_logger, "Unsubscribe from RRM service\n");
    messages_.send_unsubscribe_request();
    messages_.send_unlink();
    flag_files::remove(flag_files::connected);
}

void subscription::process_config_updated() {
    if (is_subscribed()) messages_.send_config_changed();
}

// Reports a burst of changes once, a while after the last of them.
void subscription::handle_driver_event(const driver_event_desc& event) {
    if (!is_subscribed() || event.type != event_radio_changed) return;

    timers_.cancel_timers(timer_config_changed);
    timers_.add_timer([this] { config_changed_timer(); }, timer_config_changed,
                      config_changed_delay);
}

void subscription::config_changed_timer() {
    messages_.send_config_changed();
    timers_.cancel_timers(timer_config_changed);
}

void subscription::subscribe() {
    if (!radios_are_served()) {
        log_debug(daemon_logger, "Not sending subscribe-request because hostapd is not running\n");
        return;
    }
    log_debug(daemon_logger, "Subscribe to RRM service\n");
    messages_.send_subscribe_request();
}

void subscription::subscribe_retry() {
    timers_.cancel_timers(timer_subscribe);
    enter_subscribing();
    subscribe();
    double_subscribe_delay();
    arm_subscribe_timer();
}

// Sends the first request on a connection or after hostapd has started, and arms the retries.
void subscription::start_subscribing() {
    subscribe();
    subscribe_delay_ = first_subscribe_delay_;
    arm_subscribe_timer();
}

void subscription::arm_subscribe_timer() {
    timers_.add_timer([this] { subscribe_retry(); }, timer_subscribe, subscribe_delay_);
}

void subscription::double_subscribe_delay() {
    subscribe_delay_ = std::min(2 * subscribe_delay_, max_subscribe_delay);
}

// True when hostapd serves the radios, or widsd in sentry mode.
bool subscription::radios_are_served() { return drv_.is_initialized() || drv_.is_sentry_all(); }

}  // namespace rfcd
