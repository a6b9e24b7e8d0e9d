// What a JSON text would cost as a tree. A short text can ask for a lot of memory: an empty object
// takes two bytes to write and the better part of a kilobyte to hold.
#pragma once

#include <cstddef>

namespace rfcd {

// The most bytes that the tree of the zero-terminated text takes beside its strings, by the text's
// brackets, commas and colons. Beyond 128 MiB it is not counted to the end. The text need not be
// JSON. Linear in its length.
std::size_t json_cost(const char* text);

// True when that stays within 128 MiB.
bool is_affordable_json(const char* text);

}  // namespace rfcd
