// The steps of the scenario "air", in the order in which they are played. Each leaves the house as
// the next one needs it.
#pragma once

#include <string>

#include "lab/air/air_world.h"
#include "lab/checklist.h"

namespace lab::air {

// What the steps share.
struct session {
    explicit session(transcript& t) : story(t), list(t, keep_logs), world(t) {}

    // Keeps what all programs logged last, for whoever looks for the cause of a failure.
    static void keep_logs(const std::string& heading);

    transcript& story;
    checklist list;
    air_world world;
};

void show_house(session& s);
void show_subscription(session& s);
void show_active_scan(session& s);
void show_rrm_scan(session& s);
void show_neighbours(session& s);
void show_radio_change(session& s);
void show_change_at_6_ghz(session& s);
void show_fast_transition(session& s);
void show_hostile_air(session& s);
void show_rest(session& s);
void show_restart(session& s);
void show_radio_down(session& s);
void show_end(session& s);

}  // namespace lab::air
