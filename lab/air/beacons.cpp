#include "lab/air/beacons.h"

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

#include "lab/air/program.h"

namespace lab::air {

namespace {

constexpr std::array<std::uint8_t, 5> bssid_head{0x02, 0x00, 0x00, 0x00, 0xee};
constexpr std::uint8_t first_hostile = 200;

// Element identifiers and frame types: IEEE Std 802.11-2020, tables 9-92 and 9-1.
constexpr std::uint8_t ssid_element = 0;
constexpr std::uint8_t rates_element = 1;
constexpr std::uint8_t channel_element = 3;
constexpr std::uint8_t country_element = 7;
constexpr std::uint8_t ht_operation_element = 61;
constexpr std::uint8_t vht_operation_element = 192;
constexpr std::uint8_t extension_element = 255;
constexpr std::uint8_t he_operation_extension = 36;
constexpr std::uint8_t probe_request_type = 0x40;
constexpr std::uint8_t beacon_type = 0x80;

bytes element(std::uint8_t id, const bytes& body) {
    bytes all(body.size() + 2);
    all[0] = id;
    all[1] = static_cast<std::uint8_t>(body.size());
    std::copy(body.begin(), body.end(), all.begin() + 2);
    return all;
}

bytes name(const std::string& text) { return element(ssid_element, {text.begin(), text.end()}); }

bytes joined(const std::vector<bytes>& parts) {
    bytes all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

bytes rates() { return element(rates_element, {0x8c, 0x12, 0x98, 0x24, 0xb0, 0x48, 0x60, 0x6c}); }

}  // namespace

std::string bssid_of(const beacon& b) {
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "02:00:00:00:ee:%02x", b.number);
    return text.data();
}

bytes frame_of(const beacon& b) {
    bytes frame{0, 0, 8, 0, 0, 0, 0, 0};  // a radiotap header without fields
    const bytes everybody(6, 0xff);
    bytes bssid(bssid_head.begin(), bssid_head.end());
    bssid.push_back(b.number);

    const bytes control_and_duration{beacon_type, 0, 0, 0};
    const bytes sequence(2, 0);
    const bytes timestamp(8, 0);
    const bytes interval_and_capabilities{100, 0, 0x01, 0x00};
    const bytes body = joined({control_and_duration, everybody, bssid, bssid, sequence, timestamp,
                               interval_and_capabilities, b.elements});
    frame.insert(frame.end(), body.begin(), body.end());
    return frame;
}

std::vector<beacon> crowd(int count, std::uint8_t channel) {
    std::vector<beacon> all;
    for (int i = 1; i <= count; ++i) {
        all.push_back({.number = static_cast<std::uint8_t>(i),
                       .elements = joined({name("crowd " + std::to_string(i)), rates(),
                                           element(channel_element, {channel})})});
    }
    return all;
}

std::vector<beacon> hostile_beacons(std::uint8_t channel) {
    const bytes here = element(channel_element, {channel});
    const std::vector<bytes> rows{
        joined({name(R"(","rssi":99},{"bssid":"\)"), rates(), here}),
        joined({name("\x1b[2J\x1b]0;owned\x07\n\r%s%n"), rates(), here}),
        joined({name(std::string(32, '\xff')), rates(), here}),
        joined({name(std::string(32, '\0')), rates(), here}),
        joined({name(std::string(33, 'x')), rates(), here}),  // one byte too long
        joined({name(""), rates(), here}),
        joined({name("cut"), rates(), here, {ht_operation_element, 22, channel}}),
        joined({name("nothing in it"), rates(), here, element(ht_operation_element, {}),
                element(vht_operation_element, {}), element(extension_element, {})}),
        joined({name("no centre"), rates(), here, element(vht_operation_element, {1, 0, 0, 0, 0})}),
        joined({name("two widths"), rates(), here, element(ht_operation_element, bytes(22, 0xff)),
                element(vht_operation_element, {3, 255, 255, 255, 255})}),
        joined({name("half an operation"), rates(), here,
                element(extension_element, {he_operation_extension, 0xff, 0xff, 0xff})}),
        joined({name("short country"), rates(), here, element(country_element, {'D'})}),
        joined({name("twice"), name("a name"), rates(), here, here}),
        joined({{ssid_element, 200, 'x'}}),  // longer than the frame
    };

    std::vector<beacon> all;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        all.push_back(
            {.number = static_cast<std::uint8_t>(first_hostile + i), .elements = rows[i]});
    }
    return all;
}

beacon_sender::beacon_sender(const std::string& ifname, int frequency,
                             const std::vector<beacon>& beacons)
    : socket_(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_ALL))) {
    for (const auto& b : beacons) frames_.push_back(frame_of(b));
    run_well({"ip", "link", "set", ifname, "down"});
    run_well({"iw", "dev", ifname, "set", "type", "monitor"});
    run_well({"ip", "link", "set", ifname, "up"});
    run_well({"iw", "dev", ifname, "set", "freq", std::to_string(frequency)});

    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(if_nametoindex(ifname.c_str()));
    if (bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(socket_);
        throw std::runtime_error("cannot send from " + ifname);
    }
    thread_ = std::thread([this] { serve(); });
}

beacon_sender::~beacon_sender() {
    stopping_ = true;
    thread_.join();
    close(socket_);
}

// Takes everything that has come.
bool beacon_sender::hears_a_probe() const {
    constexpr std::size_t radiotap_length_at = 2;
    bool heard = false;
    std::array<std::uint8_t, 512> frame{};
    ssize_t size = 0;
    while ((size = recv(socket_, frame.data(), frame.size(), MSG_DONTWAIT)) > 4) {
        const std::size_t body = frame[radiotap_length_at];
        heard = heard || (body < static_cast<std::size_t>(size) && body < frame.size() &&
                          frame[body] == probe_request_type);
    }
    return heard;
}

void beacon_sender::serve() {
    constexpr std::chrono::milliseconds interval{100};
    auto due = std::chrono::steady_clock::now();
    while (!stopping_) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            due - std::chrono::steady_clock::now());
        pollfd readable{socket_, POLLIN, 0};
        poll(&readable, 1, std::max(0, static_cast<int>(left.count())));
        if (!hears_a_probe() && std::chrono::steady_clock::now() < due) continue;

        for (const auto& frame : frames_) send(socket_, frame.data(), frame.size(), 0);
        due = std::chrono::steady_clock::now() + interval;
    }
}

}  // namespace lab::air
