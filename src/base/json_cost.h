// Estimates the memory that the tree of a JSON text would take. A short text can need a lot of
// memory: an empty object is two bytes of text and most of a kilobyte as a tree. Pure functions.
#pragma once

#include <cstddef>

namespace rfcd {

// In bytes. The daemon does not parse a text that costs more.
inline constexpr std::size_t max_json_cost = std::size_t{128} << 20;

// An upper limit for the bytes that the tree of the zero-terminated text takes, without its
// strings. Counts brackets, commas and colons, and stops counting beyond max_json_cost. The text
// need not be JSON. Takes time linear in its length.
std::size_t json_cost(const char* text);

// True when the cost stays within max_json_cost.
bool is_affordable_json(const char* text);

}  // namespace rfcd
