#include "aplocald/utf8.h"

#include <algorithm>

namespace aplocal {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD

// The well-formed sequences (Unicode 15.0, table 3-7). The third and the fourth byte are like most
// second ones.
struct byte_range {
    unsigned char low;
    unsigned char high;

    bool contains(char c) const {
        const auto byte = static_cast<unsigned char>(c);
        return low <= byte && byte <= high;
    }
};
constexpr byte_range next_byte{0x80, 0xBF};
constexpr struct {
    byte_range first;
    byte_range second;
    std::size_t length;
} sequences[] = {
    {.first = {0xC2, 0xDF}, .second = next_byte, .length = 2},
    {.first = {0xE0, 0xE0}, .second = {0xA0, 0xBF}, .length = 3},
    {.first = {0xE1, 0xEC}, .second = next_byte, .length = 3},
    {.first = {0xED, 0xED}, .second = {0x80, 0x9F}, .length = 3},
    {.first = {0xEE, 0xEF}, .second = next_byte, .length = 3},
    {.first = {0xF0, 0xF0}, .second = {0x90, 0xBF}, .length = 4},
    {.first = {0xF1, 0xF3}, .second = next_byte, .length = 4},
    {.first = {0xF4, 0xF4}, .second = {0x80, 0x8F}, .length = 4},
};

// Of the sequence at the beginning; 0 when there is none.
std::size_t sequence_length(std::string_view text) {
    if (static_cast<unsigned char>(text.front()) < 0x80) return 1;

    for (const auto& row : sequences) {
        if (!row.first.contains(text[0]) || text.size() < row.length) continue;
        const auto rest = text.substr(2, row.length - 2);
        const bool whole =
            row.second.contains(text[1]) &&
            std::all_of(rest.begin(), rest.end(), [](char c) { return next_byte.contains(c); });
        return whole ? row.length : 0;
    }
    return 0;
}

}  // namespace

std::string utf8_text(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = sequence_length(bytes);
        text += length == 0 ? replacement : bytes.substr(0, length);
        bytes.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return text;
}

}  // namespace aplocal
