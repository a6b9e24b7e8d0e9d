// The report for a person.
#include <cstdio>

#include "ctl/report.h"
#include "ctl/service_names.h"
#include "ctl/text.h"

namespace ctl {

namespace {

// The record of an observation, with the ages of its times.
class aged_record {
  public:
    explicit aged_record(const observation& seen) : record_(*seen.record), now_(seen.now) {}

    bool has(std::string_view key) const { return record_.has(key); }
    std::string text(std::string_view key) const { return printable(record_.text(key)); }
    std::uint64_t number(std::string_view key) const { return record_.number(key); }

    std::string age(std::string_view key) const {
        return age_text(seconds_between(record_.number(key), now_));
    }
    // The same, reversed: how long it is until a time.
    std::string time_to(std::string_view key) const {
        return age_text(seconds_between(now_, record_.number(key)));
    }

  private:
    const status_record& record_;
    const std::uint64_t now_;
};

std::string attempts_text(const aged_record& record) {
    std::string text;
    if (record.has("attempts")) text += ", " + counted(record.number("attempts"), "attempt");
    if (record.has("last-end")) text += ", last: " + record.text("last-end");
    return text;
}

std::string headline_without_link(const aged_record& record) {
    const std::string link = record.text("link");
    if (link == "unlinked") {
        return "given up for good " + record.age("link-since") + " ago" + attempts_text(record);
    }
    // Each attempt has states of its own; this is since the link was lost, or the daemon started.
    const char* since = record.has("disconnected-since") ? "disconnected-since" : "link-since";
    return "not connected for " + record.age(since) + attempts_text(record);
}

std::string headline_of(const observation& seen) {
    const std::string name = name_of(seen.judged.outcome);
    if (!seen.judged.reason.empty()) return name + ": " + seen.judged.reason;

    const aged_record record(seen);
    if (seen.judged.outcome == verdict::not_connected) return headline_without_link(record);
    std::string text = "connected for " + record.age("link-since");
    if (!record.has("subscription")) return text;
    const std::string subscription = record.text("subscription");
    text += ", " + (subscription == "none" ? "not subscribed" : subscription);
    return record.has("subscription-since") ? text + " for " + record.age("subscription-since")
                                            : text;
}

std::string service_line(const aged_record& record) { return record.text("url"); }

std::string process_line(const aged_record& record) {
    return record.text("pid") + ", version " + record.text("version") + ", started " +
           record.age("started") + " ago";
}

std::string link_line(const aged_record& record) {
    std::string text = record.text("link") + " for " + record.age("link-since");
    if (!record.has("next-attempt")) return text;
    return text + ", next attempt in " + record.time_to("next-attempt");
}

std::string last_end_line(const aged_record& record) {
    return record.text("last-end") + ", " + record.age("last-end-at") + " ago";
}

std::string pings_line(const aged_record& record) {
    return record.text("pings-unanswered") + " unanswered";
}

std::string traffic(const aged_record& record, const std::string& way) {
    return counted(record.number(way + "-messages"), "message") + ", " +
           size_text(record.number(way + "-bytes"));
}

std::string received_line(const aged_record& record) { return traffic(record, "received"); }

std::string sent_line(const aged_record& record) { return traffic(record, "sent"); }

std::string queue(const aged_record& record, const std::string& way) {
    return traffic(record, way) + " waiting; " + record.text(way + "-dropped") + " dropped";
}

std::string to_service_line(const aged_record& record) { return queue(record, "to-service"); }

std::string from_service_line(const aged_record& record) { return queue(record, "from-service"); }

std::string hostapd_line(const aged_record& record) { return record.text("hostapd"); }

std::string scan_line(const aged_record& record) { return record.text("scan"); }

std::string last_report_line(const aged_record& record) {
    return counted(record.number("last-report-neighbours"), "neighbour") + ", " +
           record.age("last-report-at") + " ago";
}

std::string last_list_line(const aged_record& record) {
    return record.text("last-list") + ", " + record.age("last-list-at") + " ago";
}

std::string busy_link_line(const aged_record& record) {
    return record.text("link-loop-busy") + ", for " + record.age("link-loop");
}

std::string busy_service_line(const aged_record& record) {
    return record.text("service-loop-busy") + ", for " + record.age("service-loop");
}

struct report_line {
    const char* title;
    const char* needs;  // the key without which there is no line
    std::string (*text)(const aged_record&);
};

constexpr report_line report_lines[] = {
    {"service", "url", service_line},
    {"process", "pid", process_line},
    {"link", "link", link_line},
    {"last end", "last-end", last_end_line},
    {"pings", "pings-unanswered", pings_line},
    {"received", "received-messages", received_line},
    {"sent", "sent-messages", sent_line},
    {"to the service", "to-service-messages", to_service_line},
    {"from the service", "from-service-messages", from_service_line},
    {"hostapd", "hostapd", hostapd_line},
    {"scan", "scan", scan_line},
    {"last report", "last-report-at", last_report_line},
    {"last list", "last-list", last_list_line},
    {"the link waits", "link-loop-busy", busy_link_line},
    {"the worker waits", "service-loop-busy", busy_service_line},
};

std::string display_name(const std::string& service) {
    for (const auto& name : service_names) {
        if (service == name.word) return name.display;
    }
    return "rfcd";
}

}  // namespace

std::string person_report(const observation& seen) {
    std::string report = display_name(seen.service) + ": " + headline_of(seen) + "\n";
    // What the record tells of a daemon that is gone would read as if it still held.
    if (!seen.record || seen.judged.outcome == verdict::not_running) return report;

    const aged_record record(seen);
    for (const auto& [title, needs, text] : report_lines) {
        if (!record.has(needs)) continue;
        char padded[32];
        std::snprintf(padded, sizeof padded, "  %-18s", title);
        report += padded + text(record) + "\n";
    }
    return report;
}

}  // namespace ctl
