// The log library. Lines go to standard error until a file is set, then to that file; while the
// file cannot be written, they go to standard error again.
//
// The file rotates at 1 MiB; three old files are kept. Logging never stops the daemon: when neither
// the file nor standard error accepts a line, it is counted, and the count is written before the
// next line that succeeds. If the reader of standard error stalls, the daemon waits once, for a
// short time. A line that was written in part is ended before the next one begins.
//
// While no file is set and the journal reads standard error, lines have the journal's form.
#include "platform/vnorda_log.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "log/journal.h"
#include "log/log_line.h"
#include "log/rotating_file.h"

namespace {

constexpr std::size_t max_file_bytes = std::size_t{1} << 20;
constexpr unsigned old_files = 3;
constexpr std::size_t pipe_atom = 4096;  // a pipe that polls writable takes this much at once
constexpr int stall_wait_ms = 50;

struct log_state {
    const char* daemon = "unnamed";
    std::optional<standin::rotating_file> file;
    unsigned long lost_lines = 0;
    bool stderr_stalled = false;
    bool stderr_torn = false;  // the last line there was written in part
};

// Never destroyed: threads may log while the process ends.
log_state& state() {
    static auto& only = *new log_state;
    return only;
}

// Writes to standard error; returns how many bytes it accepted.
std::size_t write_to_stderr(std::string_view text) {
    auto& log = state();
    std::size_t done = 0;
    while (done < text.size()) {
        pollfd out{STDERR_FILENO, POLLOUT, 0};
        const int ready = poll(&out, 1, log.stderr_stalled ? 0 : stall_wait_ms);
        if (ready < 0 && errno == EINTR) continue;
        if (ready != 1) {
            log.stderr_stalled = true;
            break;
        }

        const auto piece = text.substr(done, pipe_atom);
        const ssize_t written = write(STDERR_FILENO, piece.data(), piece.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) break;
        done += static_cast<std::size_t>(written);
    }
    return done;
}

bool write_line_to_stderr(std::string_view line) {
    auto& log = state();
    const std::string text = (log.stderr_torn ? "\n" : "") + std::string(line);

    const std::size_t done = write_to_stderr(text);
    if (done == 0) return false;
    log.stderr_torn = done < text.size();
    if (!log.stderr_torn) log.stderr_stalled = false;
    return !log.stderr_torn;
}

bool write_anywhere(std::string_view line) {
    auto& log = state();
    return (log.file && log.file->write_line(line)) || write_line_to_stderr(line);
}

}  // namespace

void norda_log_set_daemonname(const char* name) { state().daemon = name; }

int logcycle_init(const char* /*identity*/) { return 0; }

void logcycle_set_file(const char* path) { state().file.emplace(path, max_file_bytes, old_files); }

void vnorda_log_msg_timed_new(int level_code, const char* format, va_list args) {
    auto& log = state();
    const bool journal = !log.file && standin::is_journal(STDERR_FILENO);
    standin::line_source source{log.daemon, getpid(), {}};
    clock_gettime(CLOCK_REALTIME, &source.time);

    std::string line = journal ? standin::format_journal_lines(level_code, format, args)
                               : standin::format_log_line(source, level_code, format, args);
    if (log.lost_lines != 0) {
        const std::string lost = std::to_string(log.lost_lines) + " lines lost before this one\n";
        line.insert(0, journal ? "<4>" + lost : lost);
    }
    log.lost_lines = write_anywhere(line) ? 0 : log.lost_lines + 1;
}
