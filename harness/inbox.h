// A queue of messages that one thread puts in and another takes out.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "harness/wait.h"

namespace lab {

template <typename Message>
class inbox {
  public:
    void put(Message message) {
        {
            const std::lock_guard guard(lock_);
            messages_.push_back(std::move(message));
        }
        arrived_.notify_all();
    }

    // Takes the oldest message; waits for one up to `timeout`.
    std::optional<Message> take(milliseconds timeout = patience) {
        return take_matching([](const Message&) { return true; }, timeout);
    }

    // Takes the oldest message that `matches`; waits for one up to `timeout`. Drops the messages
    // before it.
    template <typename Predicate>
    std::optional<Message> take_matching(const Predicate& matches,
                                         milliseconds timeout = patience) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        std::unique_lock guard(lock_);

        while (true) {
            while (!messages_.empty()) {
                Message message = std::move(messages_.front());
                messages_.pop_front();
                if (matches(message)) return message;
            }
            if (arrived_.wait_until(guard, deadline) == std::cv_status::timeout &&
                messages_.empty()) {
                return std::nullopt;
            }
        }
    }

    std::size_t size() const {
        const std::lock_guard guard(lock_);
        return messages_.size();
    }

    void clear() {
        const std::lock_guard guard(lock_);
        messages_.clear();
    }

  private:
    mutable std::mutex lock_;
    std::condition_variable arrived_;
    std::deque<Message> messages_;  // guarded by lock_
};

}  // namespace lab
