#include "harness/fakes/fake_lws.h"

#include "harness/fakes/fake_clock.h"

using fake_lws::library;

lws_context* lws_create_context(const lws_context_creation_info* info) {
    library.record += info->port == CONTEXT_PORT_NO_LISTEN ? "create, " : "create a listener, ";
    library.handshake_seconds = info->timeout_secs;
    library.connect_seconds = info->connect_timeout_secs;
    library.service_buffer = info->pt_serv_buf_size;
    if (library.context_fails) return nullptr;
    return reinterpret_cast<lws_context*>(&library);
}

void lws_context_destroy(lws_context* /*context*/) { library.record += "destroy, "; }

lws* lws_client_connect_via_info(const lws_client_connect_info* info) {
    const bool usual = info->host == std::string(info->address) &&
                       info->origin == std::string(info->address) && info->ssl_connection == 0 &&
                       info->ietf_version_or_minus_one == -1;
    library.record += std::string(info->protocol) +
                      (usual ? " connect " : " connect with wrong parameters ") + info->address +
                      ":" + std::to_string(info->port) + info->path + ", ";
    if (library.on_connect) library.on_connect();
    return library.connect_fails ? nullptr : fake_lws::connection();
}

int lws_write(lws* /*wsi*/, unsigned char* buffer, size_t length, lws_write_protocol type) {
    --library.room;
    library.record += "write " + std::to_string(type) + " " +
                      std::string(reinterpret_cast<char*>(buffer), length) + ", ";
    if (library.write_result < 0) return library.write_result;
    return static_cast<int>(length) + (type == LWS_WRITE_PING ? 6 : 0);
}

void lws_set_log_level(int level, void (*)(int, const char*)) { library.log_level = level; }
int lws_send_pipe_choked(lws* /*wsi*/) { return library.room > 0 ? 0 : 1; }
int lws_partial_buffered(lws* /*wsi*/) { return library.partial ? 1 : 0; }
int lws_get_socket_fd(lws* /*wsi*/) { return library.socket; }
int lws_service_adjust_timeout(lws_context* /*context*/, int, int) { return library.wait_ms; }

int lws_service(lws_context* /*context*/, int) {
    library.record += "serve, ";
    if (library.on_service) library.on_service();
    fake_clock::now_ns += library.service_ms * fake_clock::second_ns / 1000;
    return 0;
}
size_t lws_remaining_packet_payload(lws* /*wsi*/) { return library.remaining; }
int lws_is_final_fragment(lws* /*wsi*/) { return library.final_fragment ? 1 : 0; }
int lws_rx_flow_control(lws* /*wsi*/, int enable) {
    library.record += enable != 0 ? "read on, " : "hold back, ";
    return 0;
}
void lws_cancel_service(lws_context* /*context*/) { library.record += "cancel, "; }

int lws_callback_on_writable(lws* /*wsi*/) {
    library.record += "ask, ";
    return 0;
}
