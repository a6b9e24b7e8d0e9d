// What the local daemons cost at rest, and what happens when hostapd or a radio goes away.
#include <csignal>

#include "lab/air/reports.h"
#include "lab/air/steps.h"
#include "lab/rrm_report.h"
#include "lab/service_world.h"

namespace lab::air {

namespace {

constexpr auto rest = 20s;

// What a process used of the machine between two looks.
class meter {
  public:
    meter(std::string name, pid_t pid)
        : name_(std::move(name)),
          pid_(pid),
          cpu_(cpu_seconds(pid)),
          wakes_(context_switches(pid)) {}

    std::string text() const {
        const auto memory = memory_of(pid_);
        return name_ + ": " + std::to_string((cpu_seconds(pid_) - cpu_) * 1000) + " ms of CPU, " +
               std::to_string(context_switches(pid_) - wakes_) + " wake-ups, " +
               std::to_string(memory.own) + " kB of its own, " +
               std::to_string(status_kilobytes(pid_, "VmRSS")) + " kB resident";
    }

  private:
    std::string name_;
    pid_t pid_;
    double cpu_;
    long wakes_;
};

}  // namespace

void show_rest(session& s) {
    s.story.chapter("20 seconds at rest");
    const meter local("aplocald", s.world.local->pid());
    const meter agent("rfcd", s.world.agent->process().pid());
    std::this_thread::sleep_for(rest);
    s.story.add("", "", local.text());
    s.story.add("", "", agent.text());
}

void show_restart(session& s) {
    s.story.chapter("hostapd is killed and started");
    s.world.office.stop(SIGKILL);
    s.list.check("the daemon notices", s.world.agent->wait_log("waiting for restart", 30s));

    s.world.cloud.received().clear();
    s.world.office.start();
    const std::string changed = s.world.expect("rrm-config-changed", 40s);
    s.list.check("the service is told of radios that are up", described_radio(changed, 0).up &&
                                                                  described_radio(changed, 1).up &&
                                                                  described_radio(changed, 2).up);
    s.list.check("the laptop can connect again", s.world.laptop.connect(vap_mac(1, 0)));
}

void show_radio_down(session& s) {
    s.story.chapter("a radio is taken down");
    s.world.cloud.received().clear();
    run_well({"ip", "link", "set", "wlan1", "down"});
    run_well({"ip", "link", "set", "wlan1-vap1", "down"});

    // On a slow machine the service may still be told of the restart before.
    std::string changed;
    for (int told = 0; told < 3; ++told) {
        changed = s.world.expect("rrm-config-changed", 40s);
        if (!described_radio(changed, 1).up) break;
    }
    for (const auto& line : describe_radios(changed)) s.story.add("", "", line);
    s.list.check("the service is told that it is down, and that the others are up",
                 described_radio(changed, 0).up && !described_radio(changed, 1).up &&
                     described_radio(changed, 2).up);
}

}  // namespace lab::air
