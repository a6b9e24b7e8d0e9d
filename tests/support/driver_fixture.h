// A driver over the fakes, on an access point with VAPs 0 and 2 on wlan0, VAP 0 on wlan1, and wlan2
// without any.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <string>

#include "driver/driver.h"
#include "harness/child_process.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_peermsg.h"
#include "harness/fakes/fake_radio.h"
#include "main/logging.h"

class DriverTest : public testing::Test {
  protected:
    DriverTest() {
        fake_peermsg::reset();
        fake_radio::reset();
        fake_log::reset(rfcd::log_mask_none);
        for (const auto& device : std::filesystem::directory_iterator("/sys/class/net")) {
            std::filesystem::remove_all(device);
        }
        lab::write_file("/tmp/factory", "Board: AP\nMAC: 00:11:22:33:44:50\n");
        add_vap("wlan0-vap0", "office", "WPA2-PSK", true);
        add_vap("wlan0-vap2", "guests", "OPEN", false);
        add_vap("wlan1-vap0", "office", "WPA2_1X", true);
        drv = std::make_unique<rfcd::driver>(&enabled);
        drv->init_interface_context();
        fake_peermsg::take_record();
        fake_log::reset(rfcd::log_mask_error);
    }
    static void store(const std::string& path, const std::string& value) {
        fake_peermsg::bus.store[path] = "\"" + value + "\"";
    }
    static void add_vap(const std::string& name, const std::string& ssid, const std::string& mode,
                        bool dot11k) {
        const std::string device =
            "/sys/class/net/" + (name.ends_with("-vap0") ? name.substr(0, 5) : name);
        std::filesystem::create_directories(device);
        lab::write_file(device + "/flags", "0x1003\n");
        const std::string path = "/interface/" + name;
        store(path + "/common/enabled", "true");
        store(path + "/vap/ssid", ssid);
        store(path + "/vap/ap-security/mode", mode);
        store(path + "/vap/w80211kv-config/enabled", dot11k ? "true" : "false");
        store(path + "/vap/captive-portal/enabled", "false");
    }
    // The log since the last look, without line numbers.
    static std::string log() {
        return std::regex_replace(fake_log::take(), std::regex("(<[^<>:]+):[0-9]+>"), "$1>");
    }

    rfcd::running_flag enabled = true;
    std::unique_ptr<rfcd::driver> drv;
};
