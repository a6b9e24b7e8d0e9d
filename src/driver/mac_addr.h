// A MAC address as a value.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace libnetworkd {

struct MacAddr {
    std::array<std::uint8_t, 6> bytes{};

    // Lower-case pairs joined by ":".
    std::string text() const;

    bool operator==(const MacAddr&) const = default;
};

}  // namespace libnetworkd
