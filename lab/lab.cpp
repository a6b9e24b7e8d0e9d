// rfcd-lab SCENARIO [--daemon COMMAND ...]: plays one scenario in this sandbox, or "air" in this
// virtual machine, and prints what happens. --daemon starts this command as the daemon, such as
// "qemu-aarch64-static path/rfcd".
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>

#include "harness/child_process.h"
#include "lab/air/air_world.h"
#include "lab/daemon.h"
#include "lab/rf_picture.h"
#include "lab/scenarios.h"

namespace {

constexpr struct {
    const char* name;
    int (*play)(lab::transcript&);
    const char* summary;
    void (*require_place)() = lab::require_sandbox;
} scenarios[] = {
    {"rrm", lab::play_rrm, "a whole session with the RRM service (the default)"},
    {"roaming", lab::play_roaming, "the roaming bridge between the service and the local bus"},
    {"wids", lab::play_wids, "the MAC lists of the WIDS service"},
    {"driver", lab::play_driver, "what the radio driver reads, hears, and tells hostapd"},
    {"air", lab::play_air, "radios of the kernel, a station", lab::air::require_machine},
    {"--stay", lab::stay, "an access point and a service to control by typing"},
};

int usage() {
    std::fprintf(stderr, "usage: rfcd-lab SCENARIO [--daemon COMMAND ...]\n");
    for (const auto& s : scenarios) std::fprintf(stderr, "  %-10s %s\n", s.name, s.summary);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    const bool other_daemon = argc > 3 && std::strcmp(argv[2], "--daemon") == 0;
    if (argc != 2 && !other_daemon) return usage();
    if (other_daemon) lab::use_daemon({argv + 3, argv + argc});

    // The sandbox leaves the project's folder writable, so the picture is there after it.
    if (std::filesystem::is_directory("build")) lab::use_picture_file("build/rf-environment.svg");

    for (const auto& scenario : scenarios) {
        if (std::strcmp(argv[1], scenario.name) != 0) continue;
        lab::transcript story(stdout);
        try {
            scenario.require_place();
            return scenario.play(story);
        } catch (const std::exception& problem) {
            story.add("lab", "", std::string("FAILED: ") + problem.what());
            return 1;
        }
    }
    return usage();
}
