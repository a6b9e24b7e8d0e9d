#include "ctl/status_record.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>

#include "ctl/text.h"

namespace ctl {

namespace {

constexpr std::size_t largest_file = 64 << 10;

struct known_key {
    std::string_view key;
    value_kind kind;
    bool always_there = false;
};

constexpr known_key known_keys[] = {
    {"version", value_kind::text, true},
    {"service", value_kind::text, true},
    {"pid", value_kind::count, true},
    {"started", value_kind::time, true},
    {"written", value_kind::time, true},
    {"link", value_kind::text, true},
    {"link-since", value_kind::time, true},
    {"disconnected-since", value_kind::time},
    {"attempts", value_kind::count},
    {"next-attempt", value_kind::time},
    {"last-end-at", value_kind::time},
    {"pings-unanswered", value_kind::count},
    {"received-messages", value_kind::count},
    {"received-bytes", value_kind::count},
    {"sent-messages", value_kind::count},
    {"sent-bytes", value_kind::count},
    {"to-service-messages", value_kind::count},
    {"to-service-bytes", value_kind::count},
    {"to-service-dropped", value_kind::count},
    {"from-service-messages", value_kind::count},
    {"from-service-bytes", value_kind::count},
    {"from-service-dropped", value_kind::count, true},
    {"subscription-since", value_kind::time},
    {"last-report-at", value_kind::time},
    {"last-report-neighbours", value_kind::count},
    {"last-list-at", value_kind::time},
    {"link-loop", value_kind::time},
    {"service-loop", value_kind::time},
};

value_kind kind_of(std::string_view key) {
    const auto* known = std::find_if(std::begin(known_keys), std::end(known_keys),
                                     [&](const auto& row) { return row.key == key; });
    return known == std::end(known_keys) ? value_kind::text : known->kind;
}

std::string quoted(std::string_view text) { return "\"" + printable(text.substr(0, 40)) + "\""; }

// Adds a line to the record. Returns what is wrong with it; empty when nothing is.
std::string add_line(status_record& record, std::string_view line) {
    constexpr std::string_view separator = ": ";
    const auto end_of_key = line.find(separator);
    if (end_of_key == std::string_view::npos || end_of_key == 0) {
        return "is damaged: " + quoted(line) + " is no \"key: value\"";
    }

    status_entry entry{.key = std::string(line.substr(0, end_of_key)),
                       .value = std::string(line.substr(end_of_key + separator.size())),
                       .kind = kind_of(line.substr(0, end_of_key)),
                       .number = 0};
    if (record.has(entry.key)) return "is damaged: " + quoted(entry.key) + " comes twice";

    if (entry.kind != value_kind::text) {
        const char* end = entry.value.data() + entry.value.size();
        const auto [stop, error] = std::from_chars(entry.value.data(), end, entry.number);
        if (error != std::errc() || stop != end) {
            return "is damaged: " + quoted(entry.key) + " is not a number";
        }
        entry.value = std::to_string(entry.number);
    }
    record.add(std::move(entry));
    return "";
}

class descriptor {
  public:
    explicit descriptor(int number) : number_(number) {}
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;
    ~descriptor() {
        if (number_ >= 0) close(number_);
    }
    int get() const { return number_; }

  private:
    const int number_;
};

}  // namespace

const status_entry* status_record::find(std::string_view key) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const auto& entry) { return entry.key == key; });
    return found == entries_.end() ? nullptr : &*found;
}

std::string_view status_record::text(std::string_view key) const {
    const auto* entry = find(key);
    return entry == nullptr ? std::string_view() : entry->value;
}

std::uint64_t status_record::number(std::string_view key) const {
    const auto* entry = find(key);
    return entry == nullptr ? 0 : entry->number;
}

status_reading parse_status(std::string_view text) {
    status_record record;
    while (!text.empty()) {
        const auto end_of_line = text.find('\n');
        if (end_of_line == std::string_view::npos) return {{}, "is cut: its last line has no end"};

        const std::string fault = add_line(record, text.substr(0, end_of_line));
        if (!fault.empty()) return {{}, fault};
        text.remove_prefix(end_of_line + 1);
    }

    for (const auto& [key, kind, always_there] : known_keys) {
        if (always_there && !record.has(key)) return {{}, "is cut: it has no " + quoted(key)};
    }
    const auto pid = record.number("pid");
    if (pid < 1 || pid > INT_MAX) return {{}, "is damaged: \"pid\" is not a process number"};
    return {std::move(record), ""};
}

std::string fault_of_status_file(const struct stat& file) {
    if (!S_ISREG(file.st_mode)) return "is not a regular file";
    if (file.st_uid != 0 && file.st_uid != geteuid()) return "belongs to another user";
    if (static_cast<std::uint64_t>(file.st_size) > largest_file) return "is too large";
    return "";
}

std::optional<status_reading> read_status_file(const char* path) {
    // A pipe without a writer must not make us wait.
    const descriptor file(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.get() < 0) {
        if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
        if (errno == ELOOP) return status_reading{{}, "is a link"};
        return status_reading{{}, std::string("cannot be read: ") + std::strerror(errno)};
    }

    struct stat found {};
    if (fstat(file.get(), &found) != 0) return status_reading{{}, "cannot be examined"};
    const std::string fault = fault_of_status_file(found);
    if (!fault.empty()) return status_reading{{}, fault};

    std::string text(largest_file, '\0');
    std::size_t length = 0;
    ssize_t count = 1;
    while (count > 0 && length < text.size()) {
        count = read(file.get(), text.data() + length, text.size() - length);
        if (count > 0) length += static_cast<std::size_t>(count);
    }
    if (count < 0)
        return status_reading{{}, std::string("cannot be read: ") + std::strerror(errno)};
    return parse_status(std::string_view(text).substr(0, length));
}

}  // namespace ctl
