#include <linux/nl80211.h>

#include <cctype>
#include <cstring>

#include "aplocald/log.h"
#include "aplocald/radios.h"

namespace aplocal {

namespace {

class kernel_radios : public radios {
  public:
    explicit kernel_radios(std::unique_ptr<nl80211::connection> kernel)
        : kernel_(std::move(kernel)) {}

    std::optional<nl80211::interface_info> state(const std::string& ifname) override {
        nl80211::interface_info info;
        if (!kernel_ || nl80211::read_interface(*kernel_, ifname, info) != 0) return std::nullopt;
        return info;
    }

    std::vector<nl80211::frequency> frequencies(const std::string& ifname) override {
        const auto info = state(ifname);
        std::vector<nl80211::frequency> list;
        const bool whole = info && nl80211::read_frequencies(*kernel_, info->wiphy, list) == 0;
        if (!whole) list.clear();
        return list;
    }

    std::string country(const std::string& ifname) override {
        const auto info = state(ifname);
        if (!info) return "";

        std::string letters;
        nl80211::request question(NL80211_CMD_GET_REG);
        question.put_u32(NL80211_ATTR_WIPHY, info->wiphy);
        kernel_->ask(question, [&](const nl80211::attributes& answer) {
            letters = answer.text(NL80211_ATTR_REG_ALPHA2);
        });
        // "00" is the world-wide set of rules; "98" and "99" are sets that the kernel made.
        const bool is_country = letters.size() == 2 && std::isalpha(letters[0]) != 0;
        return is_country ? letters : "";
    }

    std::optional<std::string> set_tx_power(const std::string& ifname, int dbm) override {
        const int result = kernel_ ? nl80211::set_tx_power(*kernel_, ifname, dbm) : -ENODEV;
        if (result == 0) return std::nullopt;
        return "the kernel refuses " + std::to_string(dbm) + " dBm: " + std::strerror(-result);
    }

  private:
    const std::unique_ptr<nl80211::connection> kernel_;
};

}  // namespace

std::unique_ptr<radios> open_kernel_radios() {
    auto kernel = nl80211::connection::open();
    if (!kernel) log(severity::warning, "the kernel has no nl80211, so there are no radios");
    return std::make_unique<kernel_radios>(std::move(kernel));
}

}  // namespace aplocal
