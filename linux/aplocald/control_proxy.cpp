#include "aplocald/control_proxy.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace aplocal {

namespace {

using std::chrono::milliseconds;

constexpr mode_t socket_mode = 0660;
// What hostapd does not take is offered again, as often as hostapd's own client does.
constexpr milliseconds retry_pause{50};
// Replies are read in between, or one busy client would keep the others waiting.
constexpr int requests_at_once = 8;

bool is_socket(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

// Removes a socket that nobody has open, and nothing else.
void remove_dead_socket(const std::string& path, const unix_address& address) {
    if (!is_socket(path)) return;
    if (is_alive(address)) {
        throw std::runtime_error(path +
                                 " belongs to another process; start hostapd with -g and "
                                 "another path");
    }
    unlink(path.c_str());
}

}  // namespace

control_proxy::control_proxy(event_loop& loop, settings s)
    : loop_(loop), settings_(std::move(s)), hostapd_(settings_.hostapd) {
    listen();
}

control_proxy::~control_proxy() { stop_listening(); }

void control_proxy::listen() {
    const unix_address address(settings_.path);
    remove_dead_socket(settings_.path, address);

    // The rights of the socket, less the umask, become those of the file: never more than these.
    fchmod(socket_.descriptor(), socket_mode);
    if (bind(socket_.descriptor(), address.raw(), address.size) != 0) {
        throw std::runtime_error(settings_.path + ": " + std::strerror(errno));
    }

    const char* const path = settings_.path.c_str();
    const gid_t group = settings_.group.value_or(static_cast<gid_t>(-1));
    const bool ready =
        chown(path, static_cast<uid_t>(-1), group) == 0 && chmod(path, socket_mode) == 0;
    if (ready) {
        loop_.watch(socket_.descriptor(), [this] { read_clients(); });
        listening_ = true;
        return;
    }

    const int error = errno;
    unlink(path);
    throw std::runtime_error(settings_.path + ": rights: " + std::strerror(error));
}

void control_proxy::stop_listening() {
    while (!clients_.empty()) drop_client(clients_.begin()->first);
    for (auto* timer : {&retry_timer_, &idle_timer_, &new_socket_timer_}) {
        if (*timer) loop_.cancel(**timer);
        timer->reset();
    }
    held_.reset();

    loop_.forget(socket_.descriptor());
    if (listening_) unlink(settings_.path.c_str());
    listening_ = false;
}

// What a client does not read takes room in the send buffer of our socket, which all clients share,
// until the client closes its own. When the buffer is full, only a new socket helps.
unix_socket::outcome control_proxy::reply(const unix_address& to, const std::string& text) {
    const auto result = socket_.send_to(to, text);
    if (result == unix_socket::outcome::full && !new_socket_timer_) {
        new_socket_timer_ = loop_.after(milliseconds(0), [this] { take_new_socket(); });
    }
    return result;
}

// Runs from the loop, where an exception would end the process.
void control_proxy::take_new_socket() {
    stop_listening();
    try {
        socket_ = unix_socket();
        listen();
    } catch (const std::runtime_error& problem) {
        if (!complained_) say(problem.what());
        complained_ = true;
        new_socket_timer_ = loop_.after(settings_.listen_pause, [this] { take_new_socket(); });
        return;
    }

    if (complained_) say(settings_.path + " is there again");
    complained_ = false;
}

void control_proxy::say(const std::string& line) const {
    if (settings_.said) settings_.said(line);
}

void control_proxy::read_clients() {
    unix_address sender;
    for (int i = 0; i < requests_at_once && !held_; ++i) {
        const auto text = socket_.receive(&sender);
        if (!text) return;
        if (!sender.name().empty()) take_request(sender, *text);  // others cannot be replied to
    }
}

void control_proxy::take_request(const unix_address& sender, const std::string& text) {
    client* const from = client_at(sender);
    if (from == nullptr) {
        reply(sender, "FAIL\n");
        return;
    }

    from->last_heard = clock::now();
    if (const auto ifname = read_remove_all(text)) {
        start_removal(*from, *ifname);
        return;
    }

    switch (pass_on(*from, text)) {
        case unix_socket::outcome::sent: break;
        case unix_socket::outcome::full: hold(sender, text); break;
        case unix_socket::outcome::refused: refuse(sender); break;
    }
}

// hostapd has gone from this connection; the next request gets a new one.
void control_proxy::refuse(const unix_address& sender) {
    reply(sender, "FAIL\n");
    drop_client(sender.name());
}

control_proxy::client* control_proxy::client_at(const unix_address& address) {
    const auto found = clients_.find(address.name());
    return found != clients_.end() ? &found->second : add_client(address);
}

// Null when hostapd is not there.
control_proxy::client* control_proxy::add_client(const unix_address& address) {
    if (clients_.size() >= max_clients) drop_longest_idle();

    unix_socket connection;
    if (!connection.bind_anywhere() || !connection.connect(hostapd_)) return nullptr;

    const std::string name = address.name();
    loop_.watch(connection.descriptor(), [this, name] { read_hostapd(name); });
    watch_idle_clients();
    return &clients_
                .emplace(name, client{.address = address,
                                      .hostapd = std::move(connection),
                                      .last_heard = clock::now(),
                                      .attached = false,
                                      .emptying = nullptr})
                .first->second;
}

void control_proxy::drop_client(const std::string& name) {
    const auto found = clients_.find(name);
    if (found == clients_.end()) return;
    client& dropped = found->second;

    if (dropped.emptying) {
        loop_.cancel(dropped.emptying->limit);
        loop_.forget(dropped.emptying->hostapd.descriptor());
    }
    if (dropped.attached) dropped.hostapd.send("DETACH");
    loop_.forget(dropped.hostapd.descriptor());
    clients_.erase(found);
}

void control_proxy::drop_longest_idle() {
    const auto longest = std::min_element(
        clients_.begin(), clients_.end(),
        [](const auto& a, const auto& b) { return a.second.last_heard < b.second.last_heard; });
    drop_client(std::string(longest->first));
}

unix_socket::outcome control_proxy::pass_on(client& from, const std::string& text) {
    const auto result = from.hostapd.send(text);
    if (result != unix_socket::outcome::sent) return result;

    if (text == "ATTACH") from.attached = true;
    if (text == "DETACH") from.attached = false;
    return result;
}

// Nothing more is read from clients until hostapd has taken this request, or for `hold_limit`.
void control_proxy::hold(const unix_address& sender, const std::string& text) {
    held_ = held_request{.sender = sender, .text = text, .since = clock::now()};
    loop_.forget(socket_.descriptor());
    retry_timer_ = loop_.after(retry_pause, [this] { retry_held(); });
}

void control_proxy::retry_held() {
    loop_.cancel(*retry_timer_);
    using outcome = unix_socket::outcome;
    client* const from = client_at(held_->sender);
    const auto result = from == nullptr ? outcome::refused : pass_on(*from, held_->text);
    const bool in_time = clock::now() - held_->since < settings_.hold_limit;
    if (result == outcome::full && in_time) {
        retry_timer_ = loop_.after(retry_pause, [this] { retry_held(); });
        return;
    }

    const unix_address sender = held_->sender;
    held_.reset();
    retry_timer_.reset();
    loop_.watch(socket_.descriptor(), [this] { read_clients(); });
    if (result == outcome::full) reply(sender, "FAIL\n");
    if (result == outcome::refused) refuse(sender);
}

// Passes on one reply or event.
void control_proxy::read_hostapd(const std::string& name) {
    client& to = clients_.at(name);
    const auto text = to.hostapd.receive();
    if (!text) return;
    if (reply(to.address, *text) == unix_socket::outcome::refused) {
        drop_client(name);
    }
    if (held_) retry_held();  // hostapd has taken a request, so it may have room for one more
}

void control_proxy::start_removal(client& of, const std::string& ifname) {
    unix_socket connection;
    const bool ready = !of.emptying && connection.bind_anywhere() && connection.connect(hostapd_);
    if (!ready) {
        reply(of.address, "FAIL\n");
        return;
    }

    const std::string name = of.address.name();
    loop_.watch(connection.descriptor(), [this, name] { read_removal(name); });
    of.emptying = std::make_unique<removal>(
        removal{.hostapd = std::move(connection), .steps = neighbour_removal(ifname), .limit = 0});
    send_removal(of, of.emptying->steps.start());
}

void control_proxy::read_removal(const std::string& name) {
    client& of = clients_.at(name);
    const auto reply = of.emptying->hostapd.receive();
    if (reply) send_removal(of, of.emptying->steps.take_reply(*reply));
}

// Sends the next request, or ends when there is none. When hostapd does not reply in time, the
// client gets no reply either.
void control_proxy::send_removal(client& of, const std::optional<std::string>& request) {
    removal& running = *of.emptying;
    if (!request) {
        end_removal(of, running.steps.result());
        return;
    }
    if (running.hostapd.send(*request) == unix_socket::outcome::refused) {
        end_removal(of, "FAIL\n");
        return;
    }

    loop_.cancel(running.limit);
    running.limit = loop_.after(settings_.reply_limit, [this, name = of.address.name()] {
        end_removal(clients_.at(name), "");
    });
}

void control_proxy::end_removal(client& of, const std::string& result) {
    const auto ended = std::move(of.emptying);  // `result` may be a part of it
    loop_.cancel(ended->limit);
    loop_.forget(ended->hostapd.descriptor());

    if (!result.empty()) reply(of.address, result);
}

void control_proxy::watch_idle_clients() {
    if (!idle_timer_) {
        idle_timer_ = loop_.after(settings_.idle_limit, [this] { drop_idle_clients(); });
    }
}

void control_proxy::drop_idle_clients() {
    const auto limit = clock::now() - settings_.idle_limit;
    std::vector<std::string> idle;
    for (const auto& [name, c] : clients_) {
        const bool quiet = c.last_heard <= limit && !c.emptying;
        if (quiet && !(c.attached && is_alive(c.address))) idle.push_back(name);
    }
    for (const auto& name : idle) drop_client(name);

    idle_timer_.reset();
    if (!clients_.empty()) watch_idle_clients();
}

}  // namespace aplocal
