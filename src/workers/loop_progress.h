// What a worker's loop is doing: when it made its last pass, and what it waits for during a long
// pass. The status_reporter uses this to decide whether the loop is stuck. A request to a local
// daemon, a command or a name lookup may take many seconds; a pass that takes long for an unknown
// reason is a fault.
//
// Each worker owns one for its loop. Only the loop's thread changes it; any thread may read it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>

namespace rfcd {

enum class wait_reason { none, request, command, name_lookup };

class loop_progress {
  public:
    // `observer` runs on the loop's thread after a pass, at most every 50 ms, and around each long
    // wait. Set it before the loop starts. It must not throw.
    void set_observer(std::function<void()> observer) { observer_ = std::move(observer); }

    // The loop calls these: at its beginning (on its own thread), at its end, after each pass, and
    // before a pause that is longer than a pass.
    void enter_loop();
    void leave_loop();
    void note_pass();
    void note_pause() { note_wait(wait_reason::none); }

    // What the loop waits for inside the present pass, and since when (monotonic milliseconds).
    struct view {
        std::int64_t last_ms;  // the last pass, or the last beginning or end of a long wait
        wait_reason reason;
    };
    view look() const { return {last_ms_, reason_}; }
    // False before the loop's first pass.
    bool started() const { return started_; }

    // How long a step of the loop may take. A loop that takes longer is stuck.
    static std::int64_t limit_ms(wait_reason reason);

  private:
    friend class long_wait;
    void note_wait(wait_reason reason);

    std::atomic<bool> started_ = false;
    std::atomic<std::int64_t> last_ms_ = 0;
    std::atomic<wait_reason> reason_ = wait_reason::none;
    std::function<void()> observer_;
    std::int64_t observed_ms_ = 0;
};

// For as long as this object lives, the loop of the calling thread counts as waiting for `reason`.
// Has no effect on a thread that does not run a loop.
class long_wait {
  public:
    explicit long_wait(wait_reason reason);
    long_wait(const long_wait&) = delete;
    long_wait& operator=(const long_wait&) = delete;
    ~long_wait();
};

}  // namespace rfcd
