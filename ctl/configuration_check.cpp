#include "ctl/configuration_check.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <string_view>

#include "base/files.h"
#include "ctl/exit_status.h"
#include "ctl/service_names.h"
#include "ctl/setting_faults.h"
#include "ctl/text.h"

namespace ctl {

namespace {

// What one call of fgets reads: a line, or a piece of a line that is longer than the buffer.
struct piece {
    char text[rfcd::configuration_line_size] = "";
    std::size_t length = 0;  // with the bytes behind a zero byte, which the daemon does not see
    std::size_t line = 0;    // from 1
    std::size_t number = 0;  // of the pieces of its line; from 1

    bool ends_line() const { return length > 0 && text[length - 1] == '\n'; }
    bool has_zero_byte() const { return std::strlen(text) < length; }
    bool is_first() const { return number == 1; }
};

// Replaces `p` by the piece that follows it. False at the end of the file.
bool read_next(std::FILE* file, piece& p) {
    const bool new_line = p.line == 0 || p.ends_line();
    p.line += new_line ? 1 : 0;
    p.number = new_line ? 1 : p.number + 1;

    const long begin = std::ftell(file);
    if (std::fgets(p.text, sizeof p.text, file) == nullptr) return false;
    p.length = static_cast<std::size_t>(std::ftell(file) - begin);
    return true;
}

std::string_view without_line_end(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
}

bool is_blank_or_comment(std::string_view line) {
    const auto text = without_blanks(line);
    return text.empty() || text.front() == '#';
}

bool begins_with_key(std::string_view text) {
    return !rfcd::configuration_key(std::string(text).c_str()).empty();
}

// Why the daemon ignores a line that is neither blank nor a comment.
std::string why_ignored(std::string_view line) {
    constexpr std::size_t longest_name = 40;
    const auto text = without_blanks(line);
    const auto equals = text.find('=');
    if (equals == std::string_view::npos) return "has no effect: it is no \"key=value\"";

    if (begins_with_key(text)) return "has no effect: it begins with a blank";
    const auto name = without_blanks(text.substr(0, equals));
    if (begins_with_key(std::string(name) + "=")) {
        return "has no effect: a blank stands before the \"=\"";
    }
    return "has no effect: the key \"" + printable(name.substr(0, longest_name)) + "\" is unknown";
}

std::string line_name(std::size_t line) { return "line " + std::to_string(line); }

class checker {
  public:
    checker() { rfcd::set_configuration_defaults(result_.understood); }

    void take(const piece& p);
    check_result finish();

  private:
    void report(std::size_t line, severity weight, const std::string& message);
    void take_rest_of_long_line(const piece& p, std::string_view key);
    void take_setting(const piece& p, std::string_view key);
    void find_unused_settings();

