#include "nl80211/wiphy.h"

#include <linux/nl80211.h>

#include "nl80211/channels.h"

namespace nl80211 {

namespace {

constexpr double mbm_per_dbm = 100;

radar_state read_radar(const attributes& all) {
    if (!all.has(NL80211_FREQUENCY_ATTR_RADAR)) return radar_state::none;
    switch (all.number<std::uint32_t>(NL80211_FREQUENCY_ATTR_DFS_STATE).value_or(0)) {
        case NL80211_DFS_AVAILABLE: return radar_state::available;
        case NL80211_DFS_UNAVAILABLE: return radar_state::unavailable;
        default: return radar_state::usable;
    }
}

frequency read_frequency(const attributes& all) {
    frequency f;
    f.mhz = static_cast<int>(all.number<std::uint32_t>(NL80211_FREQUENCY_ATTR_FREQ).value_or(0));
    f.disabled = all.has(NL80211_FREQUENCY_ATTR_DISABLED);
    f.no_ir = all.has(NL80211_FREQUENCY_ATTR_NO_IR);
    f.radar = read_radar(all);
    f.max_power_dbm =
        all.number<std::uint32_t>(NL80211_FREQUENCY_ATTR_MAX_TX_POWER).value_or(0) / mbm_per_dbm;
    f.no_40_below = all.has(NL80211_FREQUENCY_ATTR_NO_HT40_MINUS);
    f.no_40_above = all.has(NL80211_FREQUENCY_ATTR_NO_HT40_PLUS);
    f.no_80 = all.has(NL80211_FREQUENCY_ATTR_NO_80MHZ);
    f.no_160 = all.has(NL80211_FREQUENCY_ATTR_NO_160MHZ);
    return f;
}

}  // namespace

int read_frequencies(connection& kernel, std::uint32_t wiphy, std::vector<frequency>& list) {
    request question(NL80211_CMD_GET_WIPHY, request::kind::dump);
    question.put_u32(NL80211_ATTR_WIPHY, wiphy).put_flag(NL80211_ATTR_SPLIT_WIPHY_DUMP);

    list.clear();
    return kernel.ask(question, [&](const attributes& message) {
        message.nest(NL80211_ATTR_WIPHY_BANDS).for_each_nest([&](const attributes& band) {
            band.nest(NL80211_BAND_ATTR_FREQS).for_each_nest([&](const attributes& each) {
                const auto read = read_frequency(each);
                if (channel_of(read.mhz)) list.push_back(read);
            });
        });
    });
}

}  // namespace nl80211
