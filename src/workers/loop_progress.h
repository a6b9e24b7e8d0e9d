// What a worker's loop is doing, for those who watch it: when it made its last pass, and what it
// waits for when a pass takes long. A local daemon, a command or a name lookup may take many
// seconds and is no fault; a pass that takes long for no known reason is one.
//
// Each worker owns one for its loop. Only the loop's thread changes it; any thread may look.
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

    // Called by the loop: it begins on the calling thread, it ends, it has made a pass, it is about
    // to pause for longer than a pass takes.
    void enter_loop();
    void leave_loop();
    void note_pass();
    void note_pause() { note_wait(wait_reason::none); }

    // What the loop waits for inside the present pass, and since when (monotonic milliseconds).
    struct view {
        std::int64_t last_ms;  // the last pass, or the last begin or end of a long wait
        wait_reason reason;
    };
    view look() const { return {last_ms_, reason_}; }
    // False before the loop's first pass.
    bool started() const { return started_; }

    // How long a loop may take for one step before it counts as stuck.
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

// While it lives, the loop of the calling thread waits for what is named; nothing on a thread that
// runs no loop.
class long_wait {
  public:
    explicit long_wait(wait_reason reason);
    long_wait(const long_wait&) = delete;
    long_wait& operator=(const long_wait&) = delete;
    ~long_wait();
};

}  // namespace rfcd
