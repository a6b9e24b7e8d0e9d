// The radios as the kernel knows them. Names are those of interfaces: "wlan1". For the thread of
// the loop.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nl80211/interfaces.h"
#include "nl80211/wiphy.h"

namespace aplocal {

class radios {
  public:
    virtual ~radios() = default;

    // Null when there is no such interface.
    virtual std::optional<nl80211::interface_info> state(const std::string& ifname) = 0;
    // All frequencies of the interface's radio; empty when there is no such interface, or when the
    // kernel did not list all of them.
    virtual std::vector<nl80211::frequency> frequencies(const std::string& ifname) = 0;
    // Two letters; empty for the world-wide rules, which belong to no country.
    virtual std::string country(const std::string& ifname) = 0;
    // Null when the kernel took it, otherwise the reason.
    virtual std::optional<std::string> set_tx_power(const std::string& ifname, int dbm) = 0;
};

// Asks the kernel through nl80211. A kernel without nl80211 has no radios.
std::unique_ptr<radios> open_kernel_radios();

}  // namespace aplocal
