#include "lab/access_point.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "aplocald/control_proxy.h"
#include "aplocald/hostapd_text.h"
#include "harness/child_process.h"
#include "lab/json.h"
#include "radioctl/radio_scene.h"

namespace lab {

namespace {

constexpr std::uint8_t scan_listener_module = 34;
constexpr const char* hostapd_pid_file = "/run/hostapd.pid";
constexpr const char* command_list = "/tmp/wpa_cli.calls";
constexpr const char* control_socket = "/run/hostapd/global.hostapd";  // the proxy has the other
constexpr const char* wpa_cli = "/usr/sbin/wpa_cli";

void write_program(const std::string& path, const std::string& text) {
    std::filesystem::remove(path);  // never through a link
    write_file(path, text);
    chmod(path.c_str(), 0755);
}

// The name of the primary channel's place in an 80 MHz block.
std::string sideband_80(int channel, int first_channel_of_block) {
    constexpr const char* names[] = {"ll", "lu", "ul", "uu"};
    return names[((channel - first_channel_of_block) / 4) & 3];
}

std::string hostapd_configuration(const std::string& ifname, const std::string& ssid, bool band_2) {
    return "interface=" + ifname + "\ndriver=none\nctrl_interface=/var/run/hostapd\n" +
           "rrm_neighbor_report=1\nssid=" + ssid +
           (band_2 ? "\nhw_mode=g\nchannel=6\n" : "\nhw_mode=a\nchannel=36\n");
}

// The lab overwrites system files, so it refuses to run outside of the sandbox.
std::string sandboxed(std::string path) {
    require_sandbox();
    return path;
}

// Says something to hostapd itself, and returns its reply.
std::string ask_hostapd(const std::string& ifname, const std::string& command) {
    const std::string output = "/tmp/ask-hostapd.out";
    child_process({wpa_cli, "-g", control_socket, "raw", "IFNAME=" + ifname, command}, output)
        .wait();
    return read_file(output);
}

// Removes what an earlier access point of this sandbox and its daemon left behind.
void clear_leftovers() {
    std::filesystem::remove(command_list);
    std::filesystem::remove("/tmp/factory");  // empty when a daemon ran without an access point

    for (const auto& device : std::filesystem::directory_iterator("/sys/class/net")) {
        std::filesystem::remove_all(device);
    }
    for (const auto& file : std::filesystem::directory_iterator("/tmp")) {
        const bool flag = file.path().filename().string().starts_with(".skylark");
        if (flag) std::filesystem::remove(file);
    }
}

// The plain value that the store keeps as a JSON string; empty when it keeps none.
std::string plain(const std::optional<std::string>& stored) {
    const json value = parse_json(stored.value_or(""));
    return value.is_string() ? value.get<std::string>() : "";
}

// The radios never see half a file: it is written beside the scene and takes its place.
void write_scene(const json& scene) {
    const std::string next = std::string(standin::scene_path) + ".new";
    write_file(next, scene.dump(2));
    std::filesystem::rename(next, standin::scene_path);
}

}  // namespace

radio_scene_file::radio_scene_file(const std::string& file) {
    const json scene = parse_json(read_file(file));
    if (!scene.is_object()) throw std::runtime_error("no scene in " + file);

    std::filesystem::create_directories(std::filesystem::path(standin::scene_path).parent_path());
    write_scene(scene);
}

void radio_scene_file::set_radio(const std::string& name, const std::string& key,
                                 const std::string& value) {
    const std::lock_guard guard(lock_);
    json scene = parse_json(read_file(standin::scene_path));
    for (json& radio : scene["radios"]) {
        if (text_of(radio, "name") == name) radio[key] = value;
    }
    write_scene(scene);
}

void radio_scene_file::set(const std::string& name, const std::string& json_text) {
    const std::lock_guard guard(lock_);
    json scene = parse_json(read_file(standin::scene_path));
    scene[name] = parse_json(json_text);
    write_scene(scene);
}

system_log::system_log(transcript& story)
    : story_(story), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, "/dev/log", sizeof address.sun_path - 1);
    std::filesystem::remove(address.sun_path);
    if (bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("no system log in this sandbox");
    }

    const timeval moment{0, 50'000};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &moment, sizeof moment);
    thread_ = std::thread([this] { listen(); });
}

system_log::~system_log() {
    stopping_ = true;
    thread_.join();
    close(socket_);
}

void system_log::listen() {
    while (!stopping_) {
        char line[2048];
        const ssize_t size = recv(socket_, line, sizeof line, 0);
        if (size <= 0) continue;

        // "<30>Nov 22 10:00:00 RFCD[7]: text"
        std::string text(line, static_cast<std::size_t>(size));
        const auto head = text.find("RFCD[");
        if (head != std::string::npos) text.erase(0, head);

        story_.add("syslog", "", shortened(text));
        lines_.put(text);
    }
}

class access_point::proxy_thread {
  public:
    proxy_thread() : proxy_(loop_, {}), thread_([this] { loop_.run(); }) {}
    proxy_thread(const proxy_thread&) = delete;
    proxy_thread& operator=(const proxy_thread&) = delete;
    ~proxy_thread() {
        loop_.stop();
        thread_.join();
    }

  private:
    aplocal::event_loop loop_;
    aplocal::control_proxy proxy_;  // used by the thread alone while it runs
    std::thread thread_;
};

