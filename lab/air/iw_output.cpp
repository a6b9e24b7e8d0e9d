#include "lab/air/iw_output.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace lab::air {

namespace {

constexpr std::size_t mac_length = 17;

// The rest of a line after its indentation and `head`; null when it begins with something else.
const char* after(const std::string& line, std::string_view head) {
    const auto start = line.find_first_not_of('\t');
    if (start == std::string::npos || line.compare(start, head.size(), head) != 0) return nullptr;
    return line.c_str() + start + head.size();
}

// "36 (5180 MHz), width: 80 MHz, center1: 5210 MHz"
channel_view read_channel(const std::string& text) {
    constexpr std::string_view centre_head = "center1: ";
    channel_view view;
    int primary = 0;
    std::sscanf(text.c_str(), "%d (%d MHz), width: %d", &view.channel, &primary, &view.width);

    const auto centre = text.find(centre_head);
    if (centre == std::string::npos) return view;
    view.place =
        place_of(primary, std::atoi(text.c_str() + centre + centre_head.size()), view.width);
    return view;
}

}  // namespace

std::string place_of(int primary_mhz, int centre_mhz, int width) {
    constexpr const char* names_80[] = {"ll", "lu", "ul", "uu"};
    constexpr int first_centre_80 = -30;
    constexpr int step = 20;

    const int offset = primary_mhz - centre_mhz;
    if (width == 40) return offset < 0 ? "lower" : "upper";
    if (width == 80) return names_80[((offset - first_centre_80) / step) & 3];
    return "none";
}

std::string description(const channel_view& view) {
    return std::to_string(view.channel) + ", " + std::to_string(view.width) + " MHz (" +
           view.place + ")";
}

interface_view read_interface(const std::string& info) {
    interface_view view;
    std::istringstream lines(info);
    for (std::string line; std::getline(lines, line);) {
        if (const char* mac = after(line, "addr ")) view.mac = mac;
        if (const char* ssid = after(line, "ssid ")) view.ssid = ssid;
        if (const char* channel = after(line, "channel ")) view.channel = read_channel(channel);
        if (const char* power = after(line, "txpower ")) view.power = std::atof(power);
    }
    return view;
}

std::map<std::string, heard_view> read_scan(const std::string& scan) {
    std::map<std::string, heard_view> heard;
    heard_view* current = nullptr;
    std::istringstream lines(scan);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("BSS ")) current = &heard[line.substr(4, mac_length)];
        if (current == nullptr) continue;
        if (const char* frequency = after(line, "freq: "))
            current->frequency = std::atoi(frequency);
        if (const char* signal = after(line, "signal: ")) current->signal = std::atof(signal);
    }
    return heard;
}

std::vector<int> read_scan_times(const std::string& events, const std::string& ifname) {
    std::vector<int> times;
    double start = 0;
    std::istringstream lines(events);
    for (std::string line; std::getline(lines, line);) {
        if (line.find(": " + ifname + " (") == std::string::npos) continue;
        const double time = std::atof(line.c_str());

        if (line.find("): scan started") != std::string::npos) start = time;
        const bool ended = line.find("): scan finished") != std::string::npos;
        if (ended && start != 0) times.push_back(static_cast<int>((time - start) * 1000));
    }
    return times;
}

}  // namespace lab::air
