#include "radioctl/radio_scene.h"

#include <json-c/json.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace standin {

namespace {

json_object* member(json_object* from, const char* name) {
    json_object* value = nullptr;
    json_object_object_get_ex(from, name, &value);
    return value;
}

int number(json_object* from, const char* name) { return json_object_get_int(member(from, name)); }

std::string text(json_object* from, const char* name) {
    json_object* value = member(from, name);
    return json_object_is_type(value, json_type_string) != 0 ? json_object_get_string(value) : "";
}

template <typename Record>
std::vector<Record> records(json_object* from, const char* name, Record (*read)(json_object*)) {
    std::vector<Record> list;
    json_object* array = member(from, name);
    if (json_object_is_type(array, json_type_array) == 0) return list;
    for (std::size_t i = 0; i < json_object_array_length(array); ++i) {
        list.push_back(read(json_object_array_get_idx(array, i)));
    }
    return list;
}

void read_channel(json_object* from, scene_channel& channel) {
    channel.band = number(from, "band");
    channel.channel = number(from, "channel");
    channel.width = number(from, "width");
    channel.sideband = text(from, "sideband");
}

scene_radio read_radio(json_object* from) {
    scene_radio radio;
    read_channel(from, radio);
    radio.name = text(from, "name");
    return radio;
}

scene_neighbour read_neighbour(json_object* from) {
    scene_neighbour neighbour;
    read_channel(from, neighbour);
    auto& b = neighbour.bssid;
    std::sscanf(text(from, "bssid").c_str(), "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx", &b[0], &b[1], &b[2],
                &b[3], &b[4], &b[5]);
    neighbour.rssi = number(from, "rssi");
    neighbour.power = number(from, "power");
    return neighbour;
}

scene_fault read_fault(json_object* from) {
    const std::string field = text(from, "field");
    return {text(from, "call"), text(from, "radio"), field,
            number(from, field.empty() ? "result" : "value")};
}

}  // namespace

int scene_channel::position() const {
    constexpr std::string_view sidebands_80[] = {"ll", "lu", "ul", "uu"};
    if (width == 40) return sideband == "upper" ? 1 : 0;
    if (width != 80) return 0;
    const auto* found = std::find(std::begin(sidebands_80), std::end(sidebands_80), sideband);
    return found == std::end(sidebands_80) ? 0 : static_cast<int>(found - std::begin(sidebands_80));
}

int scene_channel::centre() const {
    // The 20 MHz channels of a block are 4 numbers apart, and the centre of the block is the middle
    // between its first and last channel.
    if (width != 40 && width != 80) return channel;
    const int offset = (width / 20 - 1) * 2 - 4 * position();
    return static_cast<int>(std::int64_t{channel} + offset);
}

const scene_radio* radio_scene::radio(std::string_view name) const {
    for (const auto& r : radios) {
        if (r.name == name) return &r;
    }
    return nullptr;
}

std::optional<long> radio_scene::fault(std::string_view call, std::string_view radio_name,
                                       std::string_view field) const {
    for (const auto& f : faults) {
        if (f.call == call && f.field == field && (f.radio.empty() || f.radio == radio_name)) {
            return f.value;
        }
    }
    return std::nullopt;
}

std::optional<radio_scene> parse_scene(const std::string& json) {
    const std::unique_ptr<json_object, decltype(&json_object_put)> root(
        json_tokener_parse(json.c_str()), &json_object_put);
    if (json_object_is_type(root.get(), json_type_object) == 0) return std::nullopt;
    return radio_scene{records(root.get(), "radios", read_radio),
                       records(root.get(), "neighbours", read_neighbour),
                       number(root.get(), "rrm_scan_ms"),
                       records(root.get(), "faults", read_fault)};
}

}  // namespace standin
