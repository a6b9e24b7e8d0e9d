#include "lab/air/steps.h"
#include "lab/rrm_report.h"
#include "lab/scenarios.h"
#include "lab/service_world.h"

namespace lab {

namespace air {

namespace {

std::string first_line(const std::string& text) { return text.substr(0, text.find('\n')); }

}  // namespace

void session::keep_logs(const std::string& heading) { run({"sh", "tools/air/keep-logs", heading}); }

void show_house(session& s) {
    s.story.chapter("the house: two access points, a laptop");
    s.story.add("kernel", "", first_line(run_well({"uname", "-r"})));
    s.story.add("hostapd", "", first_line(run({"hostapd", "-v"}).output));
    s.story.add("laptop", "", first_line(run({"wpa_supplicant", "-v"}).output));
    s.story.add("iw", "", first_line(run({"iw", "--version"}).output));

    s.world.hall.start();
    s.world.set_hall_powers();
    s.world.start_local_daemons();
    s.world.office.start();
    s.world.laptop.start();
    s.list.check("the laptop is connected to the office at 5 GHz",
                 s.world.laptop.is_connected_to(vap_mac(1, 0)));
}

// Before the daemon starts: this program takes its place on the bus.
void show_contracts(session& s) {
    s.story.chapter("what the daemon expects of the libraries");
    const auto tried = run(air_world::with_radio_library({CONTRACTS_BINARY, "wlan1"}), 60s);
    s.list.check("all of it holds for a radio of the kernel", tried.status == 0);
    if (tried.status != 0) s.story.add("contracts", "", tried.output);
}

void show_end(session& s) {
    s.story.chapter("the end");
    const auto ending = s.world.agent->stop();
    s.list.check("the daemon ends within two seconds, with status 0",
                 ending.status == 0 && ending.time < 2s);
}

}  // namespace air

int play_air(transcript& story) {
    using namespace air;
    session s(story);
    for (const auto step :
         {show_house, show_contracts, show_subscription, show_active_scan, show_rrm_scan,
          show_neighbours, show_radio_change, show_change_at_6_ghz, show_fast_transition,
          show_hostile_air, show_rest, show_restart, show_radio_down, show_end}) {
        step(s);
    }
    return s.list.summary("air");
}

}  // namespace lab
