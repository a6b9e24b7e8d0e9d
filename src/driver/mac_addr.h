// A MAC address as a value and as text. Safe on any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace libnetworkd {

struct MacAddr {
    std::array<std::uint8_t, 6> bytes{};

    // Lower-case pairs joined by ":".
    std::string text() const;

    bool operator==(const MacAddr&) const = default;
};

}  // namespace libnetworkd

namespace rfcd {

// True for six pairs of hexadecimal digits with ":" between them, and nothing else.
bool is_mac_text(std::string_view text);

}  // namespace rfcd
