#include "driver/mac_addr.h"

#include <cctype>
#include <cstdio>

namespace libnetworkd {

std::string MacAddr::text() const {
    char out[18];
    std::snprintf(out, sizeof out, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                  bytes[3], bytes[4], bytes[5]);
    return out;
}

}  // namespace libnetworkd

namespace rfcd {

bool is_mac_text(std::string_view text) {
    constexpr std::size_t length = 17;
    if (text.size() != length) return false;
    for (std::size_t i = 0; i < length; ++i) {
        const bool is_colon_place = i % 3 == 2;
        const auto c = static_cast<unsigned char>(text[i]);
        if (is_colon_place ? c != ':' : std::isxdigit(c) == 0) return false;
    }
    return true;
}

}  // namespace rfcd
