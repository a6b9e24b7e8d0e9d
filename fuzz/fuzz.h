// What the fuzz targets share. Most inputs are scripts, so that people can read and write them:
// each line is one event, and its first character tells which.
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

// Ends the process when a condition that must always hold does not; the fuzzer keeps the input.
inline void require(bool holds, const char* what, std::string_view detail = {}) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n%.*s\n", what, static_cast<int>(detail.size()),
                 detail.data());
    std::abort();
}

inline std::string_view text_of(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// Removes the front of `text` up to and including the first `separator`; returns it without that.
inline std::string_view cut(std::string_view& text, char separator) {
    const auto end = text.find(separator);
    const auto front = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return front;
}

// Removes the number at the beginning of `text` and returns it; 0 if there is none.
template <typename Number>
Number cut_number(std::string_view& text) {
    Number number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number).ptr;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

// Removes the first character of `text` and returns it; a blank if there is none.
inline char cut_character(std::string_view& text) {
    if (text.empty()) return ' ';
    const char first = text.front();
    text.remove_prefix(1);
    return first;
}

// Calls `play` with each line of a script until it returns false. Plays 200 lines at most: a longer
// script finds nothing more.
template <typename Play>
void play_lines(std::string_view script, const Play& play) {
    constexpr int most_lines = 200;
    for (int i = 0; i < most_lines && !script.empty(); ++i) {
        if (!play(cut(script, '\n'))) return;
    }
}

}  // namespace fuzz
