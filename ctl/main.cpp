// rfcdctl: what a running rfcd does, and what a configuration file would make it do.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/configuration_check.h"
#include "ctl/exit_status.h"
#include "ctl/observation.h"
#include "ctl/report.h"
#include "ctl/service_names.h"
#include "ctl/watch.h"

namespace {

using words = std::vector<std::string_view>;

constexpr const char* usage =
    "usage: rfcdctl status [SERVICE] [--json]   what the daemon does\n"
    "       rfcdctl watch [SERVICE]             the same, redrawn as it changes\n"
    "       rfcdctl check FILE                  what is wrong with a configuration\n"
    "       rfcdctl version\n"
    "SERVICE is roaming, rrm or wids.\n";

int wrong_words() {
    std::fputs(usage, stderr);
    return ctl::exit_usage;
}

bool is_service(std::string_view word) {
    return std::any_of(ctl::service_names.begin(), ctl::service_names.end(),
                       [&](const auto& service) { return word == service.word; });
}

int print_status(const std::string& service, std::string (*report)(const ctl::observation&)) {
    int worst = ctl::exit_good;
    for (const auto& seen : ctl::observe(service)) {
        std::fputs(report(seen).c_str(), stdout);
        worst = std::max(worst, ctl::exit_status_of(seen.judged.outcome));
    }
    return worst;
}

int status(const words& given) {
    words arguments = given;
    const bool json = std::erase(arguments, "--json") > 0;
    if (arguments.size() > 1) return wrong_words();
    if (!arguments.empty() && !is_service(arguments.front())) return wrong_words();

    const std::string service(arguments.empty() ? "" : arguments.front());
    return print_status(service, json ? ctl::json_report : ctl::person_report);
}

int watch(const words& arguments) {
    if (arguments.size() > 1) return wrong_words();
    if (!arguments.empty() && !is_service(arguments.front())) return wrong_words();
    return ctl::run_watch(std::string(arguments.empty() ? "" : arguments.front()));
}

int check(const words& arguments) {
    if (arguments.size() != 1) return wrong_words();
    return ctl::run_check(std::string(arguments.front()).c_str());
}

int version(const words& arguments) {
    if (!arguments.empty()) return wrong_words();
    std::puts("rfcdctl " RFCD_VERSION);
    return ctl::exit_good;
}

int help(const words& /*arguments*/) {
    std::fputs(usage, stdout);
    return ctl::exit_good;
}

constexpr struct {
    std::string_view name;
    int (*run)(const words&);
} commands[] = {
    {"status", status}, {"watch", watch}, {"check", check}, {"version", version}, {"--help", help},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return wrong_words();
    for (const auto& [name, run] : commands) {
        if (name == argv[1]) return run(words(argv + 2, argv + argc));
    }
    return wrong_words();
}
