// The thread-safe first-in first-out queue between two workers: one thread pushes, another takes.
// Its owner keeps it for longer than both. A callback can run after every push, on the pushing
// thread; through it a producer wakes its consumer. No lock is held while the callback or a handler
// runs, so both may use any queue, including this one.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <utility>

#include "workers/monotonic_condition.h"

namespace libnetworkd {

// The weight of an element, in whatever unit the queue's owner chose.
template <typename Element>
struct no_weight {
    std::size_t operator()(const Element&) const { return 0; }
};

template <typename Element, typename Mutex, typename Weight = no_weight<Element>>
class SafeQueue {
  public:
    using handler = std::function<void(const Element&)>;

    // `capacity` is the most elements held; 0 means no limit.
    explicit SafeQueue(std::uint64_t capacity = 0) : capacity_(capacity) {}
    SafeQueue(const SafeQueue&) = delete;
    SafeQueue& operator=(const SafeQueue&) = delete;
    virtual ~SafeQueue() { reset_on_push(); }

    // Adds a copy of `element`, runs the callback and wakes one waiting taker. Returns false and
    // does nothing when the queue is full. Throws std::system_error when a lock cannot be taken.
    bool push(const Element& element) {
        {
            const std::lock_guard guard(queue_mutex_);
            if (capacity_ != 0 && elements_.size() >= capacity_) return false;
            append(element);
        }
        tell_pushed();
        return true;
    }

    // Adds `state`, a notice of a state, and keeps such notices from piling up while nobody takes
    // them. If the queue ends with `state`, adds nothing. If it ends with `state`, `opposite`, only
    // removes `opposite`. So at most two notices in a row are queued. Compares elements with ==.
    // Throws as `push` does.
    void push_state(const Element& state, const Element& opposite) {
        {
            const std::lock_guard guard(queue_mutex_);
            if (is_at(state, 0)) return;
            if (is_at(opposite, 0) && is_at(state, 1)) {
                weight_ -= elements_.back().weight;
                elements_.pop_back();
                return;
            }
            append(state);
        }
        tell_pushed();
    }

    // Takes the oldest element and gives it to `handle`. False when the queue was empty. Throws
    // what the handler throws, and std::bad_function_call when it has no target.
    bool try_pop(const handler& handle) {
        std::unique_lock guard(queue_mutex_);
        return pop(guard, handle);
    }

    // The same, but first waits up to `timeout` for an element.
    bool pop_for(const handler& handle, std::chrono::milliseconds timeout) {
        std::unique_lock guard(queue_mutex_);
        not_empty_.wait_for(guard, timeout, [this] { return !elements_.empty(); });
        return pop(guard, handle);
    }

    bool empty() const {
        const std::lock_guard guard(queue_mutex_);
        return elements_.empty();
    }

    // The weight of all elements together. A producer holds back when it is too much.
    std::size_t weight() const { return held().weight; }

    struct holdings {
        std::size_t count;
        std::size_t weight;
    };
    holdings held() const {
        const std::lock_guard guard(queue_mutex_);
        return {elements_.size(), weight_};
    }

    // Counts an element that somebody dropped instead of pushing it or using it.
    void note_dropped() { dropped_.fetch_add(1, std::memory_order_relaxed); }
    std::uint64_t dropped() const { return dropped_.load(std::memory_order_relaxed); }

    void set_on_push(std::function<void()> callback) {
        const std::lock_guard guard(callback_mutex_);
        on_push_.swap(callback);
    }

    void reset_on_push() {
        set_on_push([] {});
    }

  private:
    struct entry {
        Element value;
        std::size_t weight;  // as it was at the push
    };

    void append(const Element& element) {
        elements_.push_back({element, Weight{}(element)});
        weight_ += elements_.back().weight;
    }

    // True when `element` stands `from_end` places before the end of the queue.
    bool is_at(const Element& element, std::size_t from_end) const {
        const auto count = elements_.size();
        return count > from_end && elements_[count - 1 - from_end].value == element;
    }

    void tell_pushed() {
        const auto callback = copy_of_callback();
        if (callback) callback();
        not_empty_.notify_one();
    }

    bool pop(std::unique_lock<Mutex>& guard, const handler& handle) {
        if (elements_.empty()) return false;
        const Element element = std::move(elements_.front().value);
        weight_ -= elements_.front().weight;
        elements_.pop_front();
        guard.unlock();
        handle(element);
        return true;
    }

    std::function<void()> copy_of_callback() {
        const std::lock_guard guard(callback_mutex_);
        return on_push_;
    }

    std::function<void()> on_push_ = [] {};  // guarded by callback_mutex_
    std::deque<entry> elements_;             // guarded by queue_mutex_, oldest first
    std::size_t weight_ = 0;                 // guarded by queue_mutex_
    std::atomic<std::uint64_t> dropped_ = 0;
    mutable Mutex queue_mutex_;
    std::mutex callback_mutex_;
    const std::uint64_t capacity_;
    monotonic_condition not_empty_;
};

}  // namespace libnetworkd
