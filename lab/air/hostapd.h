// One real hostapd on radios of the machine, with the configuration files of lab/data/air. Used on
// the scenario's thread.
#pragma once

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
        std::string pid_file;
        words options;  // more of the command
    };

    hostapd(transcript& story, settings s);

    // Starts it and waits until every interface is up; throws std::runtime_error when they are not.
    void start();
    // Ends it, and removes its pid file as a service manager does. With SIGKILL it leaves its
    // sockets behind.
    void stop(int signal_number);
    pid_t pid() const;

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
};

}  // namespace lab::air
