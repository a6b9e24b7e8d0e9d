#include "driver/interface_status.h"

#include <dirent.h>
#include <net/if.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "base/files.h"
#include "base/interface_names.h"
#include "main/logging.h"

namespace rfcd {

namespace {

const std::string device_directory = "/sys/class/net/";
constexpr std::uint32_t unreadable_flags = 0xffffffff;

struct close_directory {
    void operator()(DIR* directory) const { closedir(directory); }
};
using directory_ptr = std::unique_ptr<DIR, close_directory>;

}  // namespace

bool is_if_exists(const char* ifname) {
    const std::string name = vap_to_ifname(ifname);
    if (directory_ptr(opendir((device_directory + name).c_str()))) return true;
    log_debug(daemon_logger, "<%s:%d> %s interface not exists\n", __func__, __LINE__, name.c_str());
    return false;
}

bool interface_is_up(const std::string& ifname) {
    const std::string name = vap_to_ifname(ifname);
    const std::string path = device_directory + name + "/flags";
    const auto text = read_text_file(path);
    if (!text) {
        log_error(daemon_logger, "<%s:%d> cannot open entry from sysfs(%s)\n", __func__, __LINE__,
                  path.c_str());
        return false;
    }

    const auto line_end = text->find('\n');
    if (line_end == std::string::npos) {
        log_error(daemon_logger, "<%s:%d> cannot read entry from sysfs(%s)\n", __func__, __LINE__,
                  path.c_str());
        return false;
    }

    const auto flags =
        static_cast<std::uint32_t>(std::strtol(text->substr(0, line_end).c_str(), nullptr, 16));
    log_debug(daemon_logger, "<%s:%d> /sys/class/net/%s/flags == 0x%0x\n", __func__, __LINE__,
              name.c_str(), flags);
    return flags != unreadable_flags && (flags & IFF_UP) != 0;
}

}  // namespace rfcd
