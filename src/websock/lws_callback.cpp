#include "websock/lws_callback.h"

#include <iterator>
#include <mutex>
#include <utility>

#include "main/logging.h"

namespace rfcd {

namespace {

struct callback_slot {
    // Recursive, because remove_lws_dispatcher() holds the lock when it installs an empty function.
    std::recursive_mutex lock;
    lws_dispatcher dispatcher;  // guarded by lock
};

// Made at static initialisation and never destroyed: when the process ends in one thread, the
// library may still call back in another.
callback_slot& slot = *new callback_slot;

template <service_index Service>
void emit(int level, const char* line) {
    log_debug(daemon_logger, "%s->libwebsocket-debug> %d: %s", entry_of(Service).log_prefix, level,
              line);
}

// By reason number; null for a number without a name.
constexpr const char* reason_names[] = {
    "LWS_CALLBACK_ESTABLISHED",
    "LWS_CALLBACK_CLIENT_CONNECTION_ERROR",
    "LWS_CALLBACK_CLIENT_FILTER_PRE_ESTABLISH",
    "LWS_CALLBACK_CLIENT_ESTABLISHED",
    "LWS_CALLBACK_CLOSED",
    "LWS_CALLBACK_CLOSED_HTTP",
    "LWS_CALLBACK_RECEIVE",
    "LWS_CALLBACK_RECEIVE_PONG",
    "LWS_CALLBACK_CLIENT_RECEIVE",
    "LWS_CALLBACK_CLIENT_RECEIVE_PONG",
    "LWS_CALLBACK_CLIENT_WRITEABLE",
    "LWS_CALLBACK_SERVER_WRITEABLE",
    "LWS_CALLBACK_HTTP",
    "LWS_CALLBACK_HTTP_BODY",
    "LWS_CALLBACK_HTTP_BODY_COMPLETION",
    "LWS_CALLBACK_HTTP_FILE_COMPLETION",
    "LWS_CALLBACK_HTTP_WRITEABLE",
    "LWS_CALLBACK_FILTER_NETWORK_CONNECTION",
    "LWS_CALLBACK_FILTER_HTTP_CONNECTION",
    "LWS_CALLBACK_SERVER_NEW_CLIENT_INSTANTIATED",
    "LWS_CALLBACK_FILTER_PROTOCOL_CONNECTION",
    "LWS_CALLBACK_OPENSSL_LOAD_EXTRA_CLIENT_VERIFY_CERTS",
    "LWS_CALLBACK_OPENSSL_LOAD_EXTRA_SERVER_VERIFY_CERTS",
    "LWS_CALLBACK_OPENSSL_PERFORM_CLIENT_CERT_VERIFICATION",
    "LWS_CALLBACK_CLIENT_APPEND_HANDSHAKE_HEADER",
    "LWS_CALLBACK_CONFIRM_EXTENSION_OKAY",
    "LWS_CALLBACK_CLIENT_CONFIRM_EXTENSION_SUPPORTED",
    "LWS_CALLBACK_PROTOCOL_INIT",
    nullptr,
    "LWS_CALLBACK_WSI_CREATE",
    "LWS_CALLBACK_WSI_DESTROY",
    "LWS_CALLBACK_GET_THREAD_ID",
    "LWS_CALLBACK_ADD_POLL_FD",
    "LWS_CALLBACK_DEL_POLL_FD",
    "LWS_CALLBACK_CHANGE_MODE_POLL_FD",
    "LWS_CALLBACK_LOCK_POLL",
    "LWS_CALLBACK_UNLOCK_POLL",
    "LWS_CALLBACK_OPENSSL_CONTEXT_REQUIRES_PRIVATE_KEY",
    "LWS_CALLBACK_WS_PEER_INITIATED_CLOSE",
    "LWS_CALLBACK_WS_EXT_DEFAULTS",
    "LWS_CALLBACK_CGI",
    "LWS_CALLBACK_CGI_TERMINATED",
    "LWS_CALLBACK_CGI_STDIN_DATA",
    "LWS_CALLBACK_CGI_STDIN_COMPLETED",
    "LWS_CALLBACK_ESTABLISHED_CLIENT_HTTP",
    "LWS_CALLBACK_CLOSED_CLIENT_HTTP",
    "LWS_CALLBACK_RECEIVE_CLIENT_HTTP",
    "LWS_CALLBACK_COMPLETED_CLIENT_HTTP",
    "LWS_CALLBACK_RECEIVE_CLIENT_HTTP_READ",
    "LWS_CALLBACK_HTTP_BIND_PROTOCOL",
    "LWS_CALLBACK_HTTP_DROP_PROTOCOL",
    "LWS_CALLBACK_CHECK_ACCESS_RIGHTS",
    "LWS_CALLBACK_PROCESS_HTML",
    "LWS_CALLBACK_ADD_HEADERS",
    "LWS_CALLBACK_SESSION_INFO",
    "LWS_CALLBACK_GS_EVENT",
    "LWS_CALLBACK_HTTP_PMO",
    "LWS_CALLBACK_CLIENT_HTTP_WRITEABLE",
};

static_assert(std::size(reason_names) == LWS_CALLBACK_CLIENT_HTTP_WRITEABLE + 1);
static_assert(LWS_CALLBACK_CLIENT_ESTABLISHED == 3 && LWS_CALLBACK_PROTOCOL_DESTROY == 28 &&
              LWS_CALLBACK_CLOSED_CLIENT_HTTP == 45);

}  // namespace

void set_lws_dispatcher(lws_dispatcher dispatcher) {
    const std::lock_guard guard(slot.lock);
    slot.dispatcher.swap(dispatcher);
}

void remove_lws_dispatcher() {
    const std::lock_guard guard(slot.lock);
    set_lws_dispatcher({});
}

int lws_static_callback(lws* connection, lws_callback_reasons reason, void* user, void* in,
                        std::size_t length) {
    const std::lock_guard guard(slot.lock);
    if (!slot.dispatcher) {
        log_debug(daemon_logger, "No function to process lws callback(%p, %d, %p, %p, %zu)\n",
                  static_cast<void*>(connection), reason, user, in, length);
        return 0;
    }
    return slot.dispatcher(connection, reason, user, in, length);
}

lws_log_emitter log_emitter(service_index service) {
    switch (service) {
        case service_index::roaming: return emit<service_index::roaming>;
        case service_index::rrm: return emit<service_index::rrm>;
        case service_index::wids: break;
    }
    return emit<service_index::wids>;
}

const char* lws_reason_name(int reason) {
    if (reason == LWS_CALLBACK_USER) return "LWS_CALLBACK_USER";
    const bool known = reason >= 0 && static_cast<std::size_t>(reason) < std::size(reason_names) &&
                       reason_names[reason] != nullptr;
    return known ? reason_names[reason] : "UNKNOWN_LWS_CALLBACK_REASON";
}

}  // namespace rfcd
