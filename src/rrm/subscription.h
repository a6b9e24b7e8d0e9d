// The access point's subscription to the RRM service: asks for it, repeats the request until the
// service answers, and reports changes to the service while it is subscribed.
//
// Owned by the rrm_worker; lives as long as it does and runs on its thread.
//
//   event                        subscribing   subscribed   the request is repeated
//   connected                    yes           unchanged    after 30, 60, 120, 120... seconds
//   answer "success"             no            yes          no
//   answer with code 503         yes           unchanged    after the doubled delay, then as above
//   answer with another code     no            unchanged    no
//   disconnected                 no            no           no
//
// So a service that answers 503 after "success" gets both requests and reports of changes.
//
// Every subscribe-request and every report describes the radios, and so throws when a configured
// number is not a number; see the driver.
#pragma once

#include <cstdint>

#include "driver/driver_interface.h"
#include "ipc/json_reader.h"
#include "rrm/outgoing_messages.h"
#include "rrm/radio_settings.h"
#include "rrm/rrm_status.h"
#include "workers/timer_list.h"

namespace rfcd {

class subscription {
  public:
    // The parts of the worker that it uses. All four outlive this object.
    struct members {
        driver_interface& drv;
        timer_list& timers;
        outgoing_messages& messages;
        radio_settings& settings;
    };

    // `subscribe_delay` is the time until the first repetition, in seconds.
    subscription(const members& worker, std::int32_t subscribe_delay);
    subscription(const subscription&) = delete;
    subscription& operator=(const subscription&) = delete;

    // The link is up: asks at once if the radios are served, otherwise later in process_started().
    void process_connected();
    // The link is gone. The worker has cancelled all timers.
    void process_disconnected();
    // The service has answered. Throws what applying the settings in the answer throws.
    void process_subscribe_response(const json_reader& message);
    // hostapd or widsd has started: asks again while subscribing, otherwise reports the change if
    // subscribed.
    void process_started();

    subscription_state state() const { return state_; }

    // Unsubscribes and tells the link to drop the connection. The state does not change until the
    // link reports the loss. The worker has cancelled all timers.
    void unsubscribe();

    // Reports the changed configuration of the access point when subscribed.
    void process_config_updated();
    // Reports a change of the radios 10 seconds after the last event, when subscribed.
    void handle_driver_event(const driver_event_desc& event);

  private:
    bool is_subscribed() const;
    bool is_subscribing() const;
    void enter_subscribing();
    void leave_subscribing();

    void subscribe();
    void subscribe_retry();
    void start_subscribing();
    void arm_subscribe_timer();
    void double_subscribe_delay();
    void config_changed_timer();
    bool radios_are_served();

    driver_interface& drv_;
    timer_list& timers_;
    outgoing_messages& messages_;
    radio_settings& settings_;
    subscription_state state_ = subscription_state::idle;
    const std::int32_t first_subscribe_delay_;  // seconds
    std::int32_t subscribe_delay_;              // seconds until the next repetition
};

}  // namespace rfcd
