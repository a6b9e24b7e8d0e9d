// Hears what the kernel says about its radios without being asked, on a socket of its own. Whoever
// opens it owns it, watches its descriptor, and reads when it is readable. One thread at a time may
// use it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "nl80211/connection.h"

namespace nl80211 {

// The number of the command is one of enum nl80211_commands, such as NL80211_CMD_CH_SWITCH_NOTIFY.
struct event {
    int command = 0;
    std::optional<std::uint32_t> wiphy;
    std::optional<std::uint32_t> interface_index;
};

class events {
  public:
    // `groups` are names such as "scan", "config", "mlme" and "regulatory"
    // (NL80211_MULTICAST_GROUP_ and so on). Null when the kernel has no nl80211 or no such group.
    static std::unique_ptr<events> open(std::initializer_list<const char*> groups);

    int descriptor() const;
    // Calls `receive` with each event that waits, and never blocks. Returns false when the kernel
    // dropped events because nobody read them in time: look at the radios' state then.
    bool read(const std::function<void(const event&)>& receive);

  private:
    explicit events(socket_ptr socket) : socket_(std::move(socket)) {}

    socket_ptr socket_;
};

}  // namespace nl80211
