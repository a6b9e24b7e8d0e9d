// rfcd-bench FILE [NAME ...]: measures, prints tables, and writes the figures to FILE.
#include <cstdio>
#include <cstring>
#include <exception>

#include "bench/benchmarks.h"
#include "lab/child_process.h"

namespace {

constexpr struct {
    const char* name;
    void (*measure)(bench::results&);
} benchmarks[] = {
    {"relay", bench::measure_relay}, {"round-trip", bench::measure_round_trip},
    {"idle", bench::measure_idle},   {"start", bench::measure_start},
    {"large", bench::measure_large}, {"fleet", bench::measure_fleet},
};

bool chosen(const char* name, int argc, char** argv) {
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i], name) == 0) return true;
    }
    return argc <= 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: rfcd-bench FILE [NAME ...]\n");
        for (const auto& b : benchmarks) std::fprintf(stderr, "  %s\n", b.name);
        return 2;
    }
    try {
        lab::require_sandbox();
        bench::results r;
        for (const auto& b : benchmarks) {
            if (chosen(b.name, argc, argv)) b.measure(r);
        }
        r.write(argv[1]);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "rfcd-bench: %s\n", problem.what());
        return 1;
    }
}
