// Plays the events of libwebsockets against the link, with a fake of the library. A line is
//   c x           a connection attempt; the end of the connection
//   e             the handshake is complete
//   rN,F,TEXT     a piece of a message: N bytes of the frame remain, F is 1 for the last fragment
//   b             a piece without data
//   qTEXT         the service worker queues a message
//   wN            the socket is writeable, with room for N messages
//   f             sending fails from now on, or works again
//   p g           a pong; a pass of the worker
//   tN            N seconds pass
//   oN            any other event
// A small model predicts what must come out on both sides.
#include <algorithm>
#include <optional>
#include <utility>

#include "fuzz/fuzz.h"
#include "harness/fakes/fake_clock.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_lws.h"
#include "harness/fakes/queues.h"
#include "ipc/json_reader.h"
#include "main/logging.h"
#include "websock/lws_callback.h"
#include "websock/websock_worker.h"

namespace {

using fake_lws::library;
using rfcd::websock_worker;

class link_session {
  public:
    link_session() {
        fake_clock::reset();
        fake_lws::reset();
        fake_log::reset(rfcd::log_mask_all);
        std::srand(0);
    }
    ~link_session() {
        if (linked_) worker_.on_stop();
    }

    void play(std::string_view line) {
        fake_lws::take_record();
        const char what = fuzz::cut_character(line);
        switch (what) {
            case 'c': connect(); break;
            case 'x': disconnect(); break;
            case 'q': queue(std::string(line)); break;
            case 'f': library.write_result = -library.write_result; break;
            case 'g': worker_.process(); break;
            case 't':
                fake_clock::advance(std::clamp(fuzz::cut_number<int>(line), 0, 100'000));
                break;
            default: happen(what, line);
        }
        fuzz::require(drain(received_) == expected_, "messages come out whole, once and in order",
                      line);
        expected_.clear();
        fake_log::take();
    }

  private:
    static std::string notice(bool connected) {
        return std::string(R"({"version":"2.4","service":"internal-ipc","cmd":")") +
               (connected ? "connected\"}" : "disconnected\"}");
    }

    // As in the worker's loop, a connection ends before the next attempt.
    void connect() {
        // After the end of a connection, the link does not repeat its notice.
        if (!linked_) expected_.push_back(notice(false));
        disconnect();
        // The wait empties the queue: it has more passes than a script has lines.
        for (const auto& text : to_send_) act_on_link_command(text);
        to_send_.clear();
        linked_ = worker_.start_check();
        fuzz::require(linked_ == !unlinked_, "an attempt is made unless the link was given up");
        partial_ = "";
    }
    void disconnect() {
        if (!linked_) return;
        worker_.on_stop();
        expected_.push_back(notice(false));
        linked_ = connected_ = false;
        partial_ = "";
    }
    void queue(const std::string& text) {
        to_send_.push_back(text);
        queue_.push(buffer_of(text));
    }

    void happen(char what, std::string_view text) {
        switch (what) {
            case 'e': established(); break;
            case 'p': call(LWS_CALLBACK_CLIENT_RECEIVE_PONG); break;
            case 'r': receive(text); break;
            case 'b':
                library.remaining = 0;
                library.final_fragment = true;
                call(LWS_CALLBACK_CLIENT_RECEIVE);
                break;
            case 'w': writeable(fuzz::cut_number<unsigned>(text) % 16); break;
            case 'o': other(fuzz::cut_number<unsigned>(text) % (LWS_CALLBACK_USER + 1)); break;
            default: break;
        }
    }
    // Calls the callback as the library does; without a connection there is no dispatcher.
    static void call(int reason, void* data = nullptr, std::size_t size = 0) {
        rfcd::lws_static_callback(fake_lws::connection(), static_cast<lws_callback_reasons>(reason),
                                  nullptr, data, size);
    }
    void established() {
        if (linked_) {
            expected_.push_back(notice(true));
            connected_ = true;
        }
        call(LWS_CALLBACK_CLIENT_ESTABLISHED);
    }
    // Skips the events that have lines of their own.
    static void other(unsigned reason) {
        switch (reason) {
            case LWS_CALLBACK_CLIENT_ESTABLISHED:
            case LWS_CALLBACK_CLIENT_RECEIVE:
            case LWS_CALLBACK_CLIENT_RECEIVE_PONG:
            case LWS_CALLBACK_CLIENT_WRITEABLE: return;
            default: call(static_cast<int>(reason));
        }
    }
    void receive(std::string_view text) {
        const auto remaining = fuzz::cut_number<std::size_t>(text);
        fuzz::cut(text, ',');
        const bool final_fragment = fuzz::cut(text, ',') == "1";
        library.remaining = remaining;
        library.final_fragment = final_fragment;
        if (linked_ && partial_) {
            const auto size = partial_->size() + text.size();
            if (remaining > websock_worker::max_message_size ||
                size > websock_worker::max_message_size - remaining) {
                partial_.reset();  // too long: the link ignores the rest of the connection
            } else {
                *partial_ += text;
                if (remaining == 0 && final_fragment)
                    expected_.push_back(*std::exchange(partial_, ""));
            }
        }
        std::string data(text);
        call(LWS_CALLBACK_CLIENT_RECEIVE, data.data(), data.size());
        fuzz::require(!linked_ || partial_ || !worker_.keep_running(&running_),
                      "an endless message is cut off");
    }
    void writeable(unsigned room) {
        library.room = static_cast<int>(room);
        call(LWS_CALLBACK_CLIENT_WRITEABLE);
        auto record = fake_lws::take_record();
        if (!linked_) {
            fuzz::require(record.empty(), "nothing is written without a connection", record);
            return;
        }
        std::string sent;
        if (const std::string ping = "write 5 , ask, "; record.starts_with(ping)) {
            fuzz::require(connected_ && room > 0, "a ping goes out when it can");
            record.erase(0, ping.size());
            --room;
        }
        while (room > 0 && !to_send_.empty()) {
            const std::string text = to_send_.front();
            to_send_.erase(to_send_.begin());
            if (act_on_link_command(text)) continue;
            sent += "write 0 " + text + ", ";
            --room;
            if (library.write_result < 0) break;
        }
        fuzz::require(record == sent + "ask, ", "what is queued is written, in order", record);
    }
    // True when the message is for the link itself.
    bool act_on_link_command(const std::string& text) {
        const rfcd::json_reader message(text.c_str());
        const char* service = message.get_string("service");
        if (service == nullptr || strcasecmp(service, "internal-ipc") != 0) return false;
        const char* cmd = message.get_string("cmd");
        if (cmd != nullptr && strcasecmp(cmd, "status") == 0)
            expected_.push_back(notice(connected_));
        if (cmd != nullptr && strcasecmp(cmd, "unlink") == 0) unlinked_ = true;
        return true;
    }

    rfcd::running_flag running_ = true;
    rfcd::safe_queue queue_;
    rfcd::safe_queue received_;
    websock_worker worker_{{queue_, received_},
                           {.service = rfcd::service_index::rrm,
                            .host = "host",
                            .path = "/path",
                            .port = 80,
                            .initial_delay = 50,
                            .max_delay = 60,
                            .running = &running_}};

    // The model.
    bool linked_ = false;     // an attempt has begun and has not ended
    bool connected_ = false;  // its handshake is complete
    bool unlinked_ = false;
    std::optional<std::string> partial_ = "";  // null after a message that was too long
    std::vector<std::string> to_send_;
    std::vector<std::string> expected_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    link_session session;
    fuzz::play_lines(fuzz::text_of(data, size), [&](std::string_view line) {
        session.play(line);
        return true;
    });
    return 0;
}
