#include "lab/air/air_world.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "lab/air/control.h"
#include "lab/service_world.h"

namespace lab::air {

namespace {

constexpr const char* hall_network = "hall";
constexpr auto scan_limit = 5s;
constexpr auto start_of_iw = 1s;
constexpr const char* scan_events = "/tmp/scan-events.out";
constexpr int scan_attempts = 4;
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
    const bool known = await([&] {
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
                     .pid_file = "/run/hostapd.pid",
                     .options = {"-g", "/run/hostapd/global.hostapd"}}),
      hall(story, {.name = "hall",
                   .network = hall_network,
                   .control = "/run/hall",
                   .interfaces = {"wlan3", "wlan4", "wlan5"},
                   .file_prefix = "hall-",
                   .pid_file = "/run/hall.pid",
                   .options = {}}),
      laptop(story),
      story_(story) {}

interface_view air_world::look_at(const std::string& ifname) {
    return read_interface(run_well({"iw", "dev", ifname, "info"}));
}

std::map<std::string, heard_view> air_world::hear(const std::string& ifname,
                                                  const words& frequencies, scan kind) {
    words command{"iw", "dev", ifname, "scan", "ap-force", "freq"};
    command.insert(command.end(), frequencies.begin(), frequencies.end());
    if (kind == scan::passive) command.emplace_back("passive");

    // iw begins to listen after it has asked for the scan. When the scan ends before that, it waits
    // for ever.
    for (int attempt = 1; attempt < scan_attempts; ++attempt) {
        if (const auto heard = run(command, scan_limit); heard.status == 0) {
            return read_scan(heard.output);
        }
    }
    return read_scan(run_well(command, scan_limit));
}

// iw does not tell when it listens.
scan_clock::scan_clock()
    : process_(std::make_unique<child_process>(words{"stdbuf", "-oL", "iw", "event", "-t"},
                                               scan_events)) {
    std::this_thread::sleep_for(start_of_iw);
}

std::vector<int> scan_clock::stop(const std::string& ifname) {
    process_->stop();
    return read_scan_times(read_file(scan_events), ifname);
}

void air_world::set_hall_powers() {
    constexpr struct {
        const char* ifname;
        const char* mbm;  // hundredths of a dBm
    } powers[] = {{"wlan3", "1000"}, {"wlan4", "1600"}, {"wlan5", "400"}};
    for (const auto& [ifname, mbm] : powers) {
        run_well(in_namespace(hall_network, {"iw", "dev", ifname, "set", "txpower", "fixed", mbm}));
    }
}

void air_world::start_local_daemons() {
    std::filesystem::copy(LAB_DATA "/air/store.json", "/tmp/store.json");
    local = std::make_unique<child_process>(
        words{APLOCALD_BINARY, "-f", LAB_DATA "/air/aplocald.conf"}, "/tmp/aplocald.out");
    story_.add("aplocald", "", "started, process " + std::to_string(local->pid()));
}

words air_world::with_radio_library(const words& command) {
    words longer{"env", "LD_LIBRARY_PATH=" RADIO_LIBRARY_FOLDER};
    longer.insert(longer.end(), command.begin(), command.end());
    return longer;
}

void air_world::start_daemon() {
    const daemon::settings lines{
        {"log_level", "15"},
        {"ap_location", rrm_domain},
        {"initial_connection_delay", "1"},
        {"max_connection_delay", "1"},
        {"skylark_service_url", loopback_url(cloud.port(), "/skylark")},
    };
    access_point::notify("hostapd_started");  // as the daemon's unit does when hostapd runs
    agent = std::make_unique<daemon>(story_, lines, with_radio_library({}));
}

std::string air_world::expect(const std::string& cmd, milliseconds timeout) {
    return expect_message(cloud, cmd, timeout);
}

}  // namespace lab::air
