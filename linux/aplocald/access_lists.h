// hostapd's lists of stations that may not associate. hostapd 2.10 deauthenticates a station at
// once when it is added, and refuses it from then on. A removed one may come back at once.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace aplocal {

// The addresses of a reply to DENY_ACL SHOW, in lower case.
std::set<std::string> read_access_list(std::string_view reply);

class access_lists {
  public:
    struct problem {
        std::string words;
        bool hostapd_is_silent = false;  // so it will not reply for another interface either
    };

    // The folder with the control sockets of the interfaces.
    explicit access_lists(std::string folder = "/run/hostapd");

    // Makes the deny list of an interface these MAC addresses, in any notation; sends hostapd only
    // the differences, or the whole list when hostapd shows a part of its own. Null when hostapd
    // has taken them, otherwise what went wrong. A text that is not a MAC address changes nothing.
    std::optional<problem> deny(const std::string& ifname, const std::set<std::string>& macs);

  private:
    const std::string folder_;
};

}  // namespace aplocal
