// JSON texts of the bus and of the store. Nothing here throws for a text from outside.
#pragma once

#include <json-c/json.h>

#include <memory>
#include <string>

namespace aplocal {

struct release_json {
    void operator()(json_object* value) const { json_object_put(value); }
};
using json_ptr = std::unique_ptr<json_object, release_json>;

// Null when the text is not one whole JSON object, or when its tree would take too much memory.
json_ptr parse_object(const std::string& text);

// The member `name` when it is a string; empty when it is anything else.
std::string text_member(json_object* object, const char* name);

// The text of a plain value: "36" for 36 and for "36"; empty for an object, a list and null.
std::string plain_text(json_object* value);

// The same of a JSON text.
std::string plain_text_of(const std::string& json);

// The value as JSON on one line.
std::string json_text(json_object* value);
// The JSON of a plain text, with its quotes.
std::string json_string(const std::string& text);

}  // namespace aplocal
