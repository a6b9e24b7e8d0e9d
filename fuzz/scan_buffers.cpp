// Records that the radio library hands to the driver. The first byte of the input chooses the
// layout and false counts; the radio information record follows, then the entries.
#include <algorithm>
#include <cstring>

#include "driver/driver.h"
#include "fuzz/fuzz.h"
#include "harness/child_process.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_peermsg.h"
#include "harness/fakes/fake_radio.h"
#include "harness/fakes/fake_vap.h"
#include "main/logging.h"

namespace {

using fake_radio::bytes;
using rfcd::scan_result;

constexpr std::size_t most_active = 4096;  // docs/limits.md

rfcd::driver& driver_of_three_radios() {
    lab::require_sandbox();
    for (const char* name : {"wlan0", "wlan1", "wlan2"}) {
        fake_vap::make_device(name);
        fake_vap::store("/interface/" + std::string(name) + "-vap0/common/enabled", "true");
    }
    lab::write_file("/tmp/factory", "MAC: 00:11:22:33:44:50\n");
    static const rfcd::running_flag enabled = true;
    static rfcd::driver drv(&enabled);
    drv.init_interface_context();
    return drv;
}

bytes take(std::string_view& text, std::size_t size) {
    bytes taken(text.begin(),
                text.begin() + static_cast<std::ptrdiff_t>(std::min(size, text.size())));
    text.remove_prefix(taken.size());
    taken.resize(size);
    return taken;
}

// Checks what a report says about each result.
void look_at(rfcd::driver& drv, const std::vector<scan_result>& table) {
    for (const auto& result : table) {
        const std::string text = drv.primary_channel_to_string(result.sideband, result.bandwidth);
        fuzz::require(!text.empty() && text.size() <= 5, "there is a word for the primary channel",
                      text);
        fuzz::require(result.bssid.text().size() == 17, "a BSSID has a text");
    }
}

void read_channel(rfcd::driver& drv, std::string_view& text) {
    fake_radio::library.info = take(text, RADIOCTL_INFO_CENTRE + 1);
    fake_radio::library.info.resize(RADIOCTL_INFO_SIZE);
    const auto chanspec = drv.get_chanspec("wlan0");
    fuzz::require(drv.chanspec_bw(chanspec) >= 20 && drv.chanspec_channel(chanspec) <= 255,
                  "a channel specification holds a channel");
    drv.chanspec_sideband_string(chanspec);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static rfcd::driver& drv = driver_of_three_radios();
    fake_radio::reset();
    fake_peermsg::take_record();
    fake_log::reset(rfcd::log_mask_all);
    auto text = fuzz::text_of(data, size);
    const auto first = static_cast<std::uint8_t>(fuzz::cut_character(text));
    auto& library = fake_radio::library;
    read_channel(drv, text);
    std::vector<scan_result> table;
    if (first % 2 == 0) {
        // Whole entries, with a count that is right or far too high.
        const std::size_t count = text.size() / RADIOCTL_ENTRY_SIZE;
        library.active["wlan1"] = take(text, count * RADIOCTL_ENTRY_SIZE);
        library.active_count_lie = first >= 128 ? most_active - count + first : 0;
        drv._fill_ap_table(table);
        fuzz::require(table.size() == (first >= 128 ? 0 : count),
                      "a believable count of results is read");
    } else {
        // The buffer has a fixed size; everything in it may be wrong.
        for (const char* name : {"wlan0", "wlan1", "wlan2"})
            library.rrm[name] = take(text, RADIOCTL_RRM_SIZE);
        if (first >= 128) library.results["result wlan1"] = -first;
        const std::uint32_t magic = RADIOCTL_RRM_MAGIC;
        if (first >= 64) std::memcpy(library.rrm["wlan0"].data(), &magic, sizeof magic);
        drv.fill_rrm_ap_table(table);
        fuzz::require(table.size() <= 3 * std::size_t{RADIOCTL_RRM_MAX_ENTRIES},
                      "results stay within their buffer");
    }
    look_at(drv, table);
    return 0;
}
