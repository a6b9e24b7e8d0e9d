// Fast BSS transition (IEEE 802.11r): turns the service's "fbt-info" into one configuration text
// for each VAP, and has the network daemon apply them all in one request.
//
// Owned by the rrm_worker; lives as long as it does and runs on its thread.
#pragma once

#include <cstdint>
#include <string>

#include "base/running_flag.h"
#include "driver/driver_interface.h"
#include "ipc/json_reader.h"

namespace rfcd {

class fast_transition {
  public:
    // The driver outlives this object.
    explicit fast_transition(driver_interface& drv) : drv_(drv) {}

    // Switches fast transition on or off when `config` has "use-80211r"; it is off at first.
    void take_switch(const json_reader& config);
    bool use_80211r() const { return use_80211r_; }

    // Applies the settings of all VAPs in the message that are up. While fast transition is off, or
    // when a VAP lacks a key holder identifier (logged as an error), resets the settings of every
    // VAP instead.
    void process_fbt_info(const json_reader& message);

    // The worker leaves its active state: resets the settings if fast transition is on, unless the
    // daemon is stopping.
    void on_stop(const running_flag& running);

  private:
    bool add_fbt_vap(const json_reader& element);
    std::string configuration_text(const json_reader& element) const;

    driver_interface& drv_;
    bool use_80211r_ = false;
    std::uint32_t fbt_reassoc_deadline_ = 1000;  // from the last "fbt-info"
    bool fbt_over_ds_ = true;                    // likewise
};

}  // namespace rfcd
