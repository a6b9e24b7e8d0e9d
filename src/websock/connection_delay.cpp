#include "websock/connection_delay.h"

#include <algorithm>

namespace rfcd {

connection_delay::range connection_delay::next_range() {
    constexpr std::uint64_t base_when_unset = 2;
    const auto base = current_ == 0 ? base_when_unset : current_;
    const auto grown = 2 * std::max<std::uint64_t>(current_, 1);
    current_ = std::min(grown, maximum_);
    return {base / 2, base / 2 + base};
}

std::uint64_t connection_delay::draw(const range& r, int random) {
    return r.begin + static_cast<std::uint64_t>(random) % (r.end - r.begin);
}

}  // namespace rfcd
