#include "ipc/json_reader.h"

#include <json-c/json.h>

#include <cstring>

#include "base/json_cost.h"
#include "main/logging.h"

namespace rfcd {

namespace {

std::shared_ptr<json_object> parse(const char* text) {
    if (text == nullptr) return nullptr;
    if (!is_affordable_json(text)) {
        log_error(daemon_logger,
                  "json: a message of %zu bytes is refused, its values would take more than %zu MiB"
                  " of memory\n",
                  std::strlen(text), max_json_cost >> 20);
        return nullptr;
    }
    return {json_tokener_parse(text), [](json_object* tree) { json_object_put(tree); }};
}

}  // namespace

json_reader::json_reader(const char* text) : owner_(parse(text)), object_(owner_.get()) {}

bool json_reader::is_object() const { return json_object_is_type(object_, json_type_object) != 0; }

bool json_reader::contains(const char* key) const {
    json_object* ignored = nullptr;
    return json_object_object_get_ex(object_, key, &ignored) != 0;
}

json_object* json_reader::member(const char* key) const {
    json_object* value = nullptr;
    json_object_object_get_ex(object_, key, &value);
    return value;
}

std::int32_t json_reader::get_int(const char* key) const {
    return json_object_get_int(member(key));
}

const char* json_reader::get_string(const char* key) const {
    return json_object_get_string(member(key));
}

json_reader json_reader::get_object(const char* key) const { return json_reader(member(key)); }

json_reader json_reader::get_array_item(std::int32_t index) const {
    if (index < 0 || index >= array_length())
        return json_reader(static_cast<json_object*>(nullptr));
    return json_reader(json_object_array_get_idx(object_, static_cast<std::size_t>(index)));
}

std::int32_t json_reader::array_length() const {
    if (!json_object_is_type(object_, json_type_array)) return 0;
    return static_cast<std::int32_t>(json_object_array_length(object_));
}

}  // namespace rfcd
