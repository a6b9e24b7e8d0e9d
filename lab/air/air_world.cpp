#include "lab/air/air_world.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace lab::air {

namespace {

constexpr const char* hall_network = "hall";
constexpr const char* factory_program =
    "#!/bin/sh\n"
    "echo 'Board: AP-3000'\n"
    "echo 'HW Rev: 2.1'\n"
    "echo 'Serial: SN00420042'\n"
    "echo 'MAC: 02:11:22:33:44:50'\n";

void type(const std::string& line) { run_well({"sh", "-c", line}); }

// The kernel reads the rules of a country in the background.
void set_country(const std::string& country) {
    run_well({"iw", "reg", "set", country});
    const bool known = wait_until([&] {
        return run_well({"iw", "reg", "get"}).find("country " + country) != std::string::npos;
    });
    if (!known) throw std::runtime_error("the kernel does not know the rules of " + country);
}

void move_radio(const std::string& ifname, const std::string& network) {
    const std::string phy = read_file("/sys/class/net/" + ifname + "/phy80211/name");
    run_well({"iw", "phy", phy.substr(0, phy.find('\n')), "set", "netns", "name", network});
}

void make_networks() {
    for (const char* network : {hall_network, station::network}) {
        run_well({"ip", "netns", "add", network});
        run_well(in_namespace(network, {"ip", "link", "set", "lo", "up"}));
    }
    for (const char* radio : {"wlan3", "wlan4", "wlan5"}) move_radio(radio, hall_network);
    move_radio(station::ifname, station::network);
    run_well(in_namespace(station::network,
                          {"ip", "address", "add", "10.77.0.3/24", "dev", station::ifname}));
}

// Both access points have a bridge, with the cable between them.
void connect_access_points() {
    type("ip link add br0 type bridge && ip address add 10.77.0.1/24 dev br0");
    type("ip link add cable type veth peer name cable netns hall");
    type("ip link set cable master br0 up && ip link set br0 up");
    type(
        "ip -n hall link add br0 type bridge && ip -n hall link set cable master br0 up &&"
        " ip -n hall link set br0 up");
}

transcript& prepared(transcript& story) {
    require_machine();
    std::filesystem::create_directories("/run/hostapd");
    std::filesystem::remove("/tmp/factory");
    write_file("/bin/factory", factory_program);
    chmod("/bin/factory", 0755);

    set_country("DE");
    for (int radio = 0; radio < 3; ++radio) {
        run_well(
            {"ip", "link", "set", "wlan" + std::to_string(radio), "address", vap_mac(radio, 0)});
    }
    make_networks();
    connect_access_points();
    return story;
}

}  // namespace

void require_machine() {
    if (access("/run/.air", F_OK) != 0) {
        throw std::runtime_error("this runs in the virtual machine of tools/run air only");
    }
}

std::string vap_mac(int radio, int vap) {
    constexpr int last_byte = 0x50;
    char mac[18];
    std::snprintf(mac, sizeof mac, "02:11:22:33:44:%02x", last_byte + 16 * radio + vap);
    return mac;
}

air_world::air_world(transcript& story)
    : broker(prepared(story)),
      cloud(story),
      syslog(story),
      office(story, {.name = "office",
                     .network = "",
                     .control = "/run/hostapd",
                     .interfaces = {"wlan0", "wlan1", "wlan2"},
                     .file_prefix = "",
                     .options = {"-g", "/run/hostapd/global.hostapd", "-P", "/run/hostapd.pid"}}),
      hall(story, {.name = "hall",
                   .network = hall_network,
                   .control = "/run/hall",
                   .interfaces = {"wlan3", "wlan4", "wlan5"},
                   .file_prefix = "hall-",
                   .options = {}}),
      laptop(story) {}

interface_view air_world::look_at(const std::string& ifname) {
    return read_interface(run_well({"iw", "dev", ifname, "info"}));
}

std::map<std::string, heard_view> air_world::hear(const std::string& ifname,
                                                  const words& frequencies) {
    words command{"iw", "dev", ifname, "scan", "ap-force", "freq"};
    command.insert(command.end(), frequencies.begin(), frequencies.end());
    return read_scan(run_well(command));
}

}  // namespace lab::air
