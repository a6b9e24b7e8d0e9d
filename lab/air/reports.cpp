#include "lab/air/reports.h"

#include "lab/json.h"

namespace lab::air {

namespace {

channel_view channel_of(const json& object) {
    return {.channel = number_of(object, "channel"),
            .width = number_of(object, "bandwidth"),
            .place = text_of(object, "primary-channel")};
}

}  // namespace

std::string description(const radio_view& view) {
    std::string text = view.up ? "channel " + description(view.channel) : "down";
    text += ", " + std::to_string(view.power) + " dBm";
    for (const auto& vap : view.vaps) text += ", " + vap;
    return text;
}

radio_view described_radio(const std::string& message, int radio) {
    const json root = parse_json(message);
    for (const json& described : member(root, "radios")) {
        if (number_of(described, "id") != radio) continue;
        radio_view view{.up = number_of(described, "status") == 1,
                        .channel = channel_of(described),
                        .power = number_of(described, "power"),
                        .vaps = {}};
        for (const json& vap : member(described, "vaps")) {
            view.vaps.push_back(text_of(vap, "mac") + " " + text_of(vap, "ssid"));
        }
        return view;
    }
    return {};
}

std::map<std::string, reported_view> reported_air(const std::string& message) {
    std::map<std::string, reported_view> air;
    const json root = parse_json(message);
    for (const json& sweep : member(root, "rf-environment")) {
        for (const json& heard : sweep) {
            auto& view = air[text_of(heard, "bssid")];
            view.channel = channel_of(heard);
            view.signals.push_back(number_of(heard, "rssi"));
        }
    }
    return air;
}

}  // namespace lab::air
