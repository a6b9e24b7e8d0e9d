// The unmodified daemon as a process of the lab, run from a configuration file that the lab writes;
// beside it the broker of its bus, and what a process uses of the machine. For the thread that
// plays the scenario or runs the test.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "harness/child_process.h"
#include "lab/transcript.h"

namespace lab {

class daemon {
  public:
    using settings = std::vector<std::pair<std::string, std::string>>;  // keys without "="

    // Starts the daemon on a file with these lines, as the arguments of the command `prefix` when
    // that is given. `folder` must exist and is where its files are kept: the configuration, and
    // what it logs and prints.
    daemon(transcript& story, const settings& lines, const std::vector<std::string>& prefix = {},
           const std::string& folder = "/tmp");

    child_process& process() { return *process_; }
    // What the daemon logged and printed so far.
    std::string log() const { return read_file(output_path_); }
    bool wait_log(const std::string& text, milliseconds timeout = patience) const;
    unsigned count_log(const std::string& text) const;

    // SIGTERM and the wait for the end, with the time that it took.
    struct ending {
        int status;
        milliseconds time;
    };
    ending stop();

  private:
    transcript& story_;
    const std::string output_path_;
    std::unique_ptr<child_process> process_;
};

// Has every later daemon started as `command` (a program and its first arguments), for one that is
// built for another machine. Without it that is the daemon of this build.
void use_daemon(std::vector<std::string> command);

// A prefix under which a process lives `speed` times as fast, or whose clock jumps to what the file
// at `jump_path` says ("+3600").
std::vector<std::string> faster(unsigned speed);
std::vector<std::string> jumping(const std::string& jump_path);

// "ws://127.0.0.1:PORT/PATH"
std::string loopback_url(std::uint16_t port, const std::string& path);

// The broker of the local bus, ready when the constructor returns.
class bus_broker {
  public:
    explicit bus_broker(transcript& story);
    child_process& process() { return *process_; }
    void restart();
    void stop();

  private:
    transcript& story_;
    std::unique_ptr<child_process> process_;
};

// A number from /proc/PID/status in kB, such as VmRSS.
long status_kilobytes(pid_t pid, const std::string& field);
// The memory that is the process's own, and its share of all memory, in kB.
struct memory_shares {
    long own;
    long proportional;
};
memory_shares memory_of(pid_t pid);
// The processor time that the process has used so far, and how often its threads were switched.
double cpu_seconds(pid_t pid);
long context_switches(pid_t pid);

}  // namespace lab
