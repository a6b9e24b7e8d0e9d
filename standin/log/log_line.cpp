#include "log/log_line.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace standin {

namespace {

constexpr struct {
    int code;
    const char* name;
} levels[] = {{8, "error"}, {16, "warning"}, {64, "info"}, {128, "debug"}};

const char* level_name(int code) {
    for (const auto& level : levels) {
        if (level.code == code) return level.name;
    }
    return "unknown";
}

[[gnu::format(printf, 1, 0)]] std::string filled(const char* format, std::va_list args) {
    std::va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) return "(a line that could not be formatted)";

    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, args);
    text.pop_back();
    return text;
}

std::string stamp(const line_source& source, int level_code) {
    std::tm local{};
    localtime_r(&source.time.tv_sec, &local);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::array<char, 128> whole{};
    std::snprintf(whole.data(), whole.size(), "%s.%03ld %s %s[%d]: ", date.data(),
                  source.time.tv_nsec / 1'000'000, level_name(level_code), source.daemon,
                  source.process);
    return whole.data();
}

void append_shown(std::string& line, char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
        line += "\n\t";
    } else if (c == '\t' || (byte >= 0x20 && byte != 0x7f)) {
        line += c;
    } else {
        std::array<char, 8> escape{};
        std::snprintf(escape.data(), escape.size(), "\\x%02x", byte);
        line += escape.data();
    }
}

}  // namespace

std::string format_log_line(const line_source& source, int level_code, const char* format,
                            std::va_list args) {
    const std::string message = filled(format, args);
    std::string_view text = message;
    while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    std::string line = stamp(source, level_code);
    line.reserve(line.size() + text.size() + 1);
    for (const char c : text) append_shown(line, c);
    return line + '\n';
}

}  // namespace standin
