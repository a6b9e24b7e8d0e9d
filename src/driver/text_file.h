// Small files in which the driver finds what the system and hostapd say, read at once on its
// thread.
#pragma once

#include <optional>
#include <string>

namespace rfcd {

// The whole file; null when it cannot be opened.
std::optional<std::string> read_text_file(const std::string& path);

}  // namespace rfcd
