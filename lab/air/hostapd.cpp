#include "lab/air/hostapd.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "lab/air/control.h"

namespace lab::air {

namespace {

constexpr auto start_limit = 30s;

}  // namespace

hostapd::hostapd(transcript& story, settings s) : story_(story), settings_(std::move(s)) {}

void hostapd::start() {
    words command{"hostapd", "-B", "-t", "-f", log_path(), "-P", settings_.pid_file};
    command.insert(command.end(), settings_.options.begin(), settings_.options.end());
    for (const auto& name : settings_.interfaces) {
        command.push_back(LAB_DATA "/air/" + settings_.file_prefix + name + ".conf");
    }

    run_well(in_namespace(settings_.network, command), start_limit);
    if (!await([this] { return all_enabled(); }, start_limit)) {
        throw std::runtime_error(settings_.name + " did not start: " + log());
    }
    story_.add(settings_.name, "", "hostapd is up, process " + std::to_string(pid()));
}

pid_t hostapd::pid() const {
    return static_cast<pid_t>(std::atol(read_file(settings_.pid_file).c_str()));
}

bool hostapd::all_enabled() const {
    return std::all_of(
        settings_.interfaces.begin(), settings_.interfaces.end(),
        [this](const std::string& name) { return status(name, "state") == "ENABLED"; });
}

void hostapd::stop(int signal_number) {
    const pid_t process = pid();
    if (process <= 0) throw std::runtime_error(settings_.name + ": hostapd does not run");

    kill(process, signal_number);
    await([process] { return kill(process, 0) != 0; });
    std::filesystem::remove(settings_.pid_file);
    story_.add(settings_.name, "", "hostapd ended by signal " + std::to_string(signal_number));
}

std::string hostapd::ask(const std::string& ifname, const std::string& command) const {
    return ask_control(settings_.control + "/" + ifname, command);
}

std::string hostapd::status(const std::string& ifname, const std::string& name) const {
    return value_of(ask(ifname, "STATUS"), name);
}

}  // namespace lab::air
