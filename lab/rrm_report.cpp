#include "lab/rrm_report.h"

#include <array>
#include <cstdio>
#include <map>

#include "ipc/json_reader.h"
#include "ipc/json_writer.h"

namespace lab {

namespace {

using rfcd::json_reader;

std::string text(const json_reader& from, const char* key) {
    const char* value = from.get_string(key);
    return value == nullptr ? "" : value;
}

template <typename... Arguments>
std::string filled(const char* format, Arguments... arguments) {
    std::array<char, 256> line{};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(line.data(), line.size(), format, arguments...);
#pragma GCC diagnostic pop
    return line.data();
}

}  // namespace

std::vector<std::string> describe_radios(const std::string& message) {
    std::vector<std::string> lines;
    const json_reader root(message.c_str());
    const auto radios = root.get_object("radios");
    for (int i = 0; i < radios.array_length(); ++i) {
        const auto radio = radios.get_array_item(i);
        lines.push_back(
            filled("radio %d: %s, band %d, channel %d, %d MHz (%s), %d dBm of %d to %d%s%s",
                   radio.get_int("id"), radio.get_int("status") != 0 ? "up" : "down",
                   radio.get_int("band"), radio.get_int("channel"), radio.get_int("bandwidth"),
                   text(radio, "primary-channel").c_str(), radio.get_int("power"),
                   radio.get_int("power-min"), radio.get_int("power-max"),
                   radio.get_int("locked-for-dca") != 0 ? ", channel locked" : "",
                   radio.get_int("locked-for-tpc") != 0 ? ", power locked" : ""));
        const auto vaps = radio.get_object("vaps");
        for (int j = 0; j < vaps.array_length(); ++j) {
            const auto vap = vaps.get_array_item(j);
            lines.push_back(filled("  VAP %d: %s \"%s\"%s%s", vap.get_int("id"),
                                   text(vap, "mac").c_str(), text(vap, "ssid").c_str(),
                                   vap.get_int("802dot11k") != 0 ? ", 802.11k" : "",
                                   vap.get_int("802dot11r") != 0 ? ", 802.11r" : ""));
        }
    }
    return lines;
}

std::vector<std::string> describe_environment(const std::string& message) {
    const json_reader root(message.c_str());
    const auto sweeps = root.get_object("rf-environment");
    std::map<std::string, std::string> rows;  // by access point
    std::string head = "bssid              band  channel  width";
    for (int i = 0; i < sweeps.array_length(); ++i) {
        head += filled("  rssi %d", i + 1);
        const auto sweep = sweeps.get_array_item(i);
        for (int j = 0; j < sweep.array_length(); ++j) {
            const auto heard = sweep.get_array_item(j);
            auto& row = rows[text(heard, "bssid")];
            if (row.empty()) {
                row =
                    filled("%s  %4d  %7d  %5d", text(heard, "bssid").c_str(), heard.get_int("band"),
                           heard.get_int("channel"), heard.get_int("bandwidth"));
                row += std::string(static_cast<std::size_t>(i) * 8, ' ');
            }
            row += filled("  %6d", heard.get_int("rssi"));
        }
    }
    std::vector<std::string> lines{head};
    for (const auto& [bssid, row] : rows) lines.push_back(row);
    return lines;
}

std::string radio_in(const std::string& message, int radio) {
    const json_reader root(message.c_str());
    const auto view = root.get_object("radios").get_array_item(radio);
    return view.empty() ? "" : rfcd::json_text(view.object());
}

}  // namespace lab
