#include "aplocald/hostapd_text.h"

#include <cctype>

namespace aplocal {

namespace {

bool is_hex_digit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

}  // namespace

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const auto part = text.substr(0, text.find(separator));
        if (!part.empty()) parts.push_back(part);
        text.remove_prefix(std::min(part.size() + 1, text.size()));
    }
    return parts;
}

std::string value_of(std::string_view lines, std::string_view key) {
    for (const auto line : split(lines, '\n')) {
        const bool found =
            line.size() > key.size() && line.starts_with(key) && line[key.size()] == '=';
        if (found) return std::string(line.substr(key.size() + 1));
    }
    return {};
}

bool is_mac_address(std::string_view text) {
    return text.size() == 17 && text[2] == ':' && !mac_digits(text).empty();
}

std::string mac_digits(std::string_view text) {
    const bool separated = text.size() == 17 && (text[2] == ':' || text[2] == '-');
    if (!separated && text.size() != 12) return {};

    std::string digits;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool separator = separated && i % 3 == 2;
        if (separator && text[i] != text[2]) return {};
        if (separator) continue;
        if (!is_hex_digit(text[i])) return {};
        digits += static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
    }
    return digits;
}

std::string mac_text(std::string_view text) {
    const std::string digits = mac_digits(text);
    std::string separated;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        if (i > 0) separated += ':';
        separated += digits.substr(i, 2);
    }
    return separated;
}

}  // namespace aplocal
