// Reads files with stdio: the streams of the C++ library would make up a third of the program.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace rfcd {

struct close_file {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_ptr = std::unique_ptr<std::FILE, close_file>;

// Null when the file cannot be opened.
file_ptr open_for_reading(const char* path);

// The whole file; null when it cannot be opened.
std::optional<std::string> read_text_file(const std::string& path);

}  // namespace rfcd
