#include "main/running_flags.h"

namespace rfcd {

constinit std::array<running_flag, 2 * service_count> running_flags{};

void stop_handler(int /*signal_number*/) {
    for (auto& flag : running_flags) flag = false;
}

}  // namespace rfcd
