// The flag that a worker loop runs by. Written by the stop handler, read by every thread without a
// lock.
#pragma once

#include <atomic>

namespace rfcd {

using running_flag = std::atomic<bool>;

static_assert(running_flag::is_always_lock_free, "the stop handler stores to it");

}  // namespace rfcd
