// What a JSON text would cost as a tree. A short text can ask for a lot of memory: an empty object
// takes two bytes to write and the better part of a kilobyte to hold.
#pragma once

namespace rfcd {

// True when the tree of the zero-terminated text would stay within 128 MiB. An estimate from the
// text's brackets and commas; the text need not be JSON. Linear in its length.
bool is_affordable_json(const char* text);

}  // namespace rfcd
