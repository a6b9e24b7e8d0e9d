// Applies the settings that the service sends in "rrm-info" and with an accepted subscription:
// channels and transmit powers of the radios, and the neighbour lists of their VAPs.
//
// Owned by the rrm_worker; lives as long as it does and runs on its thread. Each setting may need a
// command or a request that runs into its time-out. Therefore the radios have a limit of 120 s,
// clearing the lists has 60 s, and the new neighbours have 120 s.
#pragma once

#include <cstdint>

#include "driver/driver_interface.h"
#include "ipc/json_reader.h"
#include "rrm/fast_transition.h"

namespace rfcd {

class radio_settings {
  public:
    // Both outlive this object.
    radio_settings(driver_interface& drv, fast_transition& transition)
        : drv_(drv), fast_transition_(transition) {}

    // Switches fast transition, sets channel and power of the radios that are up and not in sentry
    // mode, empties all neighbour lists, then fills them. Logs a warning for a radio that does not
    // exist, and an error when a limit is exceeded. Throws when a configured number is not a
    // number; see the driver.
    void apply_config(const json_reader& config);

    // Empties the neighbour list of every VAP that has 802.11k. Logs an error when the limit is
    // exceeded.
    void clear_neighbour_lists();

  private:
    // What the service controls. Its values for anything else are ignored.
    struct control {
        bool use_tpc;  // transmit powers
        bool use_dca;  // channels
    };

    void apply_radio(const json_reader& radio, const control& service);
    void add_neighbours(const json_reader& neighbour, std::int64_t deadline);

    driver_interface& drv_;
    fast_transition& fast_transition_;
};

}  // namespace rfcd
