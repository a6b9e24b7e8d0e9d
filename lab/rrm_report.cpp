#include "lab/rrm_report.h"

#include <array>
#include <cstdio>
#include <map>

#include "lab/json.h"

namespace lab {

namespace {

template <typename... Arguments>
std::string filled(const char* format, Arguments... arguments) {
    std::array<char, 256> line{};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(line.data(), line.size(), format, arguments...);
#pragma GCC diagnostic pop
    return line.data();
}

const char* text_if(bool condition, const char* text) { return condition ? text : ""; }

std::string describe_radio(const json& radio) {
    return filled("radio %d: %s, band %d, channel %d, %d MHz (%s), %d dBm of %d to %d%s%s",
                  number_of(radio, "id"), number_of(radio, "status") != 0 ? "up" : "down",
                  number_of(radio, "band"), number_of(radio, "channel"),
                  number_of(radio, "bandwidth"), text_of(radio, "primary-channel").c_str(),
                  number_of(radio, "power"), number_of(radio, "power-min"),
                  number_of(radio, "power-max"),
                  text_if(number_of(radio, "locked-for-dca") != 0, ", channel locked"),
                  text_if(number_of(radio, "locked-for-tpc") != 0, ", power locked"));
}

std::string describe_vap(const json& vap) {
    return filled("  VAP %d: %s \"%s\"%s%s", number_of(vap, "id"), text_of(vap, "mac").c_str(),
                  text_of(vap, "ssid").c_str(),
                  text_if(number_of(vap, "802dot11k") != 0, ", 802.11k"),
                  text_if(number_of(vap, "802dot11r") != 0, ", 802.11r"));
}

// The beginning of an access point's line, up to the column of the sweep that first heard it.
std::string describe_heard(const json& heard, std::size_t sweep) {
    constexpr std::size_t column = 8;
    return filled("%s  %4d  %7d  %5d", text_of(heard, "bssid").c_str(), number_of(heard, "band"),
                  number_of(heard, "channel"), number_of(heard, "bandwidth")) +
           std::string(sweep * column, ' ');
}

}  // namespace

std::vector<std::string> describe_radios(const std::string& message) {
    std::vector<std::string> lines;
    const json root = parse_json(message);

    for (const json& radio : member(root, "radios")) {
        lines.push_back(describe_radio(radio));
        for (const json& vap : member(radio, "vaps")) lines.push_back(describe_vap(vap));
    }
    return lines;
}

std::vector<std::string> describe_environment(const std::string& message) {
    const json root = parse_json(message);
    std::string head = "bssid              band  channel  width";
    std::map<std::string, std::string> rows;  // by BSSID

    std::size_t number = 0;
    for (const json& sweep : member(root, "rf-environment")) {
        for (const json& heard : sweep) {
            auto& row = rows[text_of(heard, "bssid")];
            if (row.empty()) row = describe_heard(heard, number);
            row += filled("  %6d", number_of(heard, "rssi"));
        }
        head += filled("  rssi %d", static_cast<int>(++number));
    }

    std::vector<std::string> lines{head};
    for (const auto& [bssid, row] : rows) lines.push_back(row);
    return lines;
}

std::string radio_in(const std::string& message, int radio) {
    const json root = parse_json(message);
    const json& radios = member(root, "radios");
    const auto index = static_cast<std::size_t>(radio);
    return radios.is_array() && index < radios.size() ? json_text(radios[index]) : "";
}

}  // namespace lab
