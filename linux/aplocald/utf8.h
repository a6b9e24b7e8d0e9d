// Texts from outside, such as SSIDs, may have any bytes; JSON texts have to be UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace aplocal {

// The same text with U+FFFD in place of each byte that does not belong to UTF-8.
std::string utf8_text(std::string_view bytes);

}  // namespace aplocal
