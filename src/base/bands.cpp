#include "base/bands.h"

#include <algorithm>
#include <iterator>

namespace rfcd {

namespace {

constexpr const band_info& band_2ghz = bands[0];
constexpr const band_info& band_5ghz = bands[1];

}  // namespace

const band_info* find_band(int number) {
    const auto* const found = std::find_if(std::begin(bands), std::end(bands),
                                           [&](const auto& row) { return row.number == number; });
    return found == std::end(bands) ? nullptr : found;
}

const band_info& band_of_radio(int radio) {
    constexpr int last = static_cast<int>(std::size(bands)) - 1;
    return bands[std::clamp(radio, 0, last)];
}

int band_of_channel(int channel) {
    return channel < band_5ghz.default_channel ? band_2ghz.number : band_5ghz.number;
}

}  // namespace rfcd
