#include "lab/local_daemons.h"

#include <stdexcept>

#include "harness/child_process.h"
#include "lab/json.h"

namespace lab {

namespace {

constexpr std::uint8_t configd_module = 1;
constexpr std::uint8_t networkd_module = 6;

// The answer to a command: its status and one member more, unless that has no name.
std::string answer_text(const std::string& command, const char* status, const char* name = "",
                        const json& value = {}) {
    json answer;
    answer["command"] = command + "-response";
    answer["status"] = status;
    if (*name != '\0') answer[name] = value;
    return json_text(answer);
}

}  // namespace

config_store::config_store(const std::string& file) {
    const json root = parse_json(read_file(file));
    if (!root.is_object()) throw std::runtime_error("no store in " + file);

    for (const auto& [path, value] : root.items()) values_[path] = json_text(value);
}

std::optional<std::string> config_store::get(const std::string& path) const {
    const std::lock_guard guard(lock_);
    const auto found = values_.find(path);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
}

void config_store::set(const std::string& path, const std::string& value) {
    set_json(path, json_text(value));
}

void config_store::set_json(const std::string& path, const std::string& value) {
    const std::lock_guard guard(lock_);
    values_[path] = value;
}

void config_store::remove(const std::string& path) {
    const std::lock_guard guard(lock_);
    values_.erase(path);
}

configd::configd(transcript& story, config_store& store)
    : store_(store),
      peer_(story, "configd", configd_module,
            [this](bus_peer& self, const auto& request) { answer(self, request); }) {
    peer_.narrate(false);
}

void configd::set_mood(mood m, const std::string& part_of_path) {
    const std::lock_guard guard(lock_);
    mood_ = m;
    part_of_path_ = part_of_path;
}

mood configd::mood_for(const std::string& path) const {
    const std::lock_guard guard(lock_);
    return path.find(part_of_path_) == std::string::npos ? mood::helpful : mood_;
}

void configd::answer(bus_peer& self, const bus_peer::message& request) {
    ++requests_;
    const json message = parse_json(request.text);
    const std::string command = text_of(message, "command");
    const std::string path = text_of(message, "path");

    if (command == "set") store_.set(path, text_of(message, "value"));
    const mood today = mood_for(path);
    if (command != "get" || today == mood::silent) return;

    const auto value = today == mood::refusing ? std::nullopt : store_.get(path);
    self.send_quietly(request.source, value
                                          ? answer_text(command, "ok", "value", parse_json(*value))
                                          : answer_text(command, "fail", "reason", "no such path"));
}

networkd::networkd(transcript& story, apply_function apply)
    : apply_(std::move(apply)),
      peer_(story, "networkd", networkd_module,
            [this](bus_peer& self, const auto& request) { answer(self, request); }) {}

void networkd::answer(bus_peer& self, const bus_peer::message& request) {
    // Before the answer: a test that sees the answer may look for the request at once.
    requests_.put(request.text);
    const json message = parse_json(request.text);
    const std::string command = text_of(message, "command");
    const mood today = mood_;

    if (today == mood::helpful && command == "update-skylark") {
        const std::string ifname = text_of(message, "ifname");
        for (const auto& [key, value] : member(message, "params").items()) {
            if (value.is_string()) apply_(ifname, key, value.get<std::string>());
        }
    }

    switch (today) {
        case mood::helpful: self.send(request.source, answer_text(command, "ok")); break;
        case mood::refusing:
            self.send(request.source, answer_text(command, "fail", "reason", "not today"));
            break;
        case mood::silent: break;
    }
}

}  // namespace lab
