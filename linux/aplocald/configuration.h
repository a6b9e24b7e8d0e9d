// What aplocald is told on its command line and in its configuration file. Read once, at the start.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace aplocal {

struct configuration {
    std::string store = "/var/lib/rfcd-aplocal/store.json";
    std::string hostapd_control = "/run/hostapd/global.hostapd";
    std::string hostapd_folder = "/run/hostapd";  // the control sockets of the interfaces
    std::string client_control = "/var/run/hostapd/global";
    std::optional<gid_t> client_group;
    std::string mac_lists = "/var/lib/rfcd-aplocal/mac-lists.json";
    std::string deny_list;        // the member of a MAC list message that hostapd gets too
    bool radar_channels = false;  // list channels on which a radar may be
};

inline constexpr const char* default_configuration_file = "/etc/aplocald.conf";

// Reads "key=value" lines; empty lines and lines that begin with "#" are left out. Throws
// std::runtime_error, with the number of the line, for everything else.
configuration read_configuration(const std::string& text);

}  // namespace aplocal
