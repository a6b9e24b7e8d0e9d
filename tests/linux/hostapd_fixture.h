// A real hostapd without radios, for the system tests of what aplocald does with it, and a client
// of its control sockets.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "aplocald/event_loop.h"
#include "aplocald/unix_socket.h"
#include "harness/child_process.h"

namespace aplocal {

using namespace std::chrono_literals;

inline const std::string inner_socket = "/run/hostapd/global.hostapd";
inline const std::string outer_socket = "/run/hostapd/global";
inline constexpr const char* ft_record_file = "/run/aplocald-ft.json";

class control_client {
  public:
    // Has the abstract name that the kernel gives it, or this path.
    explicit control_client(const std::string& server, const std::string& path = {}) {
        const unix_address own = path.empty() ? unix_address() : unix_address(path);
        if (path.empty())
            socket_.bind_anywhere();
        else
            bind(socket_.descriptor(), own.raw(), own.size);
        socket_.connect(unix_address(server));
    }

    // Waits for room, as wpa_cli does.
    bool send(const std::string& command) const {
        auto result = unix_socket::outcome::full;
        lab::wait_until([&] {
            result = socket_.send(command);
            return result != unix_socket::outcome::full;
        });
        return result == unix_socket::outcome::sent;
    }
    // "nothing" when nothing comes in time.
    std::string receive(std::chrono::milliseconds time = 5s * TIME_SCALE) const {
        pollfd entry{socket_.descriptor(), POLLIN, 0};
        poll(&entry, 1, static_cast<int>(time.count()));
        return socket_.receive().value_or("nothing");
    }
    std::string ask(const std::string& command) const {
        return send(command) ? receive() : "refused";
    }

  private:
    unix_socket socket_;
};

class HostapdTest : public testing::Test {
  protected:
    HostapdTest() { start(); }
    ~HostapdTest() override {
        if (hostapd_) kill(SIGKILL);
        std::filesystem::remove_all("/run/hostapd");
        std::filesystem::remove("/run/hostapd.pid");
        std::filesystem::remove(ft_record_file);
    }

    // Two radios, wlan1 and wlan2, up when it returns.
    void start(const std::string& program = "hostapd") {
        std::filesystem::create_directories("/run/hostapd");
        std::vector<std::string> command{program, "-g", inner_socket, "-P", "/run/hostapd.pid"};
        for (const std::string ifname : {"wlan1", "wlan2"}) {
            command.push_back("/tmp/" + ifname + ".conf");
            lab::write_file(command.back(), "interface=" + ifname + configuration);
        }
        command.insert(command.begin() + 1, "-B");

        std::filesystem::remove("/run/hostapd.pid");  // of one that was killed
        lab::child_process(command, "/tmp/hostapd.out").wait();
        lab::wait_until([] { return !lab::read_file("/run/hostapd.pid").empty(); });
        hostapd_ = std::stoi(lab::read_file("/run/hostapd.pid"));
    }

    void kill(int signal) {
        ::kill(hostapd_, signal);
        if (signal != SIGKILL && signal != SIGTERM) return;
        lab::wait_until([this] { return ::kill(hostapd_, 0) != 0; });
        hostapd_ = 0;
    }

    pid_t hostapd_ = 0;

  private:
    static constexpr const char* configuration =
        "\ndriver=none\nctrl_interface=/run/hostapd\nrrm_neighbor_report=1\nssid=office\n"
        "hw_mode=a\nchannel=36\nwpa=2\nwpa_key_mgmt=WPA-PSK\nrsn_pairwise=CCMP\n"
        "wpa_passphrase=12345678\n";
};

// Runs a loop on a thread of its own, from here until it is destroyed.
class loop_thread {
  public:
    explicit loop_thread(event_loop& loop) : loop_(loop), thread_([&loop] { loop.run(); }) {}
    ~loop_thread() {
        loop_.stop();
        thread_.join();
    }

  private:
    event_loop& loop_;
    std::thread thread_;
};

}  // namespace aplocal
