// A websock_worker with a fake of libwebsockets. A test plays the library's events, and reads back
// what the worker asked of the library, logged, and handed to the service worker.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "harness/fakes/fake_clock.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_lws.h"
#include "harness/fakes/queues.h"
#include "websock/websock_worker.h"

namespace rfcd {

using fake_lws::library;
using fake_lws::take_record;

inline const std::string connected =
    R"({"version":"2.4","service":"internal-ipc","cmd":"connected"})";
inline const std::string disconnected =
    R"({"version":"2.4","service":"internal-ipc","cmd":"disconnected"})";

struct open_worker : websock_worker {
    using websock_worker::active_;
    using websock_worker::wait_for_wake;
    using websock_worker::websock_worker;
};

class WebsockWorker : public testing::Test {
  protected:
    WebsockWorker() {
        fake_clock::reset();
        fake_lws::reset();
        fake_log::reset(1);
        std::srand(0);
    }

    void event(int reason, std::string data = {}) {
        worker.worker_lws_callback(fake_lws::connection(), reason, nullptr, data.data(),
                                   data.size());
    }
    void receive(const std::string& piece, std::size_t remaining, bool final_fragment) {
        library.remaining = remaining;
        library.final_fragment = final_fragment;
        event(LWS_CALLBACK_CLIENT_RECEIVE, piece);
    }
    // What the worker does when the socket is writeable.
    std::string written() {
        take_record();
        event(LWS_CALLBACK_CLIENT_WRITEABLE);
        return take_record();
    }
    // Connects up to the completed handshake, then empties both queues and the record.
    void establish() {
        ASSERT_TRUE(worker.start_check());
        event(LWS_CALLBACK_CLIENT_ESTABLISHED);
        drain(received);
        take_record();
        fake_log::take();
    }
    bool wanted() { return worker.keep_running(&running); }

    running_flag running = true;
    safe_queue to_send;
    safe_queue received;
    open_worker worker{{to_send, received},
                       {.service = service_index::rrm,
                        .host = "host",
                        .path = "/path",
                        .port = 80,
                        .initial_delay = 10,
                        .max_delay = 300,
                        .running = &running}};
};

}  // namespace rfcd
