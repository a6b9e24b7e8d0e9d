// A whole access point whose daemon is the client of a cloud's RRM or WIDS service. Used by the
// scenarios, the system tests and the benchmarks, each on its own thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "lab/access_point.h"
#include "lab/cloud_service.h"
#include "lab/daemon.h"

namespace lab {

// The next message that the service received with this "cmd"; drops those before it. Throws
// std::runtime_error when none comes in time.
std::string expect_message(cloud_service& cloud, const std::string& cmd,
                           milliseconds timeout = patience);

inline constexpr const char* rrm_domain = "building-7";
inline constexpr const char* mac_list = "list-of-building-7";

class service_world {
  public:
    enum class service { rrm, wids };

    // Everything except hostapd and the daemon is up when it returns.
    service_world(transcript& story, service which);

    // Starts the daemon. The settings in `more` are added to those of the service, or replace them.
    daemon& start_daemon(const daemon::settings& more = {},
                         const std::vector<std::string>& prefix = {});
    // Starts hostapd and the daemon, and accepts its subscription; then empties the cloud's inbox.
    // Throws std::runtime_error when the daemon does not subscribe.
    void subscribe(const std::vector<std::string>& prefix = {});

    // As expect_message(), of this world's service.
    std::string expect(const std::string& cmd, milliseconds timeout = patience);
    // True when no message with this "cmd" comes within `time`.
    bool stays_away(const std::string& cmd, milliseconds time);
    // Sends a message and waits until the daemon has acted on it: asks for the mode behind it and
    // returns that response.
    std::string send_and_settle(const std::string& message);

    bus_broker broker;
    access_point point;
    cloud_service cloud;
    std::unique_ptr<daemon> agent;

  private:
    transcript& story_;
    const service service_;
};

// Messages of the RRM service.
namespace message {

std::string rrm(const std::string& cmd, const std::string& rest = "",
                const std::string& version = "2.4");
std::string subscribed(const std::string& config = "");
std::string try_later();
// Channels as the service writes them: "1 6 11".
struct channel_lists {
    std::string band_2 = "1";
    std::string band_5 = "36";
    std::string band_6 = "5";
};
std::string update(bool active, int delay = 0, const channel_lists& channels = {});
std::string request_mode();
// Moves a radio to a channel and sets its power.
std::string move_radio(int radio, int channel, int bandwidth, const std::string& primary,
                       int power);
// One neighbour for the VAPs with SSID "office" of a band.
std::string neighbour(const std::string& mac, int channel, int band);
// Switches fast transition on or off.
std::string use_80211r(bool on);
std::string fast_transition(int radio, int vap, int remotes);

}  // namespace message

bool is_connected_flag_set();

}  // namespace lab
