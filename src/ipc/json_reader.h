// Reads one JSON value. A reader made from a text owns the parsed tree. A lookup returns another
// reader, a view into the tree, which may be copied and is valid while the owner lives. A reader
// without a value is empty: every lookup on it finds nothing, so a text that cannot be parsed
// behaves like an empty message. One thread at a time may use a reader.
//
// json-c does the conversions: an integer comes from a number (clamped to 32 bits), a boolean or a
// numeric string; a string comes from any value, from other types than strings as their JSON text.
#pragma once

#include <cstdint>
#include <memory>

struct json_object;

namespace rfcd {

class json_reader {
  public:
    // Parses a zero-terminated text; empty when `text` is null, does not parse, nests deeper than
    // json-c's limit of 32 levels, or would take more memory than a message may.
    explicit json_reader(const char* text);

    // True when there is no value here, or JSON null.
    bool empty() const { return object_ == nullptr; }

    bool is_object() const;
    // True when the value is an object with this member, JSON null included.
    bool contains(const char* key) const;
    // 0 when the member is missing or null.
    std::int32_t get_int(const char* key) const;
    // Null when the member is missing or null. The tree owns the text.
    const char* get_string(const char* key) const;
    // A view of the member, whatever its type.
    json_reader get_object(const char* key) const;
    // A view of the element, counting from 0; empty when this is not an array or lacks the element.
    json_reader get_array_item(std::int32_t index) const;
    // 0 when this is not an array.
    std::int32_t array_length() const;

    // The value itself, to make a text of it; null when empty. The caller does not own it.
    json_object* object() const { return object_; }

  private:
    explicit json_reader(json_object* view) : object_(view) {}
    json_object* member(const char* key) const;

    std::shared_ptr<json_object> owner_;  // null in a view
    json_object* object_;
};

}  // namespace rfcd
