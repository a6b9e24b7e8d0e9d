// Any bytes as the status file that rfcdctl reads.
#include <json-c/json.h>

#include <algorithm>
#include <memory>

#include "ctl/observation.h"
#include "ctl/report.h"
#include "fuzz/fuzz.h"

namespace {

constexpr std::uint64_t now = 20'000;

bool is_printable(char c) { return c == '\n' || (c >= ' ' && c <= '~'); }

void look_at(const ctl::observation& seen) {
    const std::string report = ctl::person_report(seen);
    fuzz::require(std::all_of(report.begin(), report.end(), is_printable),
                  "nothing steers the terminal", report);

    const std::string json = ctl::json_report(seen);
    const std::unique_ptr<json_object, int (*)(json_object*)> object(
        json_tokener_parse(json.c_str()), &json_object_put);
    fuzz::require(json_object_is_type(object.get(), json_type_object), "an object", json);
    fuzz::require(std::count(json.begin(), json.end(), '\n') == 1, "one line", json);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto reading = ctl::parse_status(fuzz::text_of(data, size));
    fuzz::require(reading.record.has_value() == reading.fault.empty(), "a record or a fault");
    if (!reading.record) {
        const std::string report =
            ctl::person_report({"rrm", {}, {ctl::verdict::unreadable, reading.fault}, now});
        fuzz::require(std::all_of(report.begin(), report.end(), is_printable), "a plain fault",
                      report);
        return 0;
    }

    for (const auto life : {ctl::process_life::running, ctl::process_life::stopped}) {
        const auto& record = *reading.record;
        look_at({std::string(record.text("service")), record, ctl::judge(record, life, now), now});
    }
    return 0;
}
