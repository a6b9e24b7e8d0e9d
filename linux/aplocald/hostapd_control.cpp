#include "aplocald/hostapd_control.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <wpa_ctrl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace aplocal {

namespace {

using std::chrono::steady_clock;

// hostapd replies with up to 4096 bytes; its events are shorter.
constexpr std::size_t max_datagram = 8192;

// Waits until poll() reports one of `events`, or an error, which the next call shows.
bool wait_for(int descriptor, short events, steady_clock::time_point deadline) {
    while (true) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
        pollfd entry{descriptor, events, 0};
        const int ready = poll(&entry, 1, static_cast<int>(std::max<long>(left.count(), 0)));

        if (ready > 0) return true;
        if (ready == 0) return false;
        if (errno != EINTR) return false;
    }
}

bool would_block() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

}  // namespace

void hostapd_control::closer::operator()(wpa_ctrl* connection) const { wpa_ctrl_close(connection); }

hostapd_control::hostapd_control(const std::string& socket_path) : path_(socket_path) {}

std::optional<hostapd_control> hostapd_control::open(const std::string& socket_path) {
    hostapd_control control(socket_path);
    if (!control.connect()) return std::nullopt;
    return control;
}

bool hostapd_control::connect() {
    connection_.reset(wpa_ctrl_open(path_.c_str()));
    if (!connection_) return false;

    fcntl(descriptor(), F_SETFD, FD_CLOEXEC);
    return true;
}

int hostapd_control::descriptor() const {
    return connection_ ? wpa_ctrl_get_fd(connection_.get()) : -1;
}

hostapd_control::reply hostapd_control::request(const std::string& command,
                                                std::chrono::milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    if (!connection_ && !connect()) return {reply::kind::gone, {}};

    outcome sent = send(command, deadline);
    if (sent == outcome::refused) {  // hostapd was started anew since the last request
        if (!connect()) return {reply::kind::gone, {}};
        sent = send(command, deadline);
    }

    std::string text;
    const outcome got = sent == outcome::done ? receive(text, deadline) : sent;
    if (got == outcome::done) return {reply::kind::answer, std::move(text)};

    // A socket file that a killed hostapd left behind refuses the new connection.
    const bool there = connect();
    connection_.reset();
    return {there ? reply::kind::silent : reply::kind::gone, {}};
}

hostapd_control::reply hostapd_control::attach(event_handler handler,
                                               std::chrono::milliseconds limit) {
    on_event_ = std::move(handler);
    return request("ATTACH", limit);
}

void hostapd_control::read_events() {
    std::string text;
    while (connection_ && receive(text, steady_clock::time_point{}) == outcome::done) {
        // A reply that nobody waits for is dropped.
    }
}

hostapd_control::outcome hostapd_control::send(const std::string& command,
                                               steady_clock::time_point deadline) {
    while (true) {
        const auto size = ::send(descriptor(), command.data(), command.size(), MSG_NOSIGNAL);
        if (size >= 0) return outcome::done;
        if (!would_block()) return outcome::refused;
        if (!wait_for(descriptor(), POLLOUT, deadline)) return outcome::timed_out;
    }
}

hostapd_control::outcome hostapd_control::receive(std::string& text,
                                                  steady_clock::time_point deadline) {
    std::array<char, max_datagram> buffer;
    while (true) {
        const auto size = recv(descriptor(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (size < 0) {
            if (!would_block()) return outcome::refused;
            if (!wait_for(descriptor(), POLLIN, deadline)) return outcome::timed_out;
            continue;
        }

        text.assign(buffer.data(), static_cast<std::size_t>(size));
        if (take_event(text)) continue;
        if (text.ends_with('\n')) text.pop_back();
        return outcome::done;
    }
}

bool hostapd_control::take_event(const std::string& datagram) const {
    const auto event = read_event(datagram);
    if (!event) return false;

    if (on_event_) on_event_(*event);
    return true;
}

std::optional<std::string> read_event(std::string_view datagram) {
    std::string_view interface;
    if (datagram.starts_with("IFNAME=")) {
        const auto space = datagram.find(' ');
        if (space == std::string_view::npos) return std::nullopt;
        interface = datagram.substr(0, space + 1);
        datagram.remove_prefix(space + 1);
    }

    const bool event = datagram.size() >= 3 && datagram[0] == '<' && datagram[2] == '>' &&
                       datagram[1] >= '0' && datagram[1] <= '9';
    if (!event) return std::nullopt;
    return std::string(interface) + std::string(datagram.substr(3));
}

}  // namespace aplocal
