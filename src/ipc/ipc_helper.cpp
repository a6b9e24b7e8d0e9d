// The exchanges with configd, networkd and the scan listener.
#include "ipc/ipc_helper.h"

#include <cstdlib>
#include <cstring>

#include "main/logging.h"
#include "platform/replywait.h"

namespace rfcd {

namespace {

constexpr unsigned module_number = 28;
constexpr std::uint8_t scan_listener_peer = 34;
constexpr peermsg_settings settings{PEERMSG_SETTINGS_CODE};

constexpr const char* getconf_name = "int ipc_helper::getconf(const string&, std::string&) const";
constexpr const char* update_skylark_name =
    "int ipc_helper::update_skylark(const string&, const std::vector<std::pair<"
    "std::basic_string<char>, std::basic_string<char> > >&) const";
constexpr const char* set_wisd_bw_list_name =
    "int ipc_helper::set_wisd_bw_list(const string&) const";

peermsg_ctx* join_bus() {
    peermsg_ctx* bus = peermsg_init(module_number, &settings, PEERMSG_MODE_PEER);
    if (bus == nullptr) {
        log_error(daemon_logger, "Error: couldn't ctx initialization\n");
        std::exit(-1);
    }
    return bus;
}

}  // namespace

ipc_helper::ipc_helper() : bus_(join_bus()) {}

ipc_helper::~ipc_helper() = default;

cfg_ptr ipc_helper::send_and_wait(cfg_tree* request, const char* answer_command, std::uint8_t peer,
                                  const char* error_text) const {
    const char* text = cfg_serialize_compact(request);
    if (text == nullptr) return nullptr;
    peermsg_peer_start(bus_.get());
    peermsg_msg_send(bus_.get(), text, peer, std::strlen(text));
    cfg_ptr answer(replywait_wait_answer(bus_.get(), answer_command, error_text, reply_timeout_));
    peermsg_peer_stop(bus_.get());
    return answer;
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
    if (path.empty()) return -1;
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
        log_error(daemon_logger, "Error: path (%s) reason (not found)\n", path.c_str());
        return -1;
    }
    cfg_tree* node = cfg_get_child(answer.get(), "value");
    if (node == nullptr) {
        if (daemon_logger.enabled(log_mask_error)) {
            log_error(daemon_logger, "Child 'value' not found in configd response: %s\n",
                      cfg_serialize(answer.get()));
        }
        return -1;
    }
    switch (cfg_get_type(node)) {
        case CFG_TYPE_TREE:
        case CFG_TYPE_LIST: value = cfg_serialize(node); return 0;
        case CFG_TYPE_VALUE: value = cfg_object_to_string(node); return 0;
        case CFG_TYPE_NONE:
            if (daemon_logger.enabled(log_mask_error)) {
                log_error(daemon_logger, "Child 'value' has type 'none' in configd response: %s\n",
                          cfg_serialize(answer.get()));
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
                  cfg_serialize(request.get()));
    }
    const auto answer = send_and_wait(request.get(), "update-wids-mac-lists-response",
                                      networkd_peer, "Error: can't update wids b/w params\n");
    if (!answer) {
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
    peermsg_msg_send(bus_.get(), text, scan_listener_peer, std::strlen(text));
}

}  // namespace rfcd
