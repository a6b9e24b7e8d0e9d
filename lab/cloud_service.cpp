#include "lab/cloud_service.h"

#include <libwebsockets.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

namespace lab {

namespace {

constexpr unsigned write_piece = 64 << 10;

int callback(lws* wsi, lws_callback_reasons reason, void* /*user*/, void* in, std::size_t length) {
    auto* service = static_cast<cloud_service*>(lws_context_user(lws_get_context(wsi)));
    return service->on_event(wsi, reason, in, length);
}

constexpr lws_protocols protocol(const char* name) {
    return {name, callback, 0, write_piece, 0, nullptr, write_piece};
}

constexpr std::array protocols{protocol("websock-roaming"), protocol("websock-rrm"),
                               protocol("websock-wids"), lws_protocols{}};

std::string header(lws* wsi, lws_token_indexes token) {
    std::array<char, 256> text{};
    return lws_hdr_copy(wsi, text.data(), text.size(), token) > 0 ? text.data() : "";
}

}  // namespace

cloud_service::cloud_service(transcript& story, std::string name, std::uint16_t port)
    : story_(story), name_(std::move(name)), port_(port) {
    come_up();
}

cloud_service::~cloud_service() { go_down(); }

void cloud_service::come_up() {
    lws_set_log_level(0, nullptr);
    lws_context_creation_info info{};
    info.port = port_;
    info.iface = "127.0.0.1";
    info.protocols = protocols.data();
    info.gid = -1;
    info.uid = -1;
    info.user = this;
    info.pt_serv_buf_size = write_piece;

    // The port may still be in use for a moment after the service went down.
    if (!wait_until([&] { return (context_ = lws_create_context(&info)) != nullptr; })) {
        throw std::runtime_error("the service cannot listen");
    }
    port_ = static_cast<std::uint16_t>(
        lws_get_vhost_listen_port(lws_get_vhost_by_name(context_, "default")));

    stopping_ = false;
    thread_ = std::thread([this] { serve(); });
}

void cloud_service::go_down() {
    if (!thread_.joinable()) return;
    post([this] { stopping_ = true; });
    thread_.join();

    lws_context_destroy(context_);
    context_ = nullptr;
    open_.clear();
    connected_ = 0;
}

void cloud_service::serve() {
    while (!stopping_) lws_service(context_, 0);
}

// Runs a task on the service's thread; drops it while the service is down.
void cloud_service::post(std::function<void()> task) {
    if (context_ == nullptr) return;
    {
        const std::lock_guard guard(lock_);
        tasks_.push_back(std::move(task));
    }
    lws_cancel_service(context_);
}

void cloud_service::run_tasks() {
    std::vector<std::function<void()>> tasks;
    {
        const std::lock_guard guard(lock_);
        tasks.swap(tasks_);
    }
    for (const auto& task : tasks) task();
}

void cloud_service::for_each_connection(const std::function<void(lws*, connection&)>& action) {
    post([this, action] {
        for (auto& [wsi, c] : open_) action(wsi, c);
    });
}

void cloud_service::send(std::string text, frame kind) {
    if (narrate_) story_.add(name_, "->", shortened(text));
    for_each_connection([text = std::move(text), kind](lws* wsi, connection& c) {
        c.outgoing.emplace_back(text, kind);
        lws_callback_on_writable(wsi);
    });
}

void cloud_service::send_many(const std::string& text, int count) {
    for_each_connection([text, count](lws* wsi, connection& c) {
        for (int i = 0; i < count; ++i) c.outgoing.emplace_back(text, frame::text);
        lws_callback_on_writable(wsi);
    });
}

void cloud_service::close_all() {
    for_each_connection([](lws* wsi, connection& c) {
        c.close = true;
        lws_callback_on_writable(wsi);
    });
}

void cloud_service::reset_all() {
    for_each_connection([](lws* wsi, connection&) {
        const linger at_once{1, 0};
        setsockopt(lws_get_socket_fd(wsi), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        lws_set_timeout(wsi, PENDING_TIMEOUT_USER_OK, LWS_TO_KILL_ASYNC);
    });
}

void cloud_service::pause_reading() {
    for_each_connection([](lws* wsi, connection&) { lws_rx_flow_control(wsi, 0); });
}

void cloud_service::resume_reading() {
    for_each_connection([](lws* wsi, connection&) { lws_rx_flow_control(wsi, 1); });
}

std::string cloud_service::expect(milliseconds timeout) {
    auto message = received_.take(timeout);
    if (!message) throw std::runtime_error("the service received nothing");
    return *std::move(message);
}

bool cloud_service::wait_connections(unsigned so_far, milliseconds timeout) const {
    return wait_until([&] { return connections_ >= so_far; }, timeout);
}

bool cloud_service::wait_disconnected(milliseconds timeout) const {
    return wait_until([this] { return connected_ == 0; }, timeout);
}

cloud_service::request cloud_service::last_request() const {
    const std::lock_guard guard(lock_);
    return last_request_;
}

int cloud_service::on_event(lws* wsi, int reason, void* in, std::size_t length) {
    switch (reason) {
        case LWS_CALLBACK_EVENT_WAIT_CANCELLED: run_tasks(); break;
        case LWS_CALLBACK_ESTABLISHED: on_connected(wsi); break;
        case LWS_CALLBACK_RECEIVE: on_received(wsi, in, length); break;
        case LWS_CALLBACK_SERVER_WRITEABLE: return on_writeable(wsi);
        case LWS_CALLBACK_CLOSED:
            open_.erase(wsi);
            connected_ = static_cast<unsigned>(open_.size());
            if (narrate_) story_.add(name_, "", "connection closed");
            break;
        default: break;
    }
    return 0;
}

void cloud_service::on_connected(lws* wsi) {
    const request made{header(wsi, WSI_TOKEN_GET_URI), header(wsi, WSI_TOKEN_HOST),
                       lws_get_protocol(wsi)->name};
    {
        const std::lock_guard guard(lock_);
        last_request_ = made;
    }
    open_.emplace(wsi, connection{});

    if (narrate_) {
        story_.add(name_, "", "connection accepted: " + made.path + ", " + made.subprotocol);
    }
    connected_ = static_cast<unsigned>(open_.size());
    ++connections_;
}

void cloud_service::on_received(lws* wsi, const void* in, std::size_t length) {
    auto& c = open_.at(wsi);
    c.incoming.append(static_cast<const char*>(in), length);
    if (lws_remaining_packet_payload(wsi) != 0 || lws_is_final_fragment(wsi) == 0) return;

    if (narrate_) story_.add(name_, "<-", shortened(c.incoming));
    received_.put(std::move(c.incoming));
    c.incoming.clear();
}

int cloud_service::on_writeable(lws* wsi) {
    auto& c = open_.at(wsi);
    while (c.next < c.outgoing.size() && lws_send_pipe_choked(wsi) == 0) {
        const auto& [text, kind] = c.outgoing[c.next++];
        std::string room(LWS_PRE, '\0');
        room += text;
        lws_write(wsi, reinterpret_cast<unsigned char*>(room.data()) + LWS_PRE, text.size(),
                  kind == frame::text ? LWS_WRITE_TEXT : LWS_WRITE_BINARY);
    }
    if (c.next < c.outgoing.size()) {
        lws_callback_on_writable(wsi);
        return 0;
    }

    c.outgoing.clear();
    c.next = 0;
    if (!c.close) return 0;
    lws_close_reason(wsi, LWS_CLOSE_STATUS_GOINGAWAY, nullptr, 0);
    return -1;
}

}  // namespace lab
