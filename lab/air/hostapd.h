// One real hostapd on radios of the machine, with the configuration files of lab/data/air. Used on
// the scenario's thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "harness/child_process.h"
#include "lab/air/program.h"
#include "lab/transcript.h"

namespace lab::air {

class hostapd {
  public:
    struct settings {
        std::string name;                     // in the transcript
        std::string network;                  // the network namespace; empty for our own
        std::string control;                  // the folder of its control sockets
        std::vector<std::string> interfaces;  // those that have a configuration file
        std::string file_prefix;              // of these files
        words options;                        // of the command
    };

    hostapd(transcript& story, settings s);

    // Starts it and waits until every interface is up; throws std::runtime_error when they are not.
    void start();
    // Ends it; with SIGKILL it leaves its sockets behind.
    void stop(int signal_number);
    bool running() { return process_ && process_->running(); }
    pid_t pid() const { return process_->pid(); }

    // The reply to a command on an interface's control socket.
    std::string ask(const std::string& ifname, const std::string& command) const;
    // One value of STATUS.
    std::string status(const std::string& ifname, const std::string& name) const;
    std::string log() const { return read_file(log_path()); }

  private:
    std::string log_path() const { return "/tmp/" + settings_.name + ".log"; }
    bool all_enabled() const;

    transcript& story_;
    const settings settings_;
    std::unique_ptr<child_process> process_;
};

// The value of a line "NAME=value" among `lines`; empty when there is none.
std::string value_of(const std::string& lines, const std::string& name);

}  // namespace lab::air
