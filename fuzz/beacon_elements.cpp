// What an access point sends: two bytes with the frequency in MHz on which it was heard, little-
// endian, then the elements of its beacon.
#include <algorithm>
#include <array>

#include "fuzz/fuzz.h"
#include "nl80211/elements.h"
#include "platform/radioctl.h"
#include "radioctl/heard.h"

namespace {

void check(const nl80211::bss_description& about) {
    fuzz::require(about.ssid.size() <= 32, "an SSID has at most 32 bytes");
    fuzz::require(about.wide.width_mhz == 20 || about.wide.lies_in(about.primary.in),
                  "the wide channel lies in its band");
    fuzz::require(about.wide.place_of(about.primary.number) == about.place,
                  "the primary channel is where it is said to be");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const int mhz = data[0] | (data[1] << 8);
    const auto about = nl80211::read_elements({data + 2, size - 2}, mhz);
    if (!about) return 0;
    check(*about);

    std::array<std::uint8_t, RADIOCTL_ENTRY_SIZE> entry{};
    std::array<std::uint8_t, RADIOCTL_RRM_SIZE> results{};
    const radioctl::neighbour heard{.bssid = {}, .about = *about, .rssi_sum = -60, .samples = 1};
    radioctl::write_active_entry(entry.data(), heard);
    radioctl::write_rrm_results(results.data(), {.band = about->primary.in, .heard = {heard}});
    return 0;
}
