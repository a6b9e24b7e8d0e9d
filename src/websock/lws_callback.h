// Leads the events and log lines of libwebsockets to the one websock_worker of the process. The
// library calls a static function for every event; that function calls the dispatcher, a function
// that the worker has put into a slot. A recursive lock of the slot is held while the dispatcher
// runs, on the worker's thread. Log lines of the library go to the debug log through one emitter
// for each service.
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

// The callback in the protocol table.
int lws_static_callback(lws* connection, lws_callback_reasons reason, void* user, void* in,
                        std::size_t length);

using lws_log_emitter = void (*)(int level, const char* line);

// The emitter that marks each line with the service. It uses nothing but the log, so the library
// may also call it on a thread that only wakes the link.
lws_log_emitter log_emitter(service_index service);

// The library's own name for a callback reason, or a text that says that it is unknown.
const char* lws_reason_name(int reason);

}  // namespace rfcd
