// JSON as the lab reads and writes it. The library is not the one that the daemon uses: a fault in
// the daemon's reading or writing cannot hide behind the same fault on this side.
//
// Nothing here throws for a text from outside: what is missing or of another type reads as empty.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace lab {

// Keeps the members of an object in the order in which they were added.
using json = nlohmann::ordered_json;

// The value of a text; null when the text is not JSON.
inline json parse_json(const std::string& text) {
    json value = json::parse(text, nullptr, false);
    return value.is_discarded() ? json() : value;
}

// The member of an object; null when `from` has no such member or is no object.
inline const json& member(const json& from, const char* name) {
    static const json null;
    const auto found = from.find(name);
    return found == from.end() ? null : *found;
}

// A member that is a string; empty when it is anything else.
inline std::string text_of(const json& from, const char* name) {
    const json& value = member(from, name);
    return value.is_string() ? value.get<std::string>() : "";
}

// A member that is an integer; 0 when it is anything else.
inline int number_of(const json& from, const char* name) {
    const json& value = member(from, name);
    return value.is_number_integer() ? value.get<int>() : 0;
}

// The value on one line. Bytes that are not UTF-8 are replaced.
inline std::string json_text(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace lab
