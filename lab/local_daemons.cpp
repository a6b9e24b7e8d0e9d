#include "lab/local_daemons.h"

#include <json-c/json.h>

#include <memory>
#include <stdexcept>

#include "harness/child_process.h"

namespace lab {

namespace {

constexpr std::uint8_t configd_module = 1;
constexpr std::uint8_t networkd_module = 6;
constexpr const char* garbage = "{\"command\":[\"get-response\",";

using json = std::unique_ptr<json_object, decltype(&json_object_put)>;

json parse(const std::string& text) { return {json_tokener_parse(text.c_str()), &json_object_put}; }

json_object* member(json_object* from, const char* name) {
    json_object* value = nullptr;
    json_object_object_get_ex(from, name, &value);
    return value;
}

std::string text_of(json_object* from, const char* name) {
    const char* text = json_object_get_string(member(from, name));
    return text == nullptr ? "" : text;
}

std::string quoted(const std::string& text) {
    const json value(json_object_new_string(text.c_str()), &json_object_put);
    return json_object_to_json_string(value.get());
}

std::string answer_text(const std::string& command, const char* rest) {
    return "{\"command\":\"" + command + "-response\"," + rest + "}";
}

}  // namespace

config_store::config_store(const std::string& file) {
    const json root = parse(read_file(file));
    if (json_object_is_type(root.get(), json_type_object) == 0) {
        throw std::runtime_error("no store in " + file);
    }
    json_object_object_foreach(root.get(), path, value) {
        values_[path] = json_object_to_json_string(value);
    }
}

std::optional<std::string> config_store::get(const std::string& path) const {
    const std::lock_guard guard(lock_);
    const auto found = values_.find(path);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
}

void config_store::set(const std::string& path, const std::string& value) {
    set_json(path, quoted(value));
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

void configd::answer(bus_peer& self, const bus_peer::message& request) {
    ++requests_;
    const json tree = parse(request.text);
    const std::string command = text_of(tree.get(), "command");
    const std::string path = text_of(tree.get(), "path");
    if (command == "set") store_.set(path, text_of(tree.get(), "value"));
    if (command != "get" || mood_ == mood::silent) return;
    if (mood_ == mood::garbled) {
        self.send_quietly(request.source, garbage);
        return;
    }
    const auto value = mood_ == mood::refusing ? std::nullopt : store_.get(path);
    self.send_quietly(request.source,
                      value ? answer_text("get", ("\"status\":\"ok\",\"value\":" + *value).c_str())
                            : answer_text("get", R"("status":"fail","reason":"no such path")"));
}

networkd::networkd(transcript& story, apply_function apply)
    : apply_(std::move(apply)),
      peer_(story, "networkd", networkd_module,
            [this](bus_peer& self, const auto& request) { answer(self, request); }) {}

void networkd::answer(bus_peer& self, const bus_peer::message& request) {
    // Before the answer: whoever sees that may look for the request at once.
    requests_.put(request.text);
    const json tree = parse(request.text);
    const std::string command = text_of(tree.get(), "command");
    const mood today = mood_;
    json_object* const params = member(tree.get(), "params");
    if (today == mood::helpful && command == "update-skylark" &&
        json_object_is_type(params, json_type_object) != 0) {
        json_object_object_foreach(params, key, value) {
            if (value != nullptr) {
                apply_(text_of(tree.get(), "ifname"), key, json_object_get_string(value));
            }
        }
    }
    switch (today) {
        case mood::helpful:
            self.send(request.source, answer_text(command, R"("status":"ok")"));
            break;
        case mood::refusing:
            self.send(request.source,
                      answer_text(command, R"("status":"fail","reason":"not today")"));
            break;
        case mood::garbled: self.send(request.source, garbage); break;
        case mood::silent: break;
    }
}

}  // namespace lab
