#include "workers/loop_progress.h"

#include "base/monotonic_clock.h"

namespace rfcd {

namespace {

constexpr std::int64_t observe_interval_ms = 50;

thread_local loop_progress* current = nullptr;

}  // namespace

void loop_progress::enter_loop() {
    current = this;
    note_pass();
}

void loop_progress::leave_loop() { current = nullptr; }

void loop_progress::note_pass() {
    const auto now_ms = monotonic_milliseconds();
    last_ms_ = now_ms;
    started_ = true;
    if (!observer_ || now_ms - observed_ms_ < observe_interval_ms) return;
    observed_ms_ = now_ms;
    observer_();
}

void loop_progress::note_wait(wait_reason reason) {
    observed_ms_ = last_ms_ = monotonic_milliseconds();
    reason_ = reason;
    if (observer_) observer_();
}

std::int64_t loop_progress::limit_ms(wait_reason reason) {
    switch (reason) {
        case wait_reason::request: return 90'000;       // 20 s, and twice 20 s for late answers
        case wait_reason::command: return 20'000;       // a command is killed after 5 s
        case wait_reason::name_lookup: return 120'000;  // several servers, several attempts
        case wait_reason::none: break;
    }
    return 60'000;
}

long_wait::long_wait(wait_reason reason) {
    if (current != nullptr) current->note_wait(reason);
}

long_wait::~long_wait() {
    if (current != nullptr) current->note_wait(wait_reason::none);
}

}  // namespace rfcd
