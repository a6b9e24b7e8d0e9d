#include "aplocald/json.h"

#include "base/json_cost.h"

namespace aplocal {

json_ptr parse_object(const std::string& text) {
    if (!rfcd::is_affordable_json(text.c_str())) return nullptr;

    const std::unique_ptr<json_tokener, decltype(&json_tokener_free)> tokener(json_tokener_new(),
                                                                              &json_tokener_free);
    if (!tokener) return nullptr;
    json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT);
    json_ptr value(
        json_tokener_parse_ex(tokener.get(), text.c_str(), static_cast<int>(text.size())));
    return json_object_is_type(value.get(), json_type_object) ? std::move(value) : nullptr;
}

std::string text_member(json_object* object, const char* name) {
    json_object* const value = json_object_object_get(object, name);
    return json_object_is_type(value, json_type_string) ? plain_text(value) : "";
}

std::string plain_text(json_object* value) {
    switch (json_object_get_type(value)) {
        case json_type_null:
        case json_type_object:
        case json_type_array: return "";
        case json_type_string:
            return {json_object_get_string(value),
                    static_cast<std::size_t>(json_object_get_string_len(value))};
        default: return json_object_get_string(value);
    }
}

std::string plain_text_of(const std::string& json) {
    const json_ptr value(json_tokener_parse(json.c_str()));
    return plain_text(value.get());
}

std::string json_text(json_object* value) {
    return json_object_to_json_string_ext(value,
                                          JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

std::string json_string(const std::string& text) {
    const json_ptr value(json_object_new_string_len(text.data(), static_cast<int>(text.size())));
    return json_text(value.get());
}

}  // namespace aplocal
