// The base of every active part of the daemon: a loop on one thread that tries to become active,
// then makes short passes until the worker stops being active or the daemon stops, pauses, and
// tries again. Start-up makes each worker, runs it on the main thread (`run`) or on a thread of its
// own (`start_thread`), and destroys it after its loop has returned.
//
// All fields belong to the loop's thread, except the running flag, which the stop handler clears,
// and `wake_fd`, to which any thread may write the 64-bit value 1 to end the wait between passes.
#pragma once

#include <cstdint>
#include <string>
#include <thread>

#include "base/running_flag.h"
#include "workers/loop_progress.h"

namespace rfcd {

class abstract_worker {
  public:
    // `running` outlives the worker. `poll_timeout_us` is how long the worker waits on `wake_fd`
    // after a pass that left nothing to do; below 1, it does not wait. `idle_pause_us` is the pause
    // between two activations.
    abstract_worker(const running_flag* running, std::string name, std::int32_t poll_timeout_us,
                    std::uint32_t idle_pause_us);
    abstract_worker(const abstract_worker&) = delete;
    abstract_worker& operator=(const abstract_worker&) = delete;

    // Tries to become active; true when the worker now is. Must not throw.
    virtual bool start_check() = 0;
    // One pass. True: nothing more to do for now, the loop may wait. What it throws ends the
    // process with a line on standard output and status -1.
    virtual bool process() = 0;
    // Leaves the active state. Must not throw.
    virtual void on_stop() = 0;
    // Asked before every pass; false ends the active state. Must not throw.
    virtual bool keep_running(const running_flag* running) = 0;

    // Joins the thread. A derived class joins first in its own destructor, while its fields live.
    virtual ~abstract_worker();

    // Runs the loop on a new thread. Throws std::logic_error when there is one already. When the
    // system cannot make a thread, the process ends as it does after an exception in a pass.
    void start_thread();
    // Runs the loop on the calling thread until the running flag is clear.
    void run();
    // Waits for the thread to end; does nothing when there is none.
    void join();

    // What the loop is doing. Any thread may read it; set an observer before the loop starts.
    loop_progress& progress() { return progress_; }

  protected:
    // Holds the result of start_check(). A pass that clears it ends the activation.
    bool active_ = false;

    const std::string& name() const { return name_; }
    const running_flag& running() const { return *running_; }
    int wake_fd() const { return wake_fd_; }
    // Makes the next wait on `wake_fd` return at once. Safe from any thread.
    void wake() const;
    // Clears the wake-ups so far; call it when `wake_fd` is readable.
    void reset_wake() const;
    // Waits for `wake_fd` after a pass that left nothing to do, up to the poll time-out. A worker
    // that waits for something else as well overrides it. An exception counts as one of the pass.
    virtual void wait_for_wake();

  private:
    void make_passes();
    // Prints the line of an unhandled exception and ends the process with status -1.
    [[noreturn]] void end_process() const;

    std::thread thread_;
    loop_progress progress_;
    const running_flag* const running_;
    const std::string name_;
    const std::int32_t poll_timeout_us_;
    const std::uint32_t idle_pause_us_;
    bool thread_started_ = false;
    bool was_active_ = false;  // on_stop is due when the passes end
    const int wake_fd_;        // -1 when it could not be made
};

}  // namespace rfcd
