// A driver over the fakes, on an access point with VAPs 0 and 2 on wlan0, VAP 0 on wlan1, and wlan2
// without any.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <string>

#include "driver/driver.h"
#include "harness/fakes/fake_log.h"
#include "harness/fakes/fake_peermsg.h"
#include "harness/fakes/fake_radio.h"
#include "harness/fakes/fake_vap.h"
#include "main/logging.h"

using fake_vap::store;

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
        add_vap("wlan0-vap0", "wlan0", "office", "WPA2-PSK");
        add_vap("wlan0-vap2", "wlan0-vap2", "guests", "OPEN");
        store("/interface/wlan0-vap2/vap/w80211kv-config/enabled", "false");
        add_vap("wlan1-vap0", "wlan1", "office", "WPA2_1X");
        drv = std::make_unique<rfcd::driver>(&enabled);
        drv->init_interface_context();
        fake_peermsg::take_record();
        fake_log::reset(rfcd::log_mask_error);
    }

    static void store_radio(const std::string& radio, const char* setting, const char* value) {
        store("/interface/" + radio + "/wlan/radio/" + setting, value);
    }
    static void add_vap(const std::string& name, const std::string& device, const char* ssid,
                        const char* mode) {
        fake_vap::make_device(device);
        fake_vap::store_vap(name, ssid, mode);
    }

    // The log since the last call, without line numbers.
    static std::string log() {
        return std::regex_replace(fake_log::take(), std::regex("(<[^<>:]+):[0-9]+>"), "$1>");
    }

    rfcd::running_flag enabled = true;
    std::unique_ptr<rfcd::driver> drv;
};
