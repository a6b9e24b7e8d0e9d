// The WebSocket library of the unit tests: a test plays its events by calling the worker's callback
// and reads back what the worker asked of it.
#pragma once

#include <libwebsockets.h>

#include <functional>
#include <string>
#include <utility>

namespace fake_lws {

struct state {
    bool context_fails = false;
    bool connect_fails = false;
    int room = 1000000;         // writes until the pipe chokes
    int write_result = 1;       // negative: what lws_write answers; else it answers the length
    std::size_t remaining = 0;  // of the frame being received
    bool final_fragment = true;
    std::string record;  // "create, NAME connect h:1/p, write 0 text, ..."
    int log_level = -1;
    int socket = -1;       // of the connection
    int wait_ms = 0;       // what a service call may be waited for
    bool partial = false;  // of a message is held back by the library
    std::function<void()> on_connect;
    std::function<void()> on_service;  // what a service call brings
    int service_ms = 100;              // what it takes: the time of a whole pass
    // Parameters of the last context.
    unsigned handshake_seconds = 0;
    unsigned connect_seconds = 0;
    unsigned service_buffer = 0;
};

inline state library;

inline void reset() { library = {}; }
inline std::string take_record() { return std::exchange(library.record, {}); }
inline lws* connection() { return reinterpret_cast<lws*>(&library); }

}  // namespace fake_lws
