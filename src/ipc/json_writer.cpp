#include "ipc/json_writer.h"

#include <json-c/json.h>

#include <cstring>

namespace rfcd {

namespace {

constexpr const char* protocol_version = "2.4";

}  // namespace

json_writer::json_writer(const char* service, const char* cmd, const char* ap_mac)
    : object_(json_object_new_object()), kind_(kind::object), parent_(nullptr) {
    if (object_ == nullptr) return;
    const struct {
        const char* key;
        const char* value;
    } envelope[] = {
        {"version", protocol_version}, {"service", service}, {"cmd", cmd}, {"ap-mac", ap_mac}};
    for (const auto& [key, value] : envelope) {
        if (value != nullptr && *value != '\0') add_string(key, value);
    }
}

json_writer::json_writer(kind what, json_writer& parent, const char* key)
    : object_(what == kind::array ? json_object_new_array() : json_object_new_object()),
      kind_(what),
      parent_(&parent) {
    if (object_ == nullptr) return;
    if (!parent.made()) {
        json_object_put(object_);
        object_ = nullptr;
    } else if (parent.kind_ == kind::array) {
        json_object_array_add(parent.object_, object_);
        ++parent.next_index_;  // the child has taken this slot
    } else {
        json_object_object_add(parent.object_, key, object_);
    }
}

json_writer::~json_writer() {
    if (parent_ == nullptr) json_object_put(object_);
}

void json_writer::add_string(const char* key, const char* value) {
    add(key, json_object_new_string(value == nullptr ? "" : value));
}

void json_writer::add_int(const char* key, std::int32_t value) {
    add(key, json_object_new_int(value));
}

void json_writer::add(const char* key, json_object* value) {
    if (!made()) {
        json_object_put(value);
    } else if (kind_ == kind::array) {
        json_object_array_put_idx(object_, next_index_++, value);
    } else {
        json_object_object_add(object_, key, value);
    }
}

std::string json_writer::text() const {
    const char* text = json_text(object_);
    return text == nullptr ? "" : text;
}

const char* json_text(json_object* value) {
    return json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN);
}

void push_json(safe_queue& queue, const json_writer& message) {
    const char* text = message.made() ? json_text(message.object()) : nullptr;
    if (text == nullptr) return;
    const auto buffer = buffer_info_t::make();
    buffer->append(text, std::strlen(text));
    queue.push(buffer);
}

}  // namespace rfcd
