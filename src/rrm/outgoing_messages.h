// Builds the messages to the RRM service and pushes them onto the queue to it. Each message starts
// with the envelope and the domain. While the queue is heavy because the service does not read, it
// drops messages and logs an error for each.
//
// Owned by the rrm_worker; lives as long as it does and runs on its thread.
#pragma once

#include <functional>
#include <string>

#include "driver/driver_interface.h"
#include "ipc/json_writer.h"
#include "rrm/radio_descriptions.h"
#include "workers/safe_queue.h"

namespace rfcd {

class outgoing_messages {
  public:
    // Adds the members that follow the radios. False when the message must not be sent.
    using add_members = std::function<bool(json_writer& message)>;

    // The driver and the queue outlive this object. `domain` is the RRM domain to start with.
    outgoing_messages(driver_interface& drv, safe_queue& out_queue, std::string domain);

    // Uses another domain from now on. Keeps the old one, and logs an error, when the new one is
    // longer than the configuration file allows.
    void take_domain(const std::string& domain);

    // Each sends one message, or nothing when a part of it cannot be made. Those that describe the
    // radios (all but the unsubscribe-request) throw when a configured number is not a number; see
    // the driver.
    void send_subscribe_request();
    void send_unsubscribe_request();
    void send_mode_response();
    void send_config_changed();
    // Sends the domain, the descriptions of all radios, and what `add` adds after them.
    void send_radios(const char* cmd, const add_members& add = nullptr);

    // Tells the link to drop the connection; does so even when the queue is heavy.
    void send_unlink();

  private:
    json_writer make_message(const char* cmd);
    void send(const json_writer& message);
    void add_factory(json_writer& message);

    driver_interface& drv_;
    safe_queue& out_queue_;
    std::string domain_;
    radio_descriptions radios_;
};

}  // namespace rfcd
