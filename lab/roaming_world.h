// A roaming access point: the local bus with the daemon's peer, a cloud, and the daemon between
// them. Used by the scenario, the system tests and the benchmarks, each on its own thread.
#pragma once

#include <memory>
#include <string>

#include "lab/bus_peer.h"
#include "lab/cloud_service.h"
#include "lab/daemon.h"

namespace lab {

inline constexpr std::uint8_t bridge_module = 2;
inline constexpr std::uint8_t roaming_module = 3;
inline constexpr const char* roaming_path = "/roam";

// The message by which the daemon tells the bus about its link.
std::string link_notice(const std::string& command);

class roaming_world {
  public:
    struct options {
        unsigned initial_delay = 1;  // seconds
        unsigned max_delay = 1;
        std::string log_level = "15";
        bool start_daemon = true;
    };

    roaming_world(transcript& story, const options& chosen);

    daemon& start_daemon();
    // Waits for the connection and for the bus to hear of it, then empties the cloud's inbox.
    bool wait_linked(unsigned connections_so_far = 1);
    // The next message that peer 3 receives, apart from notices of the link; throws
    // std::runtime_error when none comes in time.
    std::string next_on_bus(milliseconds timeout = patience);
    bool bus_hears(const std::string& text, milliseconds timeout = patience);

    bus_broker broker;
    bus_peer peer;
    cloud_service cloud;
    std::unique_ptr<daemon> agent;

  private:
    transcript& story_;
    const options options_;
};

}  // namespace lab
