#include "lab/transcript.h"

#include <array>

namespace lab {

std::string shortened(std::string_view message, std::size_t most) {
    std::string text;
    for (const char c : message.substr(0, most)) {
        const auto byte = static_cast<unsigned char>(c);
        text += byte < 0x20 || byte == 0x7f ? '.' : c;
    }
    if (message.empty()) return "(empty)";
    if (message.size() > most) text += "... (" + std::to_string(message.size()) + " bytes)";
    return text;
}

void transcript::add(std::string_view who, std::string_view way, std::string_view text) {
    const std::chrono::duration<double> since = std::chrono::steady_clock::now() - start_;
    std::array<char, 64> head{};
    std::snprintf(head.data(), head.size(), "%8.3f  %-9.*s %-2.*s ", since.count(),
                  static_cast<int>(who.size()), who.data(), static_cast<int>(way.size()),
                  way.data());
    while (text.ends_with('\n')) text.remove_suffix(1);
    put(std::string(head.data()).append(text));
}

void transcript::chapter(std::string_view title) {
    put(std::string("\n--- ").append(title).append(" ---"));
}

std::vector<std::string> transcript::lines() const {
    const std::lock_guard guard(lock_);
    return lines_;
}

void transcript::put(std::string line) {
    const std::lock_guard guard(lock_);
    if (out_ != nullptr) {
        std::fprintf(out_, "%s\n", line.c_str());
        std::fflush(out_);
    }
    lines_.push_back(std::move(line));
}

}  // namespace lab
