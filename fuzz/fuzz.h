// What the fuzz targets share. Most inputs are scripts, so that a finding can be read and written
// by hand: a line is one thing that happens, told by its first character.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// Ends the process when what always holds does not; the fuzzer keeps the input.
inline void require(bool holds, const char* what, std::string_view detail = {}) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n%.*s\n", what, static_cast<int>(detail.size()),
                 detail.data());
    std::abort();
}

inline std::string_view text_of(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// Takes what stands before the first `separator`, and the separator, off the front.
inline std::string_view cut(std::string_view& text, char separator) {
    const auto end = text.find(separator);
    const auto front = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return front;
}

// The number that the text begins with, taken off it; 0 without one.
template <typename Number>
Number cut_number(std::string_view& text) {
    Number number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number).ptr;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

// The character that the text begins with, taken off it; a blank without one.
inline char cut_character(std::string_view& text) {
    if (text.empty()) return ' ';
    const char first = text.front();
    text.remove_prefix(1);
    return first;
}

// Calls `play` with each line of a script until it answers false. A long script says nothing that a
// short one does not.
template <typename Play>
void play_lines(std::string_view script, const Play& play) {
    constexpr int most_lines = 200;
    for (int i = 0; i < most_lines && !script.empty(); ++i) {
        if (!play(cut(script, '\n'))) return;
    }
}

}  // namespace fuzz
