// Describes the access point's radios and their VAPs, for every message that tells the service how
// the radios are set.
//
// Owned by outgoing_messages; runs on the thread of the rrm_worker. It caches nothing: it asks the
// driver again for each description.
#pragma once

#include "driver/driver_interface.h"
#include "ipc/json_writer.h"

namespace rfcd {

class radio_descriptions {
  public:
    // The driver outlives this object.
    explicit radio_descriptions(driver_interface& drv) : drv_(drv) {}

    // Adds the array "radios" with one object for each radio, in their order. False when the array
    // could not be made. Throws when a configured number is not a number (see the driver).
    bool add_radios(json_writer& message);

  private:
    void add_radio_description(json_writer& radios, const char* ifname, int radio);
    void add_channels_and_vaps(json_writer& object, const char* ifname, int radio);
    void add_vap_description(int vap, const char* ssid, const char* mac, bool has_80211k,
                             json_writer& vaps, int radio);
    bool read_switch(const char* path);

    driver_interface& drv_;
};

}  // namespace rfcd
