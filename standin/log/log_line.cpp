#include "log/log_line.h"

#include <array>
#include <cstdio>

namespace standin {

namespace {

// A longer line is cut by the journal as it is set up, and the rest would have no priority.
constexpr std::size_t max_journal_line = 40'000;

struct level {
    int code;
    const char* name;
    const char* journal_prefix;
};

constexpr level levels[] = {
    {8, "error", "<3>"},
    {16, "warning", "<4>"},
    {64, "info", "<6>"},
    {128, "debug", "<7>"},
};
constexpr level unknown_level{0, "unknown", "<6>"};

const level& level_of(int code) {
    for (const auto& known : levels) {
        if (known.code == code) return known;
    }
    return unknown_level;
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

// The filled text without the line ends behind it.
[[gnu::format(printf, 1, 0)]] std::string message_text(const char* format, std::va_list args) {
    std::string text = filled(format, args);
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

std::string stamp(const line_source& source, int level_code) {
    std::tm local{};
    localtime_r(&source.time.tv_sec, &local);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::array<char, 128> whole{};
    std::snprintf(whole.data(), whole.size(), "%s.%03ld %s %s[%d]: ", date.data(),
                  source.time.tv_nsec / 1'000'000, level_of(level_code).name, source.daemon,
                  source.process);
    return whole.data();
}

void append_shown(std::string& line, char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\t' || (byte >= 0x20 && byte != 0x7f)) {
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
    std::string line = stamp(source, level_code);
    for (const char c : message_text(format, args)) {
        if (c == '\n') {
            line += "\n\t";
        } else {
            append_shown(line, c);
        }
    }
    return line + '\n';
}

std::string format_journal_lines(int level_code, const char* format, std::va_list args) {
    const char* const prefix = level_of(level_code).journal_prefix;
    std::string lines = prefix;
    std::size_t line_begin = 0;

    for (const char c : message_text(format, args)) {
        if (c == '\n' || lines.size() - line_begin >= max_journal_line) {
            lines += '\n';
            line_begin = lines.size();
            lines.append(prefix).append("\t");
        }
        if (c != '\n') append_shown(lines, c);
    }
    return lines + '\n';
}

}  // namespace standin
