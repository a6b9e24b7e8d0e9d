// Makes a VAP that the driver sees through the fakes: a network device, and settings in the store
// of the fake bus.
#pragma once

#include <filesystem>
#include <string>

#include "harness/child_process.h"
#include "harness/fakes/fake_peermsg.h"

namespace fake_vap {

inline void store(const std::string& path, const std::string& value) {
    fake_peermsg::bus.store[path] = '"' + value + '"';
}

// Makes a network device that is up. `device` is the name of the interface on the system.
inline void make_device(const std::string& device) {
    std::filesystem::create_directories("/sys/class/net/" + device);
    lab::write_file("/sys/class/net/" + device + "/flags", "0x1003\n");
}

// Stores the settings of an enabled VAP with 802.11k neighbour reports.
inline void store_vap(const std::string& vap, const char* ssid, const char* mode) {
    const std::string path = "/interface/" + vap;
    store(path + "/common/enabled", "true");
    store(path + "/vap/ssid", ssid);
    store(path + "/vap/ap-security/mode", mode);
    store(path + "/vap/w80211kv-config/enabled", "true");
}

}  // namespace fake_vap
