#include "aplocald/interfaces_up.h"

#include <net/if.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "base/files.h"

namespace aplocal {

namespace {

bool is_up(const std::string& name) {
    const auto flags = rfcd::read_text_file("/sys/class/net/" + name + "/flags");
    return flags && (std::strtoul(flags->c_str(), nullptr, 16) & IFF_UP) != 0;
}

}  // namespace

std::set<std::string> interfaces_up(const std::set<std::string>& names) {
    std::set<std::string> up;
    std::copy_if(names.begin(), names.end(), std::inserter(up, up.end()), is_up);
    return up;
}

}  // namespace aplocal
