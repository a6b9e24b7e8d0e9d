// bare_relay PORT: the roaming relay on nothing but the WebSocket library and the bus, in one
// thread: no queues, no reconnects, no pings, no log. It shows the best that a program on these two
// can reach. It also polls the bus more often than a program that must cost nothing at rest. Ends
// with the connection.
#include <libwebsockets.h>
#include <poll.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "ipc/bus.h"
#include "platform/peermsg.h"

namespace {

// The same as the daemon's, so that the comparison is fair.
constexpr std::size_t buffer_size = 64 << 10;
constexpr unsigned bridge_module = 2;
constexpr std::uint8_t roaming_peer = 3;
constexpr timespec between_looks_at_bus{0, 100'000};

struct relay {
    peermsg_ctx* bus = nullptr;
    bool connected = false;
    std::string incoming;
    std::string outgoing;
};

void receive(relay& r, lws* wsi, const void* in, std::size_t length) {
    r.incoming.append(static_cast<const char*>(in), length);
    if (lws_remaining_packet_payload(wsi) != 0 || lws_is_final_fragment(wsi) == 0) return;
    peermsg_msg_send(r.bus, r.incoming.data(), roaming_peer, r.incoming.size());
    r.incoming.clear();
}

int callback(lws* wsi, lws_callback_reasons reason, void*, void* in, std::size_t length) {
    auto& r = *static_cast<relay*>(lws_context_user(lws_get_context(wsi)));
    switch (reason) {
        case LWS_CALLBACK_CLIENT_ESTABLISHED: r.connected = true; break;
        case LWS_CALLBACK_CLIENT_RECEIVE: receive(r, wsi, in, length); break;
        case LWS_CALLBACK_CLIENT_CLOSED:
        case LWS_CALLBACK_CLIENT_CONNECTION_ERROR: std::exit(0);
        default: break;
    }
    return 0;
}

// True when there was a message.
bool send_one(relay& r, lws* wsi) {
    const rfcd::bus_message message(peermsg_get_msg_from_queue_no_wait(r.bus));
    if (!message) return false;
    r.outgoing.assign(LWS_PRE, '\0').append(message.text());
    lws_write(wsi, reinterpret_cast<unsigned char*>(r.outgoing.data()) + LWS_PRE,
              message.text().size(), LWS_WRITE_TEXT);
    return true;
}

bool flushes(lws* wsi) { return lws_partial_buffered(wsi) != 0; }

// Waits for the socket, at most until the next poll of the bus.
bool socket_is_ready(lws* wsi) {
    const auto events = static_cast<short>(POLLIN | (flushes(wsi) ? POLLOUT : 0));
    pollfd socket{lws_get_socket_fd(wsi), events, 0};
    return ppoll(&socket, 1, &between_looks_at_bus, nullptr) > 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};
    relay r;
    r.bus = peermsg_init(bridge_module, &settings, PEERMSG_MODE_PEER);
    if (peermsg_peer_start(r.bus) != 0) return 1;

    lws_set_log_level(0, nullptr);
    const lws_protocols protocols[] = {{"websock-roaming", callback, 0, 0, 0, nullptr, buffer_size},
                                       {}};
    lws_context_creation_info info{};
    info.port = CONTEXT_PORT_NO_LISTEN;
    info.protocols = protocols;
    info.gid = -1;
    info.uid = -1;
    info.user = &r;
    info.pt_serv_buf_size = buffer_size;
    lws_context* const context = lws_create_context(&info);

    lws_client_connect_info connect{};
    connect.context = context;
    connect.address = connect.host = connect.origin = "127.0.0.1";
    connect.port = std::atoi(argv[1]);
    connect.path = "/x";
    connect.protocol = protocols[0].name;
    connect.ietf_version_or_minus_one = -1;
    lws* const wsi = lws_client_connect_via_info(&connect);
    if (wsi == nullptr) return 1;

    while (!r.connected) lws_service(context, 0);
    while (true) {
        bool sent = false;
        while (lws_send_pipe_choked(wsi) == 0 && send_one(r, wsi)) sent = true;
        if (socket_is_ready(wsi) || sent) lws_service(context, -1);
    }
}
