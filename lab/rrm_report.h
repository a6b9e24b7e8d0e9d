// The messages of the RRM client in the form that a person reads. Pure text work.
#pragma once

#include <string>
#include <vector>

namespace lab {

// One line for each radio and each VAP of the message's "radios".
std::vector<std::string> describe_radios(const std::string& message);

// One line for each access point of the message's "rf-environment", with its RSSI in every sweep.
std::vector<std::string> describe_environment(const std::string& message);

// The radio's object in the message's "radios", as text; empty when there is no such radio.
std::string radio_in(const std::string& message, int radio);

}  // namespace lab
