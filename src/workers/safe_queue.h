// The queue of messages that joins two workers. Every queue of the daemon is one, unbounded; those
// who fill it look at its weight, the memory that its messages take, and hold back in time.
#pragma once

#include "workers/buffer_info.h"
#include "workers/lockdep_mutex.h"
#include "workers/safe_queue_base.h"

namespace rfcd {

struct message_bytes {
    static constexpr std::size_t overhead = 128;  // of a message beside its text

    std::size_t operator()(const buffer_ptr& message) const {
        return overhead + (message ? message->data.size() : 0);
    }
};

// The weight beyond which a queue is left alone until somebody has taken from it. A single message
// may be as heavy again.
inline constexpr std::size_t heavy_queue = std::size_t{64} << 20;

class safe_queue
    : public libnetworkd::SafeQueue<buffer_ptr, libnetworkd::LockdepMutex, message_bytes> {
  public:
    using SafeQueue::SafeQueue;
    ~safe_queue() override = default;
};

// The two queues between a link and its service worker. Start-up makes both and outlives the
// workers, which hold references.
struct service_queues {
    safe_queue& to_service;    // from the service worker to the link, which sends
    safe_queue& from_service;  // from the link, which receives, to the service worker
};

}  // namespace rfcd