access_point::access_point(transcript& story)
    : store(sandboxed(std::string(LAB_DATA) + "/store.json")),
      scene(std::string(LAB_DATA) + "/scene.json"),
      syslog(story),
      config(story, store),
      network(story, [this](const auto& i, const auto& k, const auto& v) { apply(i, k, v); }),
      scan_listener(story, "peer 34", scan_listener_module),
      story_(story) {
    clear_leftovers();

    for (const auto& vap : enabled_vaps()) set_device(system_ifname(vap), true);

    write_program("/bin/factory", std::string("#!/bin/sh\n"
                                              "echo 'Board: AP-3000'\n"
                                              "echo 'HW Rev: 2.1'\n"
                                              "echo 'Serial: SN00420042'\n"
                                              "echo 'MAC: ") +
                                      board_mac + "'\n");
    write_program("/bin/wpa_cli", std::string("#!/bin/sh\n"
                                              "echo \"$*\" >> ") +
                                      command_list + "\nexec " + wpa_cli + " \"$@\"\n");

    write_file("/var/run/hostapd-channels-wlan0", "1 2 3 4 5 6 7 8 9 10 11 12 13\n");
    write_file("/var/run/hostapd-channels-wlan2", "1 5 9 13 17 21 25 29 33 37 41 45 49 53\n");
    scan_listener.narrate(false);
}

access_point::~access_point() { stop_hostapd(); }

std::vector<std::string> access_point::enabled_vaps() const {
    std::vector<std::string> names;
    for (int radio = 0; radio < 3; ++radio) {
        for (int vap = 0; vap < 16; ++vap) {
            std::string name = "wlan" + std::to_string(radio) + "-vap" + std::to_string(vap);
            if (plain(store.get("/interface/" + name + "/common/enabled")) == "true") {
                names.push_back(std::move(name));
            }
        }
    }
    return names;
}

void access_point::start_hostapd(bool tell) {
    std::filesystem::create_directories("/run/hostapd");
    std::vector<std::string> command{
        "hostapd", "-B", "-g", control_socket, "-P", hostapd_pid_file, "-f", "/tmp/hostapd.log"};
    for (const auto& vap : enabled_vaps()) {
        const std::string ifname = system_ifname(vap);
        const std::string path = "/tmp/hostapd-" + ifname + ".conf";
        write_file(
            path, hostapd_configuration(ifname, plain(store.get("/interface/" + vap + "/vap/ssid")),
                                        ifname.starts_with("wlan0")));
        command.push_back(path);
    }

    child_process starter(command, "/tmp/hostapd.out");
    const bool up =
        starter.wait() == 0 && wait_until([] { return !read_file(hostapd_pid_file).empty(); });
    if (!up) throw std::runtime_error("hostapd did not start: " + read_file("/tmp/hostapd.log"));

    proxy_ = std::make_unique<proxy_thread>();
    story_.add("hostapd", "", "started, " + std::to_string(command.size() - 8) + " VAPs");
    if (tell) notify("hostapd_started");
}

void access_point::stop_hostapd() {
    const auto pid = static_cast<pid_t>(std::atol(read_file(hostapd_pid_file).c_str()));
    proxy_.reset();
    if (pid <= 0) return;

    kill(pid, SIGTERM);
    wait_until([] { return !std::filesystem::exists(hostapd_pid_file); });
    story_.add("hostapd", "", "stopped");
}

std::string access_point::neighbours(const std::string& ifname) const {
    return ask_hostapd(ifname, "SHOW_NEIGHBOR");
}

void access_point::plant_neighbour(const std::string& ifname, const std::string& bssid) const {
    ask_hostapd(ifname, "SET_NEIGHBOR " + bssid + " ssid=6f6c64 nr=" + aplocal::mac_digits(bssid) +
                            "631800007324090603002400");
}

std::string access_point::take_commands() {
    std::string commands = read_file(command_list);
    std::filesystem::remove(command_list);
    return commands;
}

void access_point::set_device(const std::string& name, bool up) {
    const std::string folder = "/sys/class/net/" + name;
    std::filesystem::create_directories(folder);
    write_file(folder + "/flags", up ? "0x1003\n" : "0x1002\n");
}

void access_point::remove_device(const std::string& name) {
    std::filesystem::remove_all("/sys/class/net/" + name);
}

void access_point::notify(const std::string& name) {
    write_file("/tmp/.skylark_notify_" + name, "");
    write_file("/tmp/.skylark_notify", "");
}

// What networkd does with a setting: changes the store, and moves the radio.
void access_point::apply(const std::string& ifname, const std::string& key,
                         const std::string& value) {
    store.set("/interface/" + ifname + "/wlan/radio/" + key, value);

    if (key == "channel") scene.set_radio(ifname, "channel", value);
    if (key == "bandwidth") {
        scene.set_radio(ifname, "width", value);
        // In the 5 and 6 GHz bands, blocks of 80 MHz begin every 16 numbers (from 36, 149 and 1).
        const int channel =
            std::stoi(plain(store.get("/interface/" + ifname + "/wlan/radio/channel")));
        const int first = ifname == "wlan2" ? 1 : channel >= 149 ? 149 : 36;
        scene.set_radio(ifname, "sideband", value == "80" ? sideband_80(channel, first) : "none");
    }
    if (key == "control-sideband") scene.set_radio(ifname, "sideband", value);
}

std::string system_ifname(const std::string& vap_ifname) {
    const bool first = vap_ifname.ends_with("-vap0");
    return first ? vap_ifname.substr(0, vap_ifname.size() - 5) : vap_ifname;
}

}  // namespace lab
