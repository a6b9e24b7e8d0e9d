#include "nl80211/interfaces.h"

#include <linux/nl80211.h>

#include <algorithm>
#include <cerrno>

namespace nl80211 {

namespace {

constexpr int mbm_per_dbm = 100;
constexpr int list_attempts = 3;

constexpr struct {
    std::uint32_t code;
    int mhz;
} widths[] = {
    {.code = NL80211_CHAN_WIDTH_20_NOHT, .mhz = 20}, {.code = NL80211_CHAN_WIDTH_20, .mhz = 20},
    {.code = NL80211_CHAN_WIDTH_40, .mhz = 40},      {.code = NL80211_CHAN_WIDTH_80, .mhz = 80},
    {.code = NL80211_CHAN_WIDTH_80P80, .mhz = 80},   {.code = NL80211_CHAN_WIDTH_160, .mhz = 160},
    {.code = NL80211_CHAN_WIDTH_320, .mhz = 320},
};

int width_of(std::uint32_t code) {
    const auto* const row =
        std::find_if(std::begin(widths), std::end(widths), [&](auto& w) { return w.code == code; });
    return row == std::end(widths) ? 20 : row->mhz;
}

int number_of(const attributes& all, int attribute, int otherwise) {
    const auto value = all.number<std::uint32_t>(attribute);
    return value ? static_cast<int>(*value) : otherwise;
}

channel read_channel(const attributes& all) {
    channel on;
    on.primary_mhz = number_of(all, NL80211_ATTR_WIPHY_FREQ, 0);
    if (on.primary_mhz == 0) return on;
    on.width_mhz = width_of(
        all.number<std::uint32_t>(NL80211_ATTR_CHANNEL_WIDTH).value_or(NL80211_CHAN_WIDTH_20_NOHT));
    on.centre_mhz = number_of(all, NL80211_ATTR_CENTER_FREQ1, on.primary_mhz);
    return on;
}

interface_info read_attributes(const attributes& all) {
    interface_info info;
    info.index = all.number<std::uint32_t>(NL80211_ATTR_IFINDEX).value_or(0);
    info.wiphy = all.number<std::uint32_t>(NL80211_ATTR_WIPHY).value_or(0);
    info.name = all.text(NL80211_ATTR_IFNAME);
    info.is_access_point =
        all.number<std::uint32_t>(NL80211_ATTR_IFTYPE) == std::uint32_t{NL80211_IFTYPE_AP};

    info.mac = all.number<mac_address>(NL80211_ATTR_MAC).value_or(mac_address{});
    const auto ssid = all.bytes(NL80211_ATTR_SSID);
    info.ssid.assign(ssid.begin(), ssid.end());

    info.on = read_channel(all);
    const auto mbm = all.number<std::int32_t>(NL80211_ATTR_WIPHY_TX_POWER_LEVEL);
    if (mbm) info.tx_power_dbm = static_cast<double>(*mbm) / mbm_per_dbm;
    return info;
}

}  // namespace

// The list is searched instead of asking for the index of a name: for a name that does not exist,
// that question makes the kernel look for a module, which can take a second.
int read_interface(connection& kernel, const std::string& name, interface_info& info) {
    std::vector<interface_info> list;
    const int result = list_interfaces(kernel, list);
    if (result != 0) return result;
    const auto found = std::find_if(list.begin(), list.end(),
                                    [&](const interface_info& i) { return i.name == name; });
    if (found == list.end()) return -ENODEV;
    info = std::move(*found);
    return 0;
}

int list_interfaces(connection& kernel, std::vector<interface_info>& list) {
    const request question(NL80211_CMD_GET_INTERFACE, request::kind::dump);

    // hostapd adds and removes interfaces while it starts.
    int result = -EINTR;
    for (int attempt = 0; result == -EINTR && attempt < list_attempts; ++attempt) {
        list.clear();
        result = kernel.ask(question,
                            [&](const attributes& all) { list.push_back(read_attributes(all)); });
    }
    return result;
}

int set_tx_power(connection& kernel, const std::string& name, int dbm) {
    interface_info info;
    const int result = read_interface(kernel, name, info);
    if (result != 0) return result;
    request order(NL80211_CMD_SET_WIPHY);
    order.put_u32(NL80211_ATTR_IFINDEX, info.index)
        .put_u32(NL80211_ATTR_WIPHY_TX_POWER_SETTING, NL80211_TX_POWER_FIXED)
        .put_u32(NL80211_ATTR_WIPHY_TX_POWER_LEVEL, static_cast<std::uint32_t>(dbm * mbm_per_dbm));
    return kernel.ask(order);
}

}  // namespace nl80211
