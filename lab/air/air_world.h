// The whole house in the virtual machine: an access point with three radios and the daemon under
// test, a second access point in the hall, and a laptop; each has a network namespace of its own,
// except the access point under test. A cable connects the two access points. Used on the
// scenario's thread. There can be one in a machine.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "lab/access_point.h"
#include "lab/air/hostapd.h"
#include "lab/air/iw_output.h"
#include "lab/air/station.h"
#include "lab/cloud_service.h"
#include "lab/daemon.h"

namespace lab::air {

class air_world {
  public:
    static constexpr const char* board_mac = "02:11:22:33:44:50";
    static constexpr const char* address = "10.77.0.1";  // of the access point on its bridge

    // Gives the radios their owners and connects them; starts nothing that speaks.
    explicit air_world(transcript& story);

    // What iw tells of an interface of the access point under test, and hears on its radio.
    static interface_view look_at(const std::string& ifname);
    enum class scan { active, passive };
    static std::map<std::string, heard_view> hear(const std::string& ifname,
                                                  const words& frequencies, scan kind);

    // Gives the radios in the hall powers of their own, so that each is heard with another signal.
    static void set_hall_powers();
    // Starts aplocald, with a store of its own.
    void start_local_daemons();
    // The command as it runs with the kernel's radios instead of those of a scene.
    static words with_radio_library(const words& command);
    // Starts the daemon, with the kernel's radios.
    void start_daemon();
    // The next message of the daemon with this "cmd"; drops those before it. Throws
    // std::runtime_error when none comes in time.
    std::string expect(const std::string& cmd, milliseconds timeout = patience);

    bus_broker broker;
    cloud_service cloud;
    system_log syslog;
    hostapd office;
    hostapd hall;
    station laptop;
    std::unique_ptr<child_process> local;  // aplocald
    std::unique_ptr<daemon> agent;

  private:
    transcript& story_;
};

// Listens to the kernel's events about scans, from here until it is asked.
class scan_clock {
  public:
    scan_clock();
    // The scans of an interface so far, in milliseconds each. It listens no more.
    std::vector<int> stop(const std::string& ifname);

  private:
    std::unique_ptr<child_process> process_;
};

// The address of the access point's VAP: the radios' addresses are 16 apart.
std::string vap_mac(int radio, int vap);

// Throws std::runtime_error outside of the virtual machine of tools/run air.
void require_machine();

}  // namespace lab::air
