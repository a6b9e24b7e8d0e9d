#include "aplocald/local_services.h"

#include "aplocald/log.h"
#include "aplocald/utf8.h"

namespace aplocal {

namespace {

// What a setting is when the store has no value for it.
constexpr struct {
    std::string_view end;  // of the path
    const char* value;
} defaults[] = {
    {.end = "/skylark/dca", .value = "true"},
    {.end = "/skylark/tpc", .value = "true"},
    {.end = "/wids/enabled", .value = "false"},
    {.end = "/wids/scan-mode", .value = "passive"},
    {.end = "/wids/scan-interface", .value = "none"},
    {.end = "/wlan/radio/auto-channel", .value = "false"},
    {.end = "/wlan/radio/use-limit-channels", .value = "false"},
    {.end = "/vap/captive-portal/enabled", .value = "false"},
};

const char* default_of(const std::string& path) {
    for (const auto& row : defaults) {
        if (path.ends_with(row.end)) return row.value;
    }
    return nullptr;
}

std::string answer_text(const std::string& command, const std::optional<std::string>& problem) {
    const json_ptr answer(json_object_new_object());
    const auto add = [&](const char* name, const std::string& text) {
        json_object_object_add(
            answer.get(), name,
            json_object_new_string_len(text.data(), static_cast<int>(text.size())));
    };
    add("command", command + "-response");
    add("status", problem ? "fail" : "ok");
    if (problem) add("reason", *problem);
    return utf8_text(json_text(answer.get()));
}

// Sends no answer to an answer, or two daemons would never stop. The log does not show the text,
// which may contain keys.
void refuse(const std::string& text, const std::string& command,
            const local_services::answer_handler& answer) {
    log(severity::warning, command.empty() ? "a request of " + std::to_string(text.size()) +
                                                 " bytes is not a JSON object with a command"
                                           : "unknown request \"" + command.substr(0, 100) + "\"");
    const bool is_request = !command.empty() && !command.ends_with("-response");
    if (is_request) answer(answer_text(command, "unknown command"));
}

std::string value_answer(const std::string& json) {
    return R"({"command":"get-response","status":"ok","value":)" + utf8_text(json) + "}";
}

}  // namespace

void local_services::ask_configd(const std::string& text, const answer_handler& answer) {
    const auto request = parse_object(text);
    const std::string command = text_member(request.get(), "command");

    if (command == "get") return answer(get(request.get()));
    if (command == "set") return answer(set(request.get()));
    refuse(text, command, answer);
}

std::string local_services::get(json_object* request) {
    const std::string path = text_member(request, "path");
    if (const auto value = parts_.live.get(path)) return value_answer(json_string(*value));
    if (const auto json = parts_.stored.get(path)) return value_answer(*json);
    if (const char* const value = default_of(path)) return value_answer(json_string(value));
    return answer_text("get", "no such path");
}

std::string local_services::set(json_object* request) {
    const std::string path = text_member(request, "path");
    json_object* const value = json_object_object_get(request, "value");
    if (value == nullptr) return answer_text("set", "no value");
    if (live_values::is_decided_elsewhere(path)) {
        return answer_text("set", "hostapd and the kernel decide about this value");
    }
    return answer_text("set", parts_.stored.set(path, json_text(value)));
}

void local_services::ask_networkd(const std::string& text, const answer_handler& answer) {
    const auto request = parse_object(text);
    const std::string command = text_member(request.get(), "command");
    const struct {
        std::string_view name;
        const action& apply;
    } actions[] = {
        {.name = "update-skylark-fbt", .apply = parts_.update_fast_transition},
        {.name = "reset-skylark-fbt", .apply = parts_.reset_fast_transition},
        {.name = "update-wids-mac-lists", .apply = parts_.take_mac_lists},
    };

    if (command == "update-skylark") return update_radio(request.get(), answer);
    for (const auto& row : actions) {
        if (row.name == command) return answer(answer_text(command, row.apply(request.get())));
    }
    refuse(text, command, answer);
}

void local_services::update_radio(json_object* request, const answer_handler& answer) {
    radio_settings::parameters wanted;
    json_object* const params = json_object_object_get(request, "params");
    if (json_object_is_type(params, json_type_object)) {
        json_object_object_foreach(params, key, value) wanted.emplace_back(key, plain_text(value));
    }

    const std::string radio = text_member(request, "ifname");
    parts_.radio.apply(radio, wanted, [answer, radio](const std::optional<std::string>& problem) {
        if (problem) log(severity::error, radio + ": " + *problem);
        answer(answer_text("update-skylark", problem));
    });
}

}  // namespace aplocal
