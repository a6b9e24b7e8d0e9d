// Builds a JSON message, or an object or array inside one. The root writer owns the whole tree. The
// container of a child is part of the tree from the beginning, so its values stay in the message
// when the child writer is destroyed. Order of use: make the root, make the children, destroy the
// children, take the root's text. One thread at a time may use a writer.
//
// The text has the keys in the order in which they were first added. Adding a key again replaces
// its value.
#pragma once

#include <cstdint>
#include <string>

#include "workers/safe_queue.h"

struct json_object;

namespace rfcd {

class json_writer {
  public:
    // Makes a message: an object with "version", then "service", "cmd" and "ap-mac", except those
    // whose argument is empty. Null arguments count as empty.
    json_writer(const char* service, const char* cmd, const char* ap_mac);

    json_writer(const json_writer&) = delete;
    json_writer& operator=(const json_writer&) = delete;
    ~json_writer();

    // False when the container could not be made; then nothing was inserted.
    bool made() const { return object_ != nullptr; }

    // Adds a new object or array: under `key` in an object, at the end of an array. This writer
    // outlives its child.
    json_writer add_object(const char* key = nullptr) { return {kind::object, *this, key}; }
    json_writer add_array(const char* key = nullptr) { return {kind::array, *this, key}; }

    // Adds a value: under `key` in an object, at the end of an array, which ignores the key. A null
    // text counts as empty.
    void add_string(const char* key, const char* value);
    void add_int(const char* key, std::int32_t value);

    // The container. The root writer owns it.
    json_object* object() const { return object_; }

    // The text so far, on one line; "null" when the container could not be made.
    std::string text() const;

  private:
    enum class kind { object, array };
    json_writer(kind what, json_writer& parent, const char* key);

    void add(const char* key, json_object* value);

    json_object* object_;
    const kind kind_;
    json_writer* const parent_;  // null in a root
    std::uint32_t next_index_ = 0;
};

// The text of a JSON value as every part of the daemon writes it: no blanks, keys in order, a
// backslash before each slash inside a string. The value owns the text. Returns "null" for a null
// value, and a null pointer when memory runs out.
const char* json_text(json_object* value);

// Pushes the message's text onto the queue, in a buffer of its own. Does nothing when the message
// could not be made.
void push_json(safe_queue& queue, const json_writer& message);

}  // namespace rfcd
