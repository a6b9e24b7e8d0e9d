// The status that the daemon writes of itself, as text and as a record. The text has one "key:
// value" a line. Times are whole seconds of the monotonic clock.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

enum class value_kind { text, count, time };

struct status_entry {
    std::string key;
    std::string value;
    value_kind kind;
    std::uint64_t number;  // of counts and times
};

class status_record {
  public:
    // In the order of the text. Keys that this program does not know count as texts.
    const std::vector<status_entry>& entries() const { return entries_; }

    // Empty, or 0, when the record does not have the key.
    std::string_view text(std::string_view key) const;
    std::uint64_t number(std::string_view key) const;
    bool has(std::string_view key) const { return find(key) != nullptr; }

    void add(status_entry entry) { entries_.push_back(std::move(entry)); }

  private:
    const status_entry* find(std::string_view key) const;

    std::vector<status_entry> entries_;
};

// A record, or why there is none.
struct status_reading {
    std::optional<status_record> record;
    std::string fault;  // such as "is cut: the last line has no end"
};

status_reading parse_status(std::string_view text);

// Why a file is none of the daemon's; empty for a regular file of up to 64 kB that belongs to root
// or to the user of this process.
std::string fault_of_status_file(const struct stat& file);

// Null when the file does not exist. Follows no link.
std::optional<status_reading> read_status_file(const char* path);

}  // namespace ctl
