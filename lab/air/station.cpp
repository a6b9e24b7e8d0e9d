#include "lab/air/station.h"

#include <csignal>
#include <cstdio>

#include "lab/air/control.h"
#include "lab/air/program.h"

namespace lab::air {

namespace {

constexpr const char* log_path = "/tmp/laptop.log";
constexpr auto roam_limit = 4s;
constexpr auto scan_limit = 4s;
constexpr int roam_attempts = 3;
const std::string frequencies = "5180,5200,5220,5240";  // of the networks that it knows
constexpr const char* ping_path = "/tmp/ping.out";

}  // namespace

void station::start() {
    process_ = std::make_unique<child_process>(
        in_namespace(network, {"wpa_supplicant", "-t", "-i", ifname, "-D", "nl80211", "-c",
                               std::string(LAB_DATA) + "/air/laptop.conf"}),
        log_path);
    await([this] { return status("wpa_state") == "COMPLETED"; });
    story_.add("laptop", "", "connected to " + status("bssid"));
}

std::string station::ask(const std::string& command) const {
    return ask_control(std::string("/run/laptop/") + ifname, command);
}

std::string station::status(const std::string& name) const { return value_of(ask("STATUS"), name); }

bool station::is_connected_to(const std::string& bssid) const {
    const std::string now = ask("STATUS");
    return value_of(now, "wpa_state") == "COMPLETED" && value_of(now, "bssid") == bssid;
}

bool station::wait_log(const std::string& text, std::size_t since, milliseconds timeout) const {
    return await([&] { return log_since(since).find(text) != std::string::npos; }, timeout);
}

bool station::connect(const std::string& bssid) {
    // A handshake that is cut short counts as one with a wrong key, after which it waits for 10 s.
    await([this] { return status("wpa_state") == "COMPLETED"; }, roam_limit);
    ask("DISCONNECT");
    ask("BSSID_IGNORE clear");
    ask("SET_NETWORK 0 bssid " + bssid);
    ask("RECONNECT");
    const bool there = await([&] { return is_connected_to(bssid); });

    ask("SET_NETWORK 0 bssid any");
    story_.add("laptop", "", there ? "connected to " + bssid : "did not connect to " + bssid);
    return there;
}

// A fast transition needs what the access point says of itself now. The first one may take more
// time than the station has, because the access points only then get to know each other.
bool station::roam(const std::string& bssid, way over) {
    bool there = false;
    for (int attempt = 0; !there && attempt < roam_attempts; ++attempt) {
        ask("BSS_FLUSH 0");
        ask("SCAN freq=" + frequencies);
        await([&] { return !value_of(ask("BSS " + bssid), "bssid").empty(); }, scan_limit);
        ask((over == way::air ? "ROAM " : "FT_DS ") + bssid);
        there = await([&] { return is_connected_to(bssid); }, roam_limit);
    }

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
    const auto line = output.rfind('\n', output.find(" packets transmitted"));
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
