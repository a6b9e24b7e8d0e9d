// Words and numbers as rfcdctl prints them. What comes from a file of somebody else passes through
// `printable` before it reaches a terminal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ctl {

// The text with "?" for every byte that is not a printable ASCII character.
std::string printable(std::string_view text);

// 0 when `end` is before `begin`.
std::uint64_t seconds_between(std::uint64_t begin, std::uint64_t end);

// "41 s", "3 min 12 s", "3 h 12 min", "2 d 5 h".
std::string age_text(std::uint64_t seconds);

// "512 bytes", "34.5 kB", "1.2 MB", in powers of 1000.
std::string size_text(std::uint64_t bytes);

// "1 attempt", "7 attempts".
std::string counted(std::uint64_t number, std::string_view noun);

// The text without blanks and tabs at its ends.
std::string_view without_blanks(std::string_view text);

}  // namespace ctl
