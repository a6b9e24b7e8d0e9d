// The messages of service "internal-ipc" between this worker and its service worker: notices about
// the state of the connection, and the commands "status" and "unlink".
#include <strings.h>

#include <cstring>
#include <ctime>
#include <string_view>

#include "base/services.h"
#include "ipc/json_reader.h"
#include "ipc/json_writer.h"
#include "main/logging.h"
#include "websock/websock_worker.h"

namespace rfcd {

namespace {

constexpr const char* timezone_command = "update-timezone";

// True when `text` contains `word`, in upper or lower case, with the word's hyphen at `hyphen`.
bool stands_around(std::string_view text, std::size_t hyphen, std::string_view word) {
    const auto before = word.find('-');
    return hyphen >= before && text.size() - hyphen >= word.size() - before &&
           strncasecmp(text.data() + hyphen - before, word.data(), word.size()) == 0;
}

// A quick test that spares nearly every message the parsing: false when the text contains neither
// of the two words that concern the link. A word could only be hidden by a "\u" escape, so a text
// with one passes the test.
bool may_be_for_link(std::string_view text) {
    for (auto at = text.find('-'); at != text.npos; at = text.find('-', at + 1)) {
        if (stands_around(text, at, link_service) || stands_around(text, at, timezone_command)) {
            return true;
        }
    }
    return text.find("\\u") != text.npos;
}

}  // namespace

// push_state keeps notices from piling up while the service worker takes none: without hostapd, the
// RRM client may be inactive for weeks while the link comes and goes.
void websock_worker::notify_connected() {
    out_queue_.push_state(connected_notice_, disconnected_notice_);
}

void websock_worker::notify_disconnected() {
    out_queue_.push_state(disconnected_notice_, connected_notice_);
}

// Every "status" command gets an answer, whatever notices are in the queue.
void websock_worker::answer_status() {
    const char* state = connected() ? "connected" : "disconnected";
    push_json(out_queue_, json_writer(link_service, state, ""));
}

// Logs a message from the queue and obeys a link command in it. True when the message was for the
// link only and must not be sent.
bool websock_worker::take_from_queue(const buffer_ptr& message) {
    log_debug(daemon_logger, "%s->From queue\n", name().c_str());
    dump_buffer(*message);
    return process_internal(*message);
}

bool websock_worker::process_internal(const buffer_info_t& message) {
    if (!may_be_for_link(message.data)) return false;
    const json_reader reader(message.data.c_str());
    if (reader.empty()) return false;

    const char* command = reader.get_string("command");
    if (command != nullptr && std::strcmp(command, timezone_command) == 0) tzset();
    const char* service = reader.get_string("service");
    if (service == nullptr || strcasecmp(service, link_service) != 0) return false;

    const char* cmd = reader.get_string("cmd");
    if (cmd == nullptr) return true;
    if (strcasecmp(cmd, "status") == 0) {
        answer_status();
    } else if (strcasecmp(cmd, "unlink") == 0) {
        process_internal_unlink();
    }
    return true;
}

void websock_worker::process_internal_unlink() {
    log_debug(daemon_logger, "%s->%s:%d\n", name().c_str(), "process_internal_unlink", 69);
    end_connection("the service worker gave it up");
    status_.unlinked = true;
    status_.note_change();
}

}  // namespace rfcd
