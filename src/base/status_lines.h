// Builds the text of a status, one "key: value" on each line. A value stays on its line, whatever
// it contains.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace rfcd {

class status_lines {
  public:
    // Leaves out an empty value. Control characters become "?".
    void add(const char* key, std::string_view value) {
        if (value.empty()) return;
        text_.append(key).append(": ");
        for (const char c : value) text_ += c < ' ' && c >= 0 ? '?' : c;
        text_ += '\n';
    }
    void add_number(const char* key, std::int64_t value) { add(key, std::to_string(value)); }

    // A time in seconds of the monotonic clock; leaves out 0, which stands for "not yet".
    void add_time(const char* key, std::int64_t seconds) {
        if (seconds != 0) add_number(key, seconds);
    }

    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

}  // namespace rfcd
