#include "aplocald/channel_files.h"

#include <unistd.h>

#include "aplocald/log.h"
#include "aplocald/replace_file.h"
#include "base/bands.h"
#include "base/interface_names.h"

namespace aplocal {

namespace {

constexpr int radio_count = 3;

std::string file_of(const std::string& radio) { return "/var/run/hostapd-channels-" + radio; }

}  // namespace

channel_files::~channel_files() {
    for (const auto& [radio, text] : written_) unlink(file_of(radio).c_str());
}

void channel_files::write() {
    for (int radio = 0; radio < radio_count; ++radio) write(rfcd::radio_ifname(radio));
}

void channel_files::write(const std::string& radio) {
    const auto info = kernel_.state(radio);
    if (!info) {  // an earlier process that was killed may have left the file
        written_.erase(radio);
        unlink(file_of(radio).c_str());
        return;
    }

    // The kernel could not tell them this time; the radio has not lost all its channels.
    const auto frequencies = kernel_.frequencies(radio);
    if (frequencies.empty()) return;

    // A radio on no channel has the band of its number.
    const int by_channel = channel_of_frequency(info->on.primary_mhz).band;
    const int by_number = rfcd::band_of_radio(rfcd::ifname_to_radio_id(radio)).number;
    const std::string text =
        usable_channels(frequencies, by_channel != 0 ? by_channel : by_number, radar_);
    if (written_.contains(radio) && written_[radio] == text) return;

    const auto problem = replace_file(file_of(radio), text, 0644, durability::until_restart);
    if (problem) return log(severity::error, *problem);
    written_[radio] = text;
}

}  // namespace aplocal
