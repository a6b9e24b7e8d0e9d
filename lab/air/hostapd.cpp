#include "lab/air/hostapd.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace lab::air {

std::string value_of(const std::string& text, const std::string& name) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + "=")) return line.substr(name.size() + 1);
    }
    return "";
}

hostapd::hostapd(transcript& story, settings s) : story_(story), settings_(std::move(s)) {}

void hostapd::start() {
    words command{"hostapd", "-t"};
    command.insert(command.end(), settings_.options.begin(), settings_.options.end());
    for (const auto& name : settings_.interfaces) {
        command.push_back(LAB_DATA "/air/" + settings_.file_prefix + name + ".conf");
    }

    process_ =
        std::make_unique<child_process>(in_namespace(settings_.network, command), log_path());
    if (!wait_until([this] { return all_enabled(); }, 30s)) {
        throw std::runtime_error(settings_.name + " did not start: " + log());
    }
    story_.add(settings_.name, "", "hostapd is up, process " + std::to_string(pid()));
}

bool hostapd::all_enabled() const {
    return std::all_of(
        settings_.interfaces.begin(), settings_.interfaces.end(),
        [this](const std::string& name) { return status(name, "state") == "ENABLED"; });
}

void hostapd::stop(int signal_number) {
    process_->signal(signal_number);
    process_->wait();
    story_.add(settings_.name, "", "hostapd ended by signal " + std::to_string(signal_number));
}

std::string hostapd::ask(const std::string& ifname, const std::string& command) const {
    return run(in_namespace(settings_.network,
                            {"hostapd_cli", "-p", settings_.control, "-i", ifname, "raw", command}))
        .output;
}

std::string hostapd::status(const std::string& ifname, const std::string& name) const {
    return value_of(ask(ifname, "STATUS"), name);
}

}  // namespace lab::air
