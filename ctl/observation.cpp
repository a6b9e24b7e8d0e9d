#include "ctl/observation.h"

#include <algorithm>
#include <ctime>

#include "ctl/exit_status.h"
#include "ctl/service_names.h"
#include "ctl/text.h"

namespace ctl {

namespace {

constexpr const char* status_folder = "/run/rfcd/";

// The longest that a loop may wait: a request to a local daemon, a command and a name lookup end
// sooner.
constexpr std::uint64_t longest_pass = 150;

std::uint64_t monotonic_seconds() {
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec);
}

std::string path_of(const std::string& service) { return status_folder + service + ".status"; }

// Whether this loop has said what it waits for.
bool waits_for_something(const status_record& record, std::string_view loop) {
    const std::string busy = std::string(loop) + "-busy";
    return record.has(busy) && record.text(busy) != "unknown";
}

// What the process says; nothing when it runs, or when both its loops may wait.
std::optional<judgement> judge_process(const status_record& record, process_life life) {
    const std::string process = "process " + std::to_string(record.number("pid"));
    switch (life) {
        case process_life::running: break;
        case process_life::stopped: return judgement{verdict::stuck, process + " is stopped"};
        case process_life::frozen:
            if (waits_for_something(record, "link-loop") &&
                waits_for_something(record, "service-loop")) {
                break;
            }
            return judgement{verdict::stuck, process + " does not run"};
        case process_life::ended: return judgement{verdict::not_running, process + " has ended"};
        case process_life::replaced:
            return judgement{verdict::not_running, process + " is another program"};
        case process_life::hidden:
            return judgement{verdict::unreadable, process + " is hidden from this user"};
    }
    return std::nullopt;
}

// Says that a loop hangs, with what it waits for; nothing when it does not.
std::optional<judgement> judge_loop(const status_record& record, std::string_view loop,
                                    std::uint64_t now) {
    const std::string busy = std::string(loop) + "-busy";
    const auto last_pass = record.number(loop);
    if (!record.has(loop) || !record.has(busy) || seconds_between(last_pass, now) <= longest_pass)
        return std::nullopt;

    const char* whose = loop == "link-loop" ? "the link" : "the service worker";
    return judgement{verdict::stuck, std::string(whose) + " has made no progress for " +
                                         age_text(now - last_pass) +
                                         ", busy: " + printable(record.text(busy))};
}

observation observe_one(const std::string& service, const status_reading& reading) {
    const auto now = monotonic_seconds();
    if (!reading.record) {
        return {service, {}, {verdict::unreadable, path_of(service) + " " + reading.fault}, now};
    }

    const auto& record = *reading.record;
    if (record.text("service") != service) {
        const std::string reason = path_of(service) + " is of another service";
        return {service, {}, {verdict::unreadable, reason}, now};
    }
    const auto life =
        look_at_process(static_cast<pid_t>(record.number("pid")), record.number("started"));
    return {service, record, judge(record, life, now), now};
}

}  // namespace

judgement judge(const status_record& record, process_life life, std::uint64_t now) {
    constexpr std::uint64_t tolerance = 1;
    if (std::max(record.number("started"), record.number("written")) > now + tolerance) {
        return {verdict::not_running, "the status is from before the machine's last start"};
    }
    if (const auto judged = judge_process(record, life)) return *judged;
    for (const char* loop : {"link-loop", "service-loop"}) {
        if (const auto judged = judge_loop(record, loop, now)) return *judged;
    }

    if (record.text("link") != "connected") return {verdict::not_connected, ""};
    const bool subscribes = record.text("service") == "rrm";
    const bool subscribed = record.text("subscription") == "subscribed";
    return {subscribes && !subscribed ? verdict::not_subscribed : verdict::connected, ""};
}

const char* name_of(verdict outcome) {
    switch (outcome) {
        case verdict::connected: return "connected";
        case verdict::not_subscribed: return "not subscribed";
        case verdict::not_connected: return "not connected";
        case verdict::stuck: return "stuck";
        case verdict::not_running: return "not running";
        case verdict::unreadable: return "unreadable";
    }
    return "";
}

int exit_status_of(verdict outcome) {
    switch (outcome) {
        case verdict::connected: return exit_good;
        case verdict::not_subscribed:
        case verdict::not_connected: return exit_bad;
        case verdict::stuck:
        case verdict::not_running:
        case verdict::unreadable: break;
    }
    return exit_trouble;
}

std::vector<observation> observe(const std::string& service) {
    std::vector<observation> found;
    for (const auto& [name, display] : service_names) {
        if (!service.empty() && service != name) continue;
        if (const auto reading = read_status_file(path_of(name).c_str())) {
            found.push_back(observe_one(name, *reading));
        }
    }
    if (found.empty()) {
        const std::string reason = service.empty()
                                       ? std::string(status_folder) + " has no status file"
                                       : path_of(service) + " does not exist";
        found.push_back({service, {}, {verdict::not_running, reason}, monotonic_seconds()});
    }
    return found;
}

}  // namespace ctl
