// Writes files that are never seen half written.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace aplocal {

enum class durability { survives_power_loss, until_restart };

// Puts `text` in place of the file: writes it to "PATH.new", and renames that. On failure returns
// the reason, and leaves the file as it was.
std::optional<std::string> replace_file(const std::string& path, const std::string& text,
                                        mode_t mode, durability how_long);

}  // namespace aplocal
