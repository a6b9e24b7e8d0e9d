// rfcd-bench FILE [--library FOLDER] [NAME ...]: runs the benchmarks, prints tables, and writes the
// figures to FILE.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "bench/benchmarks.h"
#include "harness/child_process.h"

namespace {

constexpr struct {
    const char* name;
    void (*measure)(bench::results&);
} benchmarks[] = {
    {"relay", bench::measure_relay}, {"round-trip", bench::measure_round_trip},
    {"idle", bench::measure_idle},   {"start", bench::measure_start},
    {"large", bench::measure_large}, {"fleet", bench::measure_fleet},
};

bool chosen(const char* name, const std::vector<std::string>& names) {
    return names.empty() || std::find(names.begin(), names.end(), name) != names.end();
}

bool is_benchmark(const std::string& name) {
    return std::any_of(std::begin(benchmarks), std::end(benchmarks),
                       [&](const auto& b) { return name == b.name; });
}

int usage() {
    std::fprintf(stderr, "usage: rfcd-bench FILE [--library FOLDER] [NAME ...]\n");
    for (const auto& b : benchmarks) std::fprintf(stderr, "  %s\n", b.name);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    std::vector<std::string> names(argv + 2, argv + argc);
    if (names.size() >= 2 && names[0] == "--library") {
        bench::use_patched_library(names[1]);
        names.erase(names.begin(), names.begin() + 2);
    }
    if (!std::all_of(names.begin(), names.end(), is_benchmark)) return usage();

    try {
        lab::require_sandbox();
        bench::results r;
        for (const auto& b : benchmarks) {
            if (chosen(b.name, names)) b.measure(r);
        }
        r.write(argv[1]);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "rfcd-bench: %s\n", problem.what());
        return 1;
    }
}
