// The report as JSON.
#include <cstdio>

#include "ctl/report.h"
#include "ctl/text.h"

namespace ctl {

namespace {

// Bytes beyond ASCII become \u0080 to \u00ff, so that the object is valid whatever the text is.
std::string json_text(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += {'\\', c};
        } else if (c < ' ' || c > '~') {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned char>(c));
            result += escaped;
        } else {
            result += c;
        }
    }
    return result + "\"";
}

class json_object_text {
  public:
    void add_text(std::string_view key, std::string_view value) { add(key, json_text(value)); }
    void add_number(std::string_view key, std::uint64_t value) { add(key, std::to_string(value)); }
    std::string finish() const { return "{" + members_ + "}\n"; }

  private:
    void add(std::string_view key, const std::string& value) {
        if (!members_.empty()) members_ += ",";
        members_ += json_text(key) + ":" + value;
    }

    std::string members_;
};

// A loop's last pass is as old as the file while nothing is wrong, so its age would tell nothing.
bool age_tells_something(const status_record& record, const std::string& key) {
    return !key.ends_with("-loop") || record.has(key + "-busy");
}

void add_entry(json_object_text& object, const observation& seen, const status_entry& entry) {
    if (entry.kind == value_kind::text) {
        object.add_text(entry.key, entry.value);
        return;
    }
    object.add_number(entry.key, entry.number);

    if (entry.kind != value_kind::time || !age_tells_something(*seen.record, entry.key)) return;
    if (entry.key == "next-attempt") {
        object.add_number("next-attempt-in", seconds_between(seen.now, entry.number));
    } else {
        object.add_number(entry.key + "-age", seconds_between(entry.number, seen.now));
    }
}

}  // namespace

std::string json_report(const observation& seen) {
    json_object_text object;
    object.add_text("verdict", name_of(seen.judged.outcome));
    if (!seen.judged.reason.empty()) object.add_text("reason", seen.judged.reason);

    if (seen.record) {
        for (const auto& entry : seen.record->entries()) add_entry(object, seen, entry);
    } else if (!seen.service.empty()) {
        object.add_text("service", seen.service);
    }
    return object.finish();
}

}  // namespace ctl
