// The files /var/run/hostapd-channels-wlanN, from which the daemon learns what channels a radio may
// use. They exist as long as this object. For the thread of the loop.
#pragma once

#include <map>
#include <string>

#include "aplocald/channels.h"
#include "aplocald/radios.h"

namespace aplocal {

class channel_files {
  public:
    channel_files(radios& kernel, radar_channels radar) : kernel_(kernel), radar_(radar) {}
    channel_files(const channel_files&) = delete;
    channel_files& operator=(const channel_files&) = delete;
    // Removes the files.
    ~channel_files();

    // Writes the file of each radio whose channels have changed, and removes that of a radio that
    // has gone. Call it when hostapd has started and when the regulatory domain has changed.
    void write();

  private:
    void write(const std::string& radio);

    radios& kernel_;
    const radar_channels radar_;
    std::map<std::string, std::string> written_;  // by radio
};

}  // namespace aplocal
