// The queue of messages between two workers. Every queue of the daemon is of this type and has no
// limit: a producer looks at its weight, the memory that its messages take, and holds back in time.
#pragma once

#include "workers/buffer_info.h"
#include "workers/lockdep_mutex.h"
#include "workers/safe_queue_base.h"

namespace rfcd {

struct message_bytes {
    static constexpr std::size_t overhead = 128;  // of a message, without its text

    std::size_t operator()(const buffer_ptr& message) const {
        return overhead + (message ? message->data.size() : 0);
    }
};

// Producers add nothing to a queue that is heavier than this until the consumer has made it
// lighter. The last message before that may be as heavy again.
inline constexpr std::size_t heavy_queue = std::size_t{64} << 20;

class safe_queue
    : public libnetworkd::SafeQueue<buffer_ptr, libnetworkd::LockdepMutex, message_bytes> {
  public:
    using SafeQueue::SafeQueue;
    ~safe_queue() override = default;
};

// The two queues between a link and its service worker. Start-up makes both; they outlive the
// workers, which hold references.
struct service_queues {
    safe_queue& to_service;    // from the service worker to the link, which sends
    safe_queue& from_service;  // from the link, which receives, to the service worker
};

}  // namespace rfcd
