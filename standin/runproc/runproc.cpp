// The command-execution library: splits a command at blanks and runs it without a shell, for five
// seconds at most. The command's output goes to the log.
#include "platform/runproc.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::chrono::seconds time_limit{5};
constexpr std::chrono::milliseconds look_interval{2};  // between checks whether it has ended
constexpr std::size_t max_output = 4096;  // bytes kept for the log; the rest is read and dropped

void (*log_writer)(const char* line) = nullptr;

std::vector<std::string> words_of(const std::string& command) {
    constexpr const char* blanks = " \t\n\v\f\r";
    std::vector<std::string> words;
    for (auto at = command.find_first_not_of(blanks); at != std::string::npos;) {
        const auto end = command.find_first_of(blanks, at);
        words.push_back(command.substr(at, end - at));
        at = command.find_first_not_of(blanks, end);
    }
    return words;
}

class output_pipe {
  public:
    output_pipe() {
        if (pipe2(ends_, O_CLOEXEC) != 0) ends_[0] = ends_[1] = -1;
    }
    output_pipe(const output_pipe&) = delete;
    output_pipe& operator=(const output_pipe&) = delete;
    ~output_pipe() {
        close_write_end();
        close_read_end();
    }

    int write_end() const { return ends_[1]; }
    void close_write_end() {
        if (ends_[1] != -1) close(ends_[1]);
        ends_[1] = -1;
    }

    // Waits for output for `step` at most, and keeps it. False when a signal handler ran during the
    // wait.
    bool read_for(std::chrono::milliseconds step, std::string& output) {
        pollfd in{ends_[0], POLLIN, 0};
        const int ready = poll(&in, 1, static_cast<int>(step.count()));
        if (ready < 0) return errno != EINTR;
        if (ready > 0 && !read_piece(output)) close_read_end();
        return true;
    }

    // Keeps the output that has already arrived, without waiting for more.
    void read_rest(std::string& output) {
        pollfd in{ends_[0], POLLIN, 0};
        for (int pieces = 0; pieces < most_rest_pieces && poll(&in, 1, 0) > 0; ++pieces) {
            if (!read_piece(output)) return;
        }
    }

  private:
    // A pipe holds no more than this. What a background process writes later is ignored.
    static constexpr int most_rest_pieces = 256;

    // False at the end of the output.
    bool read_piece(std::string& output) const {
        char piece[512];
        const ssize_t count = read(ends_[0], piece, sizeof piece);
        if (count > 0 && output.size() < max_output) {
            output.append(piece, static_cast<std::size_t>(count));
        }
        return count > 0 || (count < 0 && errno == EINTR);
    }

    // A descriptor of -1 never becomes ready.
    void close_read_end() {
        if (ends_[0] != -1) close(ends_[0]);
        ends_[0] = -1;
    }

    int ends_[2];
};

pid_t start(const std::vector<std::string>& words, int output) {
    std::vector<char*> argv;
    for (const auto& word : words) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);

    // The command starts with no blocked and no ignored signals.
    sigset_t all{};
    sigset_t none{};
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, output, STDERR_FILENO);

    pid_t child = -1;
    const int error = posix_spawnp(&child, argv[0], &files, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    return error == 0 ? child : -1;
}

enum class outcome { good, failed, too_long, interrupted };

constexpr const char* text_of(outcome what) {
    switch (what) {
        case outcome::good: return "";
        case outcome::failed: return "failed: ";
        case outcome::too_long: return "took too long: ";
        case outcome::interrupted: break;
    }
    return "was interrupted: ";
}

outcome outcome_of(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? outcome::good : outcome::failed;
}

void end(pid_t child) {
    kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) == -1 && errno == EINTR) {
    }
}

// Waits for the end of the command itself, even if another process still holds its output. If the
// exit status cannot be learned, the command counts as failed.
outcome wait_for(pid_t child, output_pipe& output, std::string& text) {
    const auto deadline = clock_type::now() + time_limit;
    while (clock_type::now() < deadline) {
        int status = 0;
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == -1 && errno != EINTR) return outcome::failed;
        if (ended == child) {
            output.read_rest(text);
            return outcome_of(status);
        }

        if (!output.read_for(look_interval, text)) {
            end(child);
            return outcome::interrupted;
        }
    }
    end(child);
    return outcome::too_long;
}

void log_outcome(const std::string& command, const std::string& output, const char* outcome) {
    if (log_writer == nullptr) return;
    std::string text = output;
    while (!text.empty() && text.back() == '\n') text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    log_writer((command + " -> " + outcome + text).c_str());
}

int run(const std::string& command) {
    const auto words = words_of(command);
    output_pipe output;
    const pid_t child =
        words.empty() || output.write_end() == -1 ? -1 : start(words, output.write_end());
    output.close_write_end();
    if (child == -1) {
        log_outcome(command, "", "cannot be started");
        return -1;
    }

    std::string text;
    const outcome what = wait_for(child, output, text);
    log_outcome(command, text, text_of(what));
    return what == outcome::good ? 0 : -1;
}

}  // namespace

void runproc_set_log(void (*write)(const char* line)) { log_writer = write; }

int runproc_exec(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    char* command = nullptr;
    const int length = vasprintf(&command, format, args);
    va_end(args);
    if (length < 0) return -1;
    const std::string owned(command, static_cast<std::size_t>(length));
    std::free(command);
    return run(owned);
}
