// Builds a JSON message, or an object or array inside one. The root writer owns the whole tree; a
// child's container belongs to its parent's from the moment it is made, so destroying a child
// leaves its values in the message. Build order: root, children, destroy the children, take the
// root's text. Used by one thread at a time.
//
// Keys come out in the order in which they were first added; adding a key again replaces its value.
#pragma once

#include <cstdint>
#include <string>

#include "workers/safe_queue.h"

struct json_object;

namespace rfcd {

class json_writer {
  public:
    // A message: an object with "version", then "service", "cmd" and "ap-mac" where the argument is
    // not empty. Null arguments count as empty.
    json_writer(const char* service, const char* cmd, const char* ap_mac);

    json_writer(const json_writer&) = delete;
    json_writer& operator=(const json_writer&) = delete;
    ~json_writer();

    // False when the container could not be made; nothing was inserted then.
    bool made() const { return object_ != nullptr; }

    // A new object or array inside this one: under `key` in an object, at the end of an array. This
    // one outlives its child.
    json_writer add_object(const char* key = nullptr) { return {kind::object, *this, key}; }
    json_writer add_array(const char* key = nullptr) { return {kind::array, *this, key}; }

    // Under `key` in an object; in the next slot of an array, whatever the key. A null text counts
    // as empty.
    void add_string(const char* key, const char* value);
    void add_int(const char* key, std::int32_t value);

    // The container; owned by the root writer.
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
// backslash before each slash inside a string. Owned by the value; a null value gives "null", and a
// lack of memory null.
const char* json_text(json_object* value);

// Puts the message's text onto the queue, in a buffer of its own; nothing when the message could
// not be made.
void push_json(safe_queue& queue, const json_writer& message);

}  // namespace rfcd
