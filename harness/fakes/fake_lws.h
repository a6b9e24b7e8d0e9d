// The WebSocket library of the unit tests. A test plays the library's events by calling the
// worker's callback, and reads back what the worker asked of the library.
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
    int write_result = 1;       // lws_write returns it if negative, otherwise the length
    std::size_t remaining = 0;  // bytes of the frame that are still to come
    bool final_fragment = true;
    std::string record;  // "create, NAME connect h:1/p, write 0 text, ..."
    int log_level = -1;
    int socket = -1;                   // of the connection
    int wait_ms = 0;                   // how long the worker may wait before a service call
    bool partial = false;              // the library still holds part of a message
    std::function<void()> on_connect;  // runs in every attempt to connect
    std::function<void()> on_service;  // runs in every service call
    int service_ms = 100;              // time that a service call takes: a whole pass
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
