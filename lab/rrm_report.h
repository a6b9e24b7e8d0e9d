// The messages of the RRM client as a person wants to read them. Pure text work.
#pragma once

#include <string>
#include <vector>

namespace lab {

// One line a radio and a VAP of the message's "radios".
std::vector<std::string> describe_radios(const std::string& message);

// One line an access point of the message's "rf-environment", with its RSSI in every sweep.
std::vector<std::string> describe_environment(const std::string& message);

// The radio's object in the message's "radios", as text; empty when there is none.
std::string radio_in(const std::string& message, int radio);

}  // namespace lab
