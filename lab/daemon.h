// The unmodified daemon as a process of the lab, with a configuration file that the lab writes; the
// broker of its bus; and how much a process uses of the machine. Used on the thread that plays the
// scenario or runs the test.
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

    // Starts the daemon with a file of these lines. The daemon's command is appended to `prefix`,
    // for example to {"env", "NAME=value"}. The configuration and the output are kept in `folder`,
    // which must exist.
    daemon(transcript& story, const settings& lines, const std::vector<std::string>& prefix = {},
           const std::string& folder = "/tmp");

    child_process& process() { return *process_; }
    // Everything that the daemon has logged and printed so far.
    std::string log() const { return read_file(output_path_); }
    bool wait_log(const std::string& text, milliseconds timeout = patience) const;
    unsigned count_log(const std::string& text) const;

    // Sends SIGTERM and waits for the end; how it ended and how long that took.
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

// Makes every later daemon run as `command`, a program and its first arguments, instead of the
// daemon of this build. For a daemon that is built for another machine.
void use_daemon(std::vector<std::string> command);

// Prefixes of a command: its clock runs `speed` times as fast, or jumps by what the file at
// `jump_path` says ("+3600").
std::vector<std::string> faster(unsigned speed);
std::vector<std::string> jumping(const std::string& jump_path);

// "ws://127.0.0.1:PORT/PATH"
std::string loopback_url(std::uint16_t port, const std::string& path);

// The broker of the local bus. It accepts connections when the constructor returns.
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

// A number of /proc/PID/status, such as VmRSS in kB; -1 when it is missing.
long status_kilobytes(pid_t pid, const std::string& field);
// The memory of a process in kB: what it shares with nobody, and its proportional share of all.
struct memory_shares {
    long own;
    long proportional;
};
memory_shares memory_of(pid_t pid);
// The processor time that a process has used so far, and how often its threads were switched.
double cpu_seconds(pid_t pid);
long context_switches(pid_t pid);

}  // namespace lab
