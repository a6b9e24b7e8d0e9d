// A worker's loop runs while this flag is set. The stop handler clears it; every thread may read it
// without a lock.
#pragma once

#include <atomic>

namespace rfcd {

using running_flag = std::atomic<bool>;

static_assert(running_flag::is_always_lock_free, "the stop handler stores to it");

}  // namespace rfcd
