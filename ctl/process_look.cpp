#include "ctl/process_look.h"

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "base/files.h"

namespace ctl {

namespace {

constexpr std::string_view daemon_name = "rfcd";

// Takes the first word off the text.
std::string_view take_word(std::string_view& text) {
    const auto begin = text.find_first_not_of(' ');
    text.remove_prefix(begin == std::string_view::npos ? text.size() : begin);
    const auto word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size());
    return word;
}

std::uint64_t number_of(std::string_view text) {
    std::uint64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::uint64_t seconds_of(clockid_t clock) {
    std::timespec now{};
    clock_gettime(clock, &now);
    return static_cast<std::uint64_t>(now.tv_sec);
}

// The kernel counts a start from the machine's start, and includes the time that the machine was
// suspended. The monotonic clock leaves that time out, and nobody tells how much of it was before
// the process started.
bool may_have_started_at(const process_stat& process, std::uint64_t started) {
    constexpr std::uint64_t tolerance = 2;
    const auto ticks_a_second = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    const auto start = process.start_ticks / ticks_a_second;
    const auto suspended = seconds_of(CLOCK_BOOTTIME) - seconds_of(CLOCK_MONOTONIC);
    return started <= start + tolerance && started + suspended + tolerance >= start;
}

// How often the kernel has switched between the process's threads and others.
std::uint64_t context_switches(pid_t pid) {
    constexpr std::string_view field = "ctxt_switches:\t";
    const std::string folder = "/proc/" + std::to_string(pid) + "/task";
    const std::unique_ptr<DIR, int (*)(DIR*)> tasks(opendir(folder.c_str()), &closedir);
    if (!tasks) return 0;

    std::uint64_t sum = 0;
    while (const auto* task = readdir(tasks.get())) {
        if (task->d_name[0] == '.') continue;
        const auto status = rfcd::read_text_file(folder + "/" + task->d_name + "/status");
        std::string_view rest = status ? std::string_view(*status) : std::string_view();
        for (auto at = rest.find(field); at != std::string_view::npos; at = rest.find(field)) {
            rest.remove_prefix(at + field.size());
            sum += number_of(rest);
        }
    }
    return sum;
}

bool runs_within_moments(pid_t pid) {
    constexpr int steps = 14;
    constexpr std::timespec step{.tv_sec = 0, .tv_nsec = 50'000'000};
    const auto before = context_switches(pid);
    for (int i = 0; i < steps; ++i) {
        nanosleep(&step, nullptr);
        if (context_switches(pid) != before) return true;
    }
    return false;
}

}  // namespace

process_stat parse_process_stat(std::string_view text) {
    constexpr int words_from_state_to_start = 19;
    const auto name_begin = text.find('(');
    const auto name_end = text.rfind(')');  // the name may contain one too
    if (name_end == std::string_view::npos || name_begin > name_end) return {};

    process_stat process;
    process.name = text.substr(name_begin + 1, name_end - name_begin - 1);
    text.remove_prefix(name_end + 1);
    const auto state = take_word(text);
    if (!state.empty()) process.state = state.front();
    for (int i = 1; i < words_from_state_to_start; ++i) take_word(text);
    process.start_ticks = number_of(take_word(text));
    return process;
}

process_life look_at_process(pid_t pid, std::uint64_t started) {
    const auto text = rfcd::read_text_file("/proc/" + std::to_string(pid) + "/stat");
    if (!text || text->empty()) {
        const bool exists = kill(pid, 0) == 0 || errno == EPERM;
        return exists ? process_life::hidden : process_life::ended;
    }

    const auto process = parse_process_stat(*text);
    if (!process.name.starts_with(daemon_name) || !may_have_started_at(process, started)) {
        return process_life::replaced;
    }
    switch (process.state) {
        case 'Z':
        case 'X': return process_life::ended;
        case 'T':
        case 't': return process_life::stopped;
        default: break;
    }
    return runs_within_moments(pid) ? process_life::running : process_life::frozen;
}

}  // namespace ctl
