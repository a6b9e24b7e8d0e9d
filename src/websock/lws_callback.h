// The way from libwebsockets to the one websock_worker of the process. The library calls a single
// static function for every event; that function calls whatever the worker has put into the slot.
// The slot has a recursive lock of its own, held while the function runs. Library lines go to the
// debug log through one emitter a service.
#pragma once

#include <libwebsockets.h>

#include <cstddef>
#include <functional>

#include "base/services.h"

namespace rfcd {

using lws_dispatcher =
    std::function<int(lws* connection, int reason, void* user, void* in, std::size_t length)>;

// Installs the dispatcher for every later callback; an empty one removes it.
void set_lws_dispatcher(lws_dispatcher dispatcher);
void remove_lws_dispatcher();

// The callback of the protocol table.
int lws_static_callback(lws* connection, lws_callback_reasons reason, void* user, void* in,
                        std::size_t length);

using lws_log_emitter = void (*)(int level, const char* line);

// The emitter that marks each line with the service. It touches nothing but the log, so the library
// may call it from a thread that only wakes the service.
lws_log_emitter log_emitter(service_index service);

// The library's own name of a callback reason, or a text saying that it is unknown.
const char* lws_reason_name(int reason);

}  // namespace rfcd
