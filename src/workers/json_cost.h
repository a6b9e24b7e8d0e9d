// What a JSON text would cost as a tree. A short text can ask for a lot of memory: an empty object
// takes two bytes to write and the better part of a kilobyte to hold.
#pragma once

#include <cstddef>

namespace rfcd {

// The greatest cost that a text may have to be parsed, in bytes.
inline constexpr std::size_t max_json_cost = std::size_t{128} << 20;

// The most bytes that the tree of the zero-terminated text takes beside its strings, by the text's
// brackets, commas and colons. Beyond max_json_cost it is not counted to the end. The text need not
// be JSON. Linear in its length.
std::size_t json_cost(const char* text);

// True when that stays within max_json_cost.
bool is_affordable_json(const char* text);

}  // namespace rfcd
