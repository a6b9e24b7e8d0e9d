// A process that the lab or a test starts and ends: the daemon, the broker, hostapd. The destructor
// kills it if it is still running.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "harness/wait.h"

namespace lab {

class child_process {
  public:
    // Starts `arguments[0]`; its standard output and error go to a new file at `output_path`.
    // Throws std::system_error when it cannot be started.
    child_process(const std::vector<std::string>& arguments, const std::string& output_path);
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;
    ~child_process();

    pid_t pid() const { return pid_; }
    // The exit status, or 128 plus the number of the signal that ended it; null while it runs.
    std::optional<int> status();
    bool running() { return !status(); }
    void signal(int number) const;
    // Waits for the end of the process; null when it does not end in time.
    std::optional<int> wait(milliseconds timeout = patience);
    // Sends SIGTERM and waits; sends SIGKILL if the process still runs then. Returns its status.
    int stop(milliseconds timeout = patience);

  private:
    pid_t pid_ = -1;
    std::optional<int> status_;
};

// Throws std::runtime_error outside of tools/sandbox.
void require_sandbox();

// The whole file; empty when it cannot be read.
std::string read_file(const std::string& path);
// Throws std::runtime_error when it cannot be written.
void write_file(const std::string& path, const std::string& text);

}  // namespace lab
