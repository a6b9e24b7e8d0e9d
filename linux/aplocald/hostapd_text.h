// Readers of the texts that hostapd replies with. They take what they are given to be hostile.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace aplocal {

// The parts between separators, without the empty ones.
std::vector<std::string_view> split(std::string_view text, char separator);

// The value of the first line "key=value"; empty when no line has the key.
std::string value_of(std::string_view lines, std::string_view key);

// Six pairs of hexadecimal digits with ':' between them.
bool is_mac_address(std::string_view text);

// The digits of a MAC address in lower case, without separators, from "02:00:00:00:0A:00",
// "02-00-00-00-0A-00" or "020000000A00"; empty when it is none of these.
std::string mac_digits(std::string_view text);

// "02:00:00:00:0a:00" of what mac_digits() takes; empty when it is not a MAC address.
std::string mac_text(std::string_view text);

}  // namespace aplocal