    check_result result_;
    std::map<std::string_view, std::size_t> in_effect_;  // the line that counts, by key
    std::size_t ended_by_ = 0;           // the line that ended the reading; 0 while none has
    bool line_begins_with_key_ = false;  // the line that the last piece belongs to
};

// Keeps the findings by line. Says the same about a line only once, however many pieces it has.
void checker::report(std::size_t line, severity weight, const std::string& message) {
    auto& findings = result_.findings;
    const auto place = std::upper_bound(findings.begin(), findings.end(), line,
                                        [](std::size_t l, const finding& f) { return l < f.line; });
    if (place != findings.begin()) {
        const auto& last = *std::prev(place);
        if (last.line == line && last.message == message) return;
    }
    findings.insert(place, {line, weight, message});
}

void checker::take(const piece& p) {
    const auto text = without_line_end(p.text);
    const bool says_something = !is_blank_or_comment(text);
    if (ended_by_ != 0) {
        if (p.is_first() && says_something) {
            report(p.line, severity::wrong,
                   "is not read: " + line_name(ended_by_) + " has ended the reading");
        }
        return;
    }

    if (p.has_zero_byte()) report(p.line, severity::wrong, "is cut at a zero byte");
    const auto key = rfcd::configuration_key(p.text);
    if (p.is_first()) {
        line_begins_with_key_ = !key.empty();
    } else if (!text.empty()) {
        take_rest_of_long_line(p, key);
    }

    if (!key.empty()) {
        take_setting(p, key);
    } else if (p.is_first() && says_something) {
        report(p.line, severity::wrong, why_ignored(text));
    }
}

void checker::take_rest_of_long_line(const piece& p, std::string_view key) {
    if (!key.empty()) {
        report(p.line, severity::wrong,
               "is longer than 253 characters, and a piece of it counts as a line \"" +
                   std::string(key) + "\"");
    } else if (line_begins_with_key_) {
        report(p.line, severity::wrong, "is longer than 253 characters, and cut");
    } else {
        report(p.line, severity::note, "is longer than 253 characters, and read in pieces");
    }
}

void checker::take_setting(const piece& p, std::string_view key) {
    rfcd::configuration alone;
    rfcd::set_configuration_defaults(alone);
    rfcd::apply_configuration_line(alone, p.text);
    if (!rfcd::apply_configuration_line(result_.understood, p.text)) {
        ended_by_ = p.line;
        report(p.line, severity::wrong,
               "ends the reading: the scheme of the URL is not \"ws\" in lower case");
        return;
    }

    const auto value = without_line_end(p.text).substr(key.size());
    const std::string fault = fault_of_setting(key, alone, value);
    if (!fault.empty()) report(p.line, severity::wrong, fault);
    const auto service = service_of_url_key(key);
    if (service && !alone.of(*service).enabled) return;

    const auto [earlier, is_new] = in_effect_.try_emplace(key, p.line);
    if (!is_new) {
        report(earlier->second, severity::note, "is overridden by " + line_name(p.line));
        earlier->second = p.line;
    }
}

void checker::find_unused_settings() {
    if (!result_.service) return;
    const std::string chosen = display_name(*result_.service);
    for (const auto& [key, line] : in_effect_) {
        const auto service = service_of_url_key(key);
        if (service && service != result_.service) {
            report(line, severity::note, "is not used: another line chooses " + chosen);
        }
        const auto user = only_user_of(key);
        if (user && user != result_.service) {
            report(line, severity::note,
                   std::string("is used by ") + display_name(*user) + " only, and the service is " +
                       chosen);
        }
    }
}

check_result checker::finish() {
    const auto chosen = std::find_if(
        rfcd::service_table.begin(), rfcd::service_table.end(),
        [&](const auto& service) { return result_.understood.of(service.index).enabled; });
    if (chosen != rfcd::service_table.end()) result_.service = chosen->index;

    find_unused_settings();
    return std::move(result_);
}

// Under systemd, what is wrong is an error in the journal.
void print(const char* path, const check_result& result) {
    const char* error_mark = std::getenv("JOURNAL_STREAM") != nullptr ? "<3>" : "";
    for (const auto& [line, weight, message] : result.findings) {
        const bool is_note = weight == severity::note;
        std::printf("%s%s:%zu: %s%s\n", is_note ? "" : error_mark, path, line,
                    is_note ? "note: " : "", message.c_str());
    }
    if (result.service) {
        std::printf("%s: the service is %s, %s\n", path, display_name(*result.service),
                    printable(url_of(result.understood.of(*result.service))).c_str());
    } else {
        std::printf("%s%s: no service is chosen, so the daemon would end at once\n", error_mark,
                    path);
    }
}

}  // namespace

bool check_result::fine() const {
    return service && std::none_of(findings.begin(), findings.end(),
                                   [](const finding& f) { return f.weight == severity::wrong; });
}

check_result check_configuration(std::FILE* file) {
    checker check;
    piece p;
    while (read_next(file, p)) check.take(p);
    return check.finish();
}

int run_check(const char* path) {
    struct stat found {};
    const bool is_there = stat(path, &found) == 0;
    if (is_there && !S_ISREG(found.st_mode)) {
        std::fprintf(stderr, "rfcdctl: %s is not a regular file\n", path);
        return exit_usage;
    }
    const auto file = is_there ? rfcd::open_for_reading(path) : nullptr;
    if (!file) {
        std::fprintf(stderr, "rfcdctl: %s cannot be read: %s\n", path, std::strerror(errno));
        return exit_usage;
    }

    const auto result = check_configuration(file.get());
    if (std::ferror(file.get()) != 0) {
        std::fprintf(stderr, "rfcdctl: %s cannot be read: %s\n", path, std::strerror(errno));
        return exit_usage;
    }
    print(path, result);
    return result.fine() ? exit_good : exit_bad;
}

}  // namespace ctl
