#include "lab/air/air_world.h"
#include "lab/checklist.h"
#include "lab/scenarios.h"

namespace lab {

namespace {

using namespace air;

// What the steps of the scenario share.
struct session {
    explicit session(transcript& t) : story(t), list(t), world(t) {}

    transcript& story;
    checklist list;
    air_world world;
};

std::string first_line(const std::string& text) { return text.substr(0, text.find('\n')); }

void show_house(session& s) {
    s.story.chapter("the house: two access points, a laptop");
    s.story.add("kernel", "", first_line(run_well({"uname", "-r"})));
    s.story.add("hostapd", "", first_line(run({"hostapd", "-v"}).output));
    s.story.add("laptop", "", first_line(run({"wpa_supplicant", "-v"}).output));

    s.world.hall.start();
    s.world.office.start();
    s.world.laptop.start();
    s.list.check("the laptop is connected to the office at 5 GHz",
                 s.world.laptop.is_connected_to(vap_mac(1, 0)));
}

}  // namespace

int play_air(transcript& story) {
    session s(story);
    for (const auto step : {show_house}) step(s);
    return s.list.summary("air");
}

}  // namespace lab
