// A text of fixed capacity with a terminating zero, for configuration records and the board
// identity. Longer texts are cut.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace rfcd {

template <std::size_t Size>
class text_field {
  public:
    static constexpr std::size_t max_length = Size - 1;

    // Keeps the first `max_length` bytes of `text`, and stops at a zero byte among them.
    void assign(std::string_view text) {
        bytes_.fill('\0');
        text = text.substr(0, std::min(text.find('\0'), max_length));
        std::copy(text.begin(), text.end(), bytes_.begin());
    }

    // Cuts the text at its first carriage return or line feed.
    void trim_line_end() {
        std::fill(std::find_if(bytes_.begin(), bytes_.end(), is_line_end), bytes_.end(), '\0');
    }

    const char* c_str() const { return bytes_.data(); }
    std::string_view view() const { return bytes_.data(); }
    bool empty() const { return bytes_[0] == '\0'; }

  private:
    static bool is_line_end(char c) { return c == '\r' || c == '\n'; }

    std::array<char, Size> bytes_{};
};

}  // namespace rfcd
