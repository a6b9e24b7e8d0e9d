// A laptop: a station under the real wpa_supplicant, with an address of its own in a network
// namespace of its own. Used on the scenario's thread.
#pragma once

#include <memory>
#include <string>

#include "harness/child_process.h"
#include "lab/transcript.h"

namespace lab::air {

class station {
  public:
    static constexpr const char* network = "laptop";  // its network namespace
    static constexpr const char* ifname = "wlan6";

    explicit station(transcript& story) : story_(story) {}

    void start();
    // The reply of wpa_supplicant to a command.
    std::string ask(const std::string& command) const;
    std::string status(const std::string& name) const;
    bool is_connected_to(const std::string& bssid) const;

    // The lines of its log, which has all its events, from a place on.
    std::size_t log_size() const { return log().size(); }
    std::string log_since(std::size_t place) const { return log().substr(place); }
    bool wait_log(const std::string& text, std::size_t since,
                  milliseconds timeout = patience) const;

    // Leaves its network and connects to this access point anew; false when it does not in time.
    bool connect(const std::string& bssid);
    // How it authenticates with the access point that it roams to: by itself, or through the one
    // that it is connected to, which is for fast transition only.
    enum class way { air, distribution_system };
    // Roams to an access point of its network; false when it is not connected there in time.
    bool roam(const std::string& bssid, way over = way::air);

  private:
    static std::string log() { return read_file("/tmp/laptop.log"); }

    transcript& story_;
    std::unique_ptr<child_process> process_;
};

// Packets that a ping sent and that were not answered.
struct ping_count {
    int sent = 0;
    int lost = 0;
};

// Pings in the background from the station, every 100 ms, until it is asked for its count.
class ping {
  public:
    explicit ping(const std::string& address);
    ping_count stop();

  private:
    std::unique_ptr<child_process> process_;
};

}  // namespace lab::air
