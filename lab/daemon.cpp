#include "lab/daemon.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "platform/peermsg.h"

namespace lab {

namespace {

std::vector<std::string>& daemon_command() {
    static std::vector<std::string> command{RFCD_BINARY};
    return command;
}

}  // namespace

void use_daemon(std::vector<std::string> command) { daemon_command() = std::move(command); }

daemon::daemon(transcript& story, const settings& lines, const std::vector<std::string>& prefix,
               const std::string& folder)
    : story_(story), output_path_(folder + "/rfcd.out") {
    const std::string configuration_path = folder + "/rfcd.conf";
    std::string text;
    for (const auto& [key, value] : lines) text += key + "=" + value + "\n";
    write_file(configuration_path, text);

    auto command = prefix;
    command.insert(command.end(), daemon_command().begin(), daemon_command().end());
    command.insert(command.end(), {"-f", configuration_path});
    process_ = std::make_unique<child_process>(command, output_path_);
    story_.add("rfcd", "", "started, process " + std::to_string(process_->pid()));
}

bool daemon::wait_log(const std::string& text, milliseconds timeout) const {
    return wait_until([&] { return log().find(text) != std::string::npos; }, timeout);
}

unsigned daemon::count_log(const std::string& text) const {
    const std::string all = log();
    unsigned count = 0;
    for (auto at = all.find(text); at != std::string::npos; at = all.find(text, at + 1)) ++count;
    return count;
}

namespace {

// Prints what the threads of a process that should have ended wait for, and the end of its log.
void show_stuck(pid_t pid, const std::string& log) {
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        for (const char* file : {"comm", "wchan", "syscall"}) {
            std::cerr << read_file(task.path() / file) << ' ';
        }
        std::cerr << '\n';
    }
    std::cerr << log.substr(log.size() - std::min<std::size_t>(log.size(), 4000)) << '\n';
}

}  // namespace

daemon::ending daemon::stop() {
    const auto start = std::chrono::steady_clock::now();
    process_->signal(SIGTERM);
    process_->signal(SIGCONT);
    if (!process_->wait()) show_stuck(process_->pid(), log());

    const int status = process_->stop(0ms);
    const auto time =
        std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);

    story_.add("rfcd", "",
               "SIGTERM: ended with status " + std::to_string(status) + " after " +
                   std::to_string(time.count()) + " ms");
    return {status, time};
}

namespace {

std::vector<std::string> with_clock(const std::string& setting) {
    const std::string library = "/usr/lib/" + std::string(MULTIARCH) + "/faketime/libfaketime.so.1";
    return {"env", "LD_PRELOAD=" + library, "FAKETIME_NO_CACHE=1", setting};
}

}  // namespace

std::vector<std::string> faster(unsigned speed) {
    return with_clock("FAKETIME=+0 x" + std::to_string(speed));
}

std::vector<std::string> jumping(const std::string& jump_path) {
    return with_clock("FAKETIME_TIMESTAMP_FILE=" + jump_path);
}

std::string loopback_url(std::uint16_t port, const std::string& path) {
    return "ws://127.0.0.1:" + std::to_string(port) + path;
}

bus_broker::bus_broker(transcript& story) : story_(story) { restart(); }

void bus_broker::restart() {
    process_ = std::make_unique<child_process>(std::vector<std::string>{PEERMSGD_BINARY},
                                               "/tmp/peermsgd.out");
    peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};
    const bool ready = wait_until([&] {
        peermsg_ctx* probe = peermsg_init(0, &settings, PEERMSG_MODE_PEER);
        const bool sent = peermsg_msg_send(probe, "", 0, 0) == 0;
        peermsg_release(probe);
        return sent;
    });
    if (!ready) {
        throw std::runtime_error("the broker did not start: " + read_file("/tmp/peermsgd.out"));
    }

    story_.add("broker", "", "the local bus is up");
}

void bus_broker::stop() {
    process_->stop();
    story_.add("broker", "", "the local bus is down");
}

namespace {

// The number behind `field` in a status file of /proc.
long status_number(const std::string& path, const std::string& field) {
    std::istringstream lines(read_file(path));
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind(field + ":", 0) == 0) return std::stol(line.substr(field.size() + 1));
    }
    return -1;
}

}  // namespace

long status_kilobytes(pid_t pid, const std::string& field) {
    return status_number("/proc/" + std::to_string(pid) + "/status", field);
}

memory_shares memory_of(pid_t pid) {
    const std::string path = "/proc/" + std::to_string(pid) + "/smaps_rollup";
    return {status_number(path, "Private_Clean") + status_number(path, "Private_Dirty"),
            status_number(path, "Pss")};
}

long context_switches(pid_t pid) {
    long switches = 0;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        for (const char* field : {"voluntary_ctxt_switches", "nonvoluntary_ctxt_switches"}) {
            switches += status_number(task.path() / "status", field);
        }
    }
    return switches;
}

double cpu_seconds(pid_t pid) {
    double nanoseconds = 0;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        nanoseconds += std::strtod(read_file(task.path() / "schedstat").c_str(), nullptr);
    }
    return nanoseconds / 1e9;
}

}  // namespace lab
