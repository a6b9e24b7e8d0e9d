#include "lab/air/station.h"

#include <csignal>
#include <cstdio>

#include "lab/air/hostapd.h"
#include "lab/air/program.h"

namespace lab::air {

namespace {

constexpr const char* log_path = "/tmp/laptop.log";
constexpr const char* ping_path = "/tmp/ping.out";

}  // namespace

void station::start() {
    process_ = std::make_unique<child_process>(
        in_namespace(network, {"wpa_supplicant", "-t", "-i", ifname, "-D", "nl80211", "-c",
                               LAB_DATA "/air/laptop.conf"}),
        log_path);
    wait_until([this] { return status("wpa_state") == "COMPLETED"; });
    story_.add("laptop", "", "connected to " + status("bssid"));
}

std::string station::ask(const std::string& command) const {
    return run(in_namespace(network,
                            {"wpa_cli", "-p", "/run/laptop", "-i", ifname, "raw", command}))
        .output;
}

std::string station::status(const std::string& name) const { return value_of(ask("STATUS"), name); }

bool station::is_connected_to(const std::string& bssid) const {
    const std::string now = ask("STATUS");
    return value_of(now, "wpa_state") == "COMPLETED" && value_of(now, "bssid") == bssid;
}

bool station::wait_log(const std::string& text, std::size_t since, milliseconds timeout) const {
    return wait_until([&] { return log_since(since).find(text) != std::string::npos; }, timeout);
}

bool station::roam(const std::string& bssid) {
    ask("ROAM " + bssid);
    const bool there = wait_until([&] { return is_connected_to(bssid); }, 5s);
    story_.add("laptop", "", there ? "roamed to " + bssid : "did not roam to " + bssid);
    return there;
}

ping::ping(const std::string& address)
    : process_(std::make_unique<child_process>(
          in_namespace(station::network, {"ping", "-n", "-i", "0.1", "-W", "1", address}),
          ping_path)) {}

ping_count ping::stop() {
    process_->signal(SIGINT);
    process_->wait();

    const std::string output = read_file(ping_path);
    const auto line = output.rfind("\n", output.find(" packets transmitted"));
    ping_count count;
    int received = 0;
    if (line != std::string::npos) {
        std::sscanf(output.c_str() + line, " %d packets transmitted, %d received", &count.sent,
                    &received);
    }
    count.lost = count.sent - received;
    return count;
}

}  // namespace lab::air
