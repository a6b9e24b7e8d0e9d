#include "driver/text_file.h"

#include <cstdio>
#include <memory>

namespace rfcd {

// By stdio: the streams of the C++ library would be a third of the program.
std::optional<std::string> read_text_file(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"),
                                                               &std::fclose);
    if (!file) return std::nullopt;
    std::string text;
    char piece[512];
    while (const auto count = std::fread(piece, 1, sizeof piece, file.get())) {
        text.append(piece, count);
    }
    return text;
}

}  // namespace rfcd
