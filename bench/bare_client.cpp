// The WebSocket library by itself, doing nothing else: the limit for anything built on it.
//   bare_client URL-PORT send COUNT SIZE     sends COUNT texts of SIZE bytes, then waits
//   bare_client URL-PORT receive COUNT       sends one text when COUNT have arrived, then waits
#include <libwebsockets.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct job {
    bool sends;
    long count;
    std::size_t size;
    long done = 0;
    bool told = false;
    std::string payload;
};

void send_text(lws* wsi, std::string& room) {
    std::string copy = room;  // the library masks in place
    lws_write(wsi, reinterpret_cast<unsigned char*>(copy.data()) + LWS_PRE, copy.size() - LWS_PRE,
              LWS_WRITE_TEXT);
}

int callback(lws* wsi, lws_callback_reasons reason, void*, void*, std::size_t) {
    auto* work = static_cast<job*>(lws_context_user(lws_get_context(wsi)));
    switch (reason) {
        case LWS_CALLBACK_CLIENT_ESTABLISHED: lws_callback_on_writable(wsi); break;
        case LWS_CALLBACK_CLIENT_WRITEABLE:
            while (work->sends && work->done < work->count && lws_send_pipe_choked(wsi) == 0) {
                send_text(wsi, work->payload);
                ++work->done;
            }
            if (work->sends && work->done < work->count) lws_callback_on_writable(wsi);
            if (!work->sends && work->done >= work->count && !work->told) {
                send_text(wsi, work->payload);
                work->told = true;
            }
            break;
        case LWS_CALLBACK_CLIENT_RECEIVE:
            if (lws_remaining_packet_payload(wsi) == 0 && lws_is_final_fragment(wsi) != 0 &&
                ++work->done >= work->count) {
                lws_callback_on_writable(wsi);
            }
            break;
        case LWS_CALLBACK_CLIENT_CLOSED:
        case LWS_CALLBACK_CLIENT_CONNECTION_ERROR: std::exit(0);
        default: break;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    job work{std::strcmp(argv[2], "send") == 0,
             std::atol(argv[3]),
             argc > 4 ? static_cast<std::size_t>(std::atol(argv[4])) : 1,
             0,
             false,
             {}};
    work.payload = std::string(LWS_PRE, '\0') + std::string(work.size, 'x');
    lws_set_log_level(0, nullptr);
    const lws_protocols protocols[] = {{"websock-roaming", callback, 0, 0, 0, nullptr, 0}, {}};
    lws_context_creation_info info{};
    info.port = CONTEXT_PORT_NO_LISTEN;
    info.protocols = protocols;
    info.gid = -1;
    info.uid = -1;
    info.user = &work;
    lws_context* const context = lws_create_context(&info);
    lws_client_connect_info connect{};
    connect.context = context;
    connect.address = connect.host = connect.origin = "127.0.0.1";
    connect.port = std::atoi(argv[1]);
    connect.path = "/x";
    connect.protocol = protocols[0].name;
    connect.ietf_version_or_minus_one = -1;
    if (lws_client_connect_via_info(&connect) == nullptr) return 1;
    while (lws_service(context, 0) >= 0) {
    }
    return 0;
}
