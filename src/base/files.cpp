#include "base/files.h"

namespace rfcd {

file_ptr open_for_reading(const char* path) { return file_ptr(std::fopen(path, "re")); }

std::optional<std::string> read_text_file(const std::string& path) {
    const auto file = open_for_reading(path.c_str());
    if (!file) return std::nullopt;

    std::string text;
    char piece[512];
    while (const auto count = std::fread(piece, 1, sizeof piece, file.get())) {
        text.append(piece, count);
    }
    return text;
}

}  // namespace rfcd
