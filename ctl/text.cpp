#include "ctl/text.h"

namespace ctl {

std::string printable(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c < ' ' || c > '~') c = '?';
    }
    return result;
}

std::uint64_t seconds_between(std::uint64_t begin, std::uint64_t end) {
    return end > begin ? end - begin : 0;
}

std::string age_text(std::uint64_t seconds) {
    constexpr struct {
        std::uint64_t seconds;
        const char* name;
    } units[] = {{86'400, " d"}, {3'600, " h"}, {60, " min"}, {1, " s"}};

    const auto* unit = units;
    while (unit->seconds > 1 && seconds < unit->seconds) ++unit;
    std::string text = std::to_string(seconds / unit->seconds) + unit->name;
    if (unit->seconds == 1) return text;

    const auto* smaller = unit + 1;
    const auto rest = seconds % unit->seconds / smaller->seconds;
    return text + " " + std::to_string(rest) + smaller->name;
}

std::string size_text(std::uint64_t bytes) {
    if (bytes < 1000) return counted(bytes, "byte");

    constexpr const char* units[] = {" kB", " MB", " GB", " TB", " PB", " EB"};
    const auto* unit = units;
    std::uint64_t tenths = bytes / 100;
    while (tenths >= 10'000) {
        tenths /= 1000;
        ++unit;
    }
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + *unit;
}

std::string counted(std::uint64_t number, std::string_view noun) {
    std::string text = std::to_string(number) + " ";
    text += noun;
    return number == 1 ? text : text + "s";
}

std::string_view without_blanks(std::string_view text) {
    constexpr const char* blanks = " \t";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace ctl
