// aplocald put together: the parts and who calls whom. Main owns it; it lives as long as the
// process serves.
//
//   bus module 1, 6 --> local_services --> store, live_values --> hostapd_view, radios
//                                      --> radio_settings     --> hostapd, radios
//                                      --> hostapd_requests   --> hostapd
//   bus module 34   --> nobody: takes the scan notices, so that they do not count as lost
//   hostapd_watch   --> control_proxy, channel_files, the daemon's notify files
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "aplocald/bus_module.h"
#include "aplocald/channel_files.h"
#include "aplocald/configuration.h"
#include "aplocald/control_proxy.h"
#include "aplocald/event_loop.h"
#include "aplocald/hostapd_control.h"
#include "aplocald/hostapd_requests.h"
#include "aplocald/hostapd_view.h"
#include "aplocald/hostapd_watch.h"
#include "aplocald/live_values.h"
#include "aplocald/local_services.h"
#include "aplocald/only_instance.h"
#include "aplocald/radio_settings.h"
#include "aplocald/radios.h"
#include "aplocald/store.h"
#include "nl80211/events.h"

namespace aplocal {

class daemon {
  public:
    // `when_ready` is called once, when all modules are on the bus. Throws an exception of the
    // standard library when another instance runs, when the store is bad, or when the system
    // refuses a descriptor.
    daemon(event_loop& loop, const configuration& config, std::function<void()> when_ready);
    daemon(const daemon&) = delete;
    daemon& operator=(const daemon&) = delete;
    ~daemon();

  private:
    local_services::parts service_parts();
    hostapd_watch::callbacks watch_callbacks();
    hostapd_control::reply ask_hostapd(const std::string& command);
    std::optional<std::string> take_mac_lists(json_object* request);
    std::optional<std::string> give_deny_list();
    void restore_deny_list();
    void hostapd_started();
    void hostapd_stopped();
    void hostapd_changed();
    void watch_regulatory_domain();
    void note_joined(std::uint8_t module);

    event_loop& loop_;
    const configuration config_;
    const std::function<void()> when_ready_;
    const only_instance instance_;
    store stored_;
    std::optional<hostapd_control> hostapd_;
    hostapd_view view_;
    std::unique_ptr<radios> kernel_;
    live_values live_;
    channel_files channels_;
    std::unique_ptr<nl80211::events> kernel_events_;
    radio_settings settings_;
    hostapd_requests requests_;
    local_services services_;
    std::unique_ptr<control_proxy> proxy_;  // while hostapd runs
    hostapd_watch watch_;
    std::set<std::string> up_;       // interfaces of hostapd, when the daemon was last told
    std::set<std::uint8_t> joined_;  // modules that have been on the bus
    bus_module configd_;
    bus_module networkd_;
    bus_module scan_listener_;
};

}  // namespace aplocal
