#include "aplocald/configuration.h"

#include <grp.h>
#include <sys/un.h>

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace aplocal {

namespace {

using setter = void (*)(configuration& config, const std::string& value);

template <std::string configuration::*Path>
void set_path(configuration& config, const std::string& value) {
    if (!value.starts_with('/')) throw std::runtime_error("needs a path that begins with \"/\"");
    config.*Path = value;
}

template <std::string configuration::*Path>
void set_socket(configuration& config, const std::string& value) {
    set_path<Path>(config, value);
    constexpr std::size_t room = sizeof(sockaddr_un::sun_path);
    if (value.size() >= room) throw std::runtime_error("is too long for the path of a socket");
}

template <bool configuration::*Switch>
void set_switch(configuration& config, const std::string& value) {
    if (value != "yes" && value != "no") throw std::runtime_error("needs \"yes\" or \"no\"");
    config.*Switch = value == "yes";
}

void set_group(configuration& config, const std::string& value) {
    const group* const found = getgrnam(value.c_str());
    if (found == nullptr) throw std::runtime_error("names a group that does not exist");
    config.client_group = found->gr_gid;
}

void set_deny_list(configuration& config, const std::string& value) { config.deny_list = value; }

constexpr struct {
    std::string_view key;
    setter set;
} settings[] = {
    {.key = "store", .set = set_path<&configuration::store>},
    {.key = "hostapd_control", .set = set_socket<&configuration::hostapd_control>},
    {.key = "hostapd_folder", .set = set_path<&configuration::hostapd_folder>},
    {.key = "client_control", .set = set_socket<&configuration::client_control>},
    {.key = "client_group", .set = set_group},
    {.key = "mac_lists", .set = set_path<&configuration::mac_lists>},
    {.key = "deny_list", .set = set_deny_list},
    {.key = "radar_channels", .set = set_switch<&configuration::radar_channels>},
};

void apply_line(configuration& config, const std::string& line) {
    if (line.empty() || line.front() == '#') return;

    const auto equals = line.find('=');
    const std::string key = line.substr(0, equals);
    for (const auto& row : settings) {
        if (row.key != key || equals == std::string::npos) continue;
        try {
            return row.set(config, line.substr(equals + 1));
        } catch (const std::runtime_error& problem) {
            throw std::runtime_error(key + " " + problem.what());
        }
    }
    throw std::runtime_error("there is no setting \"" + key + "\"");
}

}  // namespace

configuration read_configuration(const std::string& text) {
    configuration config;
    int number = 1;
    for (std::size_t begin = 0; begin < text.size(); ++number) {
        const auto end = std::min(text.find('\n', begin), text.size());
        try {
            apply_line(config, text.substr(begin, end - begin));
        } catch (const std::runtime_error& problem) {
            throw std::runtime_error("line " + std::to_string(number) + ": " + problem.what());
        }
        begin = end + 1;
    }
    return config;
}

}  // namespace aplocal
