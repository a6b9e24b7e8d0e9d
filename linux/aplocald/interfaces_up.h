// Which interfaces are up, as the daemon itself looks at them: in /sys/class/net.
#pragma once

#include <set>
#include <string>

namespace aplocal {

// Those of `names` that exist and are up.
std::set<std::string> interfaces_up(const std::set<std::string>& names);

}  // namespace aplocal
