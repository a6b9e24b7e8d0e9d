// The exchanges with configd, networkd and the scan listener.
#include "ipc/ipc_helper.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/monotonic_clock.h"
#include "main/logging.h"
#include "platform/replywait.h"
#include "workers/loop_progress.h"

namespace rfcd {

namespace {

constexpr unsigned module_number = 28;
constexpr std::uint8_t scan_listener_peer = 34;

// The helper listens to a late peer until nothing has come for quiet_ms, which it checks every
// quiet_step_us. It listens to a peer that is never quiet for longest_unrest_ms.
constexpr std::int64_t quiet_ms = 1000;
constexpr std::uint32_t quiet_step_us = 10'000;
constexpr std::int64_t longest_unrest_ms = 20'000;

// A wait that ends without an answer and sooner than this has failed at once: nobody took the
// request, so nobody owes an answer to it.
constexpr std::int64_t failed_at_once_ms = 1000;

// After this many requests in a row with one answer each, the peer owes nothing any more: the
// missing answers will not come.
constexpr int enough_single_answers = 3;

constexpr const char* getconf_name = "int ipc_helper::getconf(const string&, std::string&) const";
constexpr const char* update_skylark_name =
    "int ipc_helper::update_skylark(const string&, const std::vector<std::pair<"
    "std::basic_string<char>, std::basic_string<char> > >&) const";
constexpr const char* set_wisd_bw_list_name =
    "int ipc_helper::set_wisd_bw_list(const string&) const";

peermsg_ctx* join_bus(peermsg_settings& settings) {
    peermsg_ctx* bus = peermsg_init(module_number, &settings, PEERMSG_MODE_PEER);
    if (bus == nullptr) {
        log_error(daemon_logger, "Error: couldn't ctx initialization\n");
        std::exit(-1);
    }
    return bus;
}

// The tree library returns null when memory runs out.
std::string text_of(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

ipc_helper::ipc_helper(const running_flag* running)
    : running_(running), bus_(join_bus(settings_)) {}

ipc_helper::~ipc_helper() = default;

cfg_ptr ipc_helper::send_and_wait(cfg_tree* request, const char* answer_command, std::uint8_t peer,
                                  const char* error_text) const {
    const char* text = cfg_serialize_compact(request);
    if (text == nullptr || is_stopping()) return nullptr;

    const long_wait request_wait(wait_reason::request);
    const bool started = peermsg_peer_start(bus_.get()) == 0;
    if (const auto late = late_peers_.find(peer); started && late != late_peers_.end()) {
        take_until_quiet([&](const bus_message& /*unasked*/) { --late->second.answers; });
        if (late->second.answers <= 0) late_peers_.erase(late);
    }
    cfg_ptr answer;
    if (!is_stopping()) {
        peermsg_msg_send(bus_.get(), text, peer, std::strlen(text));
        answer = wait_answer(answer_command, peer, error_text);
    }
    peermsg_peer_stop(bus_.get());
    return answer;
}

cfg_ptr ipc_helper::wait_answer(const char* answer_command, std::uint8_t peer,
                                const char* error_text) const {
    // The wait ends at a signal, but not at one that came before it.
    if (is_stopping()) return nullptr;

    const auto start_ms = monotonic_milliseconds();
    cfg_ptr answer(replywait_wait_answer(bus_.get(), answer_command, error_text, reply_timeout_));
    if (answer) {
        return late_peers_.contains(peer) ? last_answer(std::move(answer), answer_command, peer)
                                          : std::move(answer);
    }
    if (monotonic_milliseconds() - start_ms >= failed_at_once_ms) {
        ++late_peers_[peer].answers;
    } else {
        late_peers_.erase(peer);
    }
    return nullptr;
}

// Returns the last answer of a late peer: the answers before it belong to earlier requests.
cfg_ptr ipc_helper::last_answer(cfg_ptr answer, const char* answer_command,
                                std::uint8_t peer) const {
    auto& late = late_peers_.at(peer);
    int further = 0;
    take_until_quiet([&](const bus_message& message) {
        cfg_ptr later(cfg_parse_buffer(std::string(message.text()).c_str()));
        const char* command = cfg_get_param(later.get(), "command");
        if (command == nullptr || std::strcmp(command, answer_command) != 0) return;
        answer = std::move(later);
        ++further;
    });

    late.answers -= further;
    late.single = further == 0 ? late.single + 1 : 0;
    if (late.answers <= 0 || late.single >= enough_single_answers) late_peers_.erase(peer);
    return answer;
}

// Passes every message to `take` until none has come for a while, or the daemon stops.
template <typename Take>
void ipc_helper::take_until_quiet(Take take) const {
    const auto end_ms = monotonic_milliseconds() + longest_unrest_ms;
    auto quiet_from_ms = monotonic_milliseconds() + quiet_ms;
    while (!is_stopping() && monotonic_milliseconds() < std::min(quiet_from_ms, end_ms)) {
        const bus_message message(peermsg_get_msg_from_queue_no_wait(bus_.get()));
        if (message) {
            take(message);
            quiet_from_ms = monotonic_milliseconds() + quiet_ms;
        } else {
            pause_microseconds(quiet_step_us);
        }
    }
}

bool ipc_helper::is_ok(cfg_tree* answer) {
    const char* status = cfg_get_param(answer, "status");
    return status != nullptr && std::strcmp(status, "ok") == 0;
}

const char* ipc_helper::reason_of(cfg_tree* answer) {
    const char* reason = cfg_get_param(answer, "reason");
    return reason == nullptr ? "invalid response" : reason;
}

int ipc_helper::getconf(const std::string& path, std::string& value) const {
    if (path.empty() || is_stopping()) return -1;

    cfg_ptr request(cfg_get_empty());
    if (!request) {
        log_error(daemon_logger, "%s:%d> can't create json object\n", getconf_name, 56);
        return -1;
    }
    cfg_set_param(request.get(), "command", "get");
    cfg_set_param(request.get(), "path", path.c_str());
    const auto answer =
        send_and_wait(request.get(), "get-response", configd_peer, "Error: can't get config\n");
    if (!answer) {
        if (is_stopping()) return -1;
        log_error(daemon_logger, "Error: path (%s) reason (not found)\n", path.c_str());
        return -1;
    }
    cfg_tree* node = cfg_get_child(answer.get(), "value");
    if (node == nullptr) {
        if (daemon_logger.enabled(log_mask_error)) {
            log_error(daemon_logger, "Child 'value' not found in configd response: %s\n",
                      text_of(cfg_serialize(answer.get())).c_str());
        }
        return -1;
    }
    switch (cfg_get_type(node)) {
        case CFG_TYPE_TREE:
        case CFG_TYPE_LIST: value = text_of(cfg_serialize(node)); return 0;
        case CFG_TYPE_VALUE: value = text_of(cfg_object_to_string(node)); return 0;
        case CFG_TYPE_NONE:
            if (daemon_logger.enabled(log_mask_error)) {
                log_error(daemon_logger, "Child 'value' has type 'none' in configd response: %s\n",
                          text_of(cfg_serialize(answer.get())).c_str());
            }
            return -1;
        default: return 0;
    }
}

int ipc_helper::read_setting(const std::string& path, std::string& value) const {
    log_debug(daemon_logger, "getconf '%s'\n", path.c_str());
    return getconf(path, value);
}

int ipc_helper::update_skylark(const std::string& ifname, const parameters& pairs) const {
    if (ifname.empty() || pairs.empty()) return -1;

    cfg_ptr request(cfg_get_empty());
    if (!request) {
        log_error(daemon_logger, "%s:%d> can't create json object\n", update_skylark_name, 141);
        return -1;
    }
    cfg_set_param(request.get(), "command", "update-skylark");
    cfg_set_param(request.get(), "ifname", ifname.c_str());
    cfg_tree* params = cfg_insert_empty_subtree(request.get(), "params");
    if (params == nullptr) {
        log_error(daemon_logger, "%s:%d> not enough memory\n", update_skylark_name, 153);
        return -1;
    }
    for (const auto& [key, value] : pairs) {
        cfg_insert_child_string(params, key.c_str(), value.c_str());
    }

    const auto answer = send_and_wait(request.get(), "update-skylark-response", networkd_peer,
                                      "Error: can't update SkyLark params\n");
    if (!answer) {
        if (is_stopping()) return -1;
        log_error(daemon_logger, "Error: no response (%s)\n", "update_skylark");
        return -1;
    }
    if (is_ok(answer.get())) return 0;
    log_error(daemon_logger, "Error: ifname (%s) reason (%s)\n", ifname.c_str(),
              reason_of(answer.get()));
    return -1;
}

int ipc_helper::set_wisd_bw_list(const std::string& text) const {
    cfg_ptr request(cfg_parse_buffer(text.c_str()));
    if (!request) {
        log_error(daemon_logger, "%s:%d> can't parse json string '%s'\n", set_wisd_bw_list_name,
                  326, text.c_str());
        return -1;
    }
    cfg_set_param(request.get(), "command", "update-wids-mac-lists");

    if (daemon_logger.enabled(log_mask_debug)) {
        log_debug(daemon_logger, "Try to send update-wids-mac-lists to networkd:\n%s\n",
                  text_of(cfg_serialize(request.get())).c_str());
    }

    const auto answer = send_and_wait(request.get(), "update-wids-mac-lists-response",
                                      networkd_peer, "Error: can't update wids b/w params\n");
    if (!answer) {
        if (is_stopping()) return -1;
        log_error(daemon_logger, "Error: no response\n");
        return -1;
    }
    if (is_ok(answer.get())) return 0;
    log_error(daemon_logger, "Error: reason (%s)\n", reason_of(answer.get()));
    return -1;
}

int ipc_helper::unlock_scan(const std::string& ifname) const {
    send_scan_notice("unlock-scan", ifname);
    return 0;
}

void ipc_helper::lock_scan(const std::string& ifname) const {
    send_scan_notice("lock-scan", ifname);
}

void ipc_helper::send_scan_notice(const char* command, const std::string& ifname) const {
    const cfg_ptr notice(cfg_get_empty());
    if (!notice) return;
    cfg_set_param(notice.get(), "command", command);
    cfg_set_param(notice.get(), "interface", ifname.c_str());
    const char* text = cfg_serialize_compact(notice.get());
    if (text == nullptr) return;
    peermsg_msg_send(bus_.get(), text, scan_listener_peer, std::strlen(text));
}

}  // namespace rfcd
