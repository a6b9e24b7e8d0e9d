// The simulated access point around the daemon: configuration store, network daemon, scan listener,
// radios with a scene, network devices, factory information, the system log, and a real hostapd
// with the real wpa_cli, and between these two the control proxy of aplocald. All of it lives in
// the sandbox's own /tmp, /run, /sys/class/net, /bin and /dev. There can be one in a sandbox.
#pragma once

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "lab/bus_peer.h"
#include "lab/local_daemons.h"

namespace lab {

// The scene file that the simulated radios read at every call. Safe from any thread.
class radio_scene_file {
  public:
    // Starts from a copy of the scene in `file`; throws std::runtime_error when there is none.
    explicit radio_scene_file(const std::string& file);

    // Sets a member of a radio's description, such as "channel" to "44".
    void set_radio(const std::string& name, const std::string& key, const std::string& value);
    // Replaces a top-level member by a JSON text, such as "faults" by "[]".
    void set(const std::string& name, const std::string& json_text);

  private:
    std::mutex lock_;  // guards the file
};

// Receives what processes of the access point write to the system log.
class system_log {
  public:
    explicit system_log(transcript& story);
    system_log(const system_log&) = delete;
    system_log& operator=(const system_log&) = delete;
    ~system_log();

    inbox<std::string>& lines() { return lines_; }

  private:
    void listen();

    transcript& story_;
    int socket_;
    inbox<std::string> lines_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

class access_point {
  public:
    static constexpr const char* board_mac = "00:11:22:33:44:50";

    // Everything except hostapd is up when it returns. The bus must be up before.
    explicit access_point(transcript& story);
    access_point(const access_point&) = delete;
    access_point& operator=(const access_point&) = delete;
    ~access_point();

    // Starts one hostapd for all VAPs that the store enables. With `notify`, tells the daemon by
    // the notify files, as the access point's own scripts do.
    void start_hostapd(bool notify = true);
    void stop_hostapd();
    // The neighbours that hostapd keeps for an interface, one a line.
    std::string neighbours(const std::string& ifname) const;
    // Gives hostapd a neighbour that nobody asked for, past the daemon.
    void plant_neighbour(const std::string& ifname, const std::string& bssid) const;
    // The arguments of every wpa_cli since the last call, one call a line.
    std::string take_commands();

    // Makes a network device appear, changes its state, or removes it.
    static void set_device(const std::string& name, bool up);
    static void remove_device(const std::string& name);
    // Creates /tmp/.skylark_notify_NAME and the master file.
    static void notify(const std::string& name);

    config_store store;
    radio_scene_file scene;
    system_log syslog;
    configd config;
    networkd network;
    bus_peer scan_listener;

  private:
    void apply(const std::string& ifname, const std::string& key, const std::string& value);
    std::vector<std::string> enabled_vaps() const;

    // The control proxy with a thread of its own; there while hostapd runs.
    class proxy_thread;

    transcript& story_;
    std::unique_ptr<proxy_thread> proxy_;
};

// The interface name that the system uses for a VAP: VAP 0 has the name of its radio.
std::string system_ifname(const std::string& vap_ifname);

}  // namespace lab
