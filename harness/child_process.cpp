#include "harness/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace lab {

child_process::child_process(const std::vector<std::string>& arguments,
                             const std::string& output_path) {
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output_path.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);

    // The child inherits no other descriptor, whatever descriptors the caller inherited.
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        if (descriptor > STDERR_FILENO) posix_spawn_file_actions_addclose(&files, descriptor);
    }

    const int error = posix_spawnp(&pid_, argv[0], &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) throw std::system_error(error, std::generic_category(), arguments[0]);
}

child_process::~child_process() {
    if (!status()) {
        signal(SIGKILL);
        wait();
    }
}

std::optional<int> child_process::status() {
    int raw = 0;
    if (!status_ && waitpid(pid_, &raw, WNOHANG) == pid_) {
        status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    }
    return status_;
}

void child_process::signal(int number) const {
    if (!status_) kill(pid_, number);
}

std::optional<int> child_process::wait(milliseconds timeout) {
    wait_until([this] { return status().has_value(); }, timeout);
    return status_;
}

int child_process::stop(milliseconds timeout) {
    signal(SIGTERM);
    signal(SIGCONT);
    if (const auto result = wait(timeout)) return *result;
    signal(SIGKILL);
    return wait().value_or(-1);
}

void require_sandbox() {
    if (access("/run/.sandbox", F_OK) != 0) {
        throw std::runtime_error("this runs in tools/sandbox only");
    }
}

std::string read_file(const std::string& path) {
    std::ostringstream text;
    if (const std::ifstream file(path, std::ios::binary); file) text << file.rdbuf();
    return text.str();
}

void write_file(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace lab
