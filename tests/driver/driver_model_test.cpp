// The tables of radios and VAPs, channel specifications and power, neighbours, fast transition.
#include "base/interface_names.h"
#include "support/driver_fixture.h"

namespace rfcd {
namespace {

using DriverModel = DriverTest;
using fake_peermsg::take_record;

TEST_F(DriverModel, TablesAreReadAndCleared) {
    const auto& office = drv->get_radio(0)->vaps[0];
    const auto& enterprise = drv->get_radio(1)->vaps[0];
    EXPECT_EQ(office.ssid, "office");
    EXPECT_TRUE(office.dot11k);
    EXPECT_TRUE(enterprise.enterprise);
    EXPECT_EQ(drv->get_band_from_ifname("wlan1-vap3"), 5);

    drv->reset_interface_context();
    EXPECT_FALSE(drv->is_radio_up(1));
    EXPECT_EQ(drv->get_band_from_ifname("wlan1"), 0);
    EXPECT_EQ(enterprise.ssid, "");
    EXPECT_FALSE(enterprise.up);
    EXPECT_FALSE(enterprise.enterprise);
}

TEST_F(DriverModel, LogsWhatItReadsInOrder) {
    fake_log::reset(log_mask_info);
    lab::write_file("/sys/class/net/wlan0-vap2/flags", "0x1002\n");
    store("/interface/wlan1-vap0/common/enabled", "false");

    drv->init_interface_context();
    EXPECT_EQ(log(),
              "info Attempt to initialize interface_context...\n"
              "info Initializing wlan0 radio...\ninfo Initializing wlan0-vap0 vap...\n"
              "info Initializing wlan0-vap2 vap...\ninfo Interface vap wlan0-vap2 is down.\n"
              "info Initializing wlan1 radio...\ninfo Interface wlan1 is down.\n"
              "info Initializing wlan2 radio...\ninfo Interface wlan2 is down.\n");

    enabled = false;
    drv->init_interface_context();
    EXPECT_EQ(log(), "");
}

TEST_F(DriverModel, SentryRadios) {
    struct wids_settings {
        const char* enabled = "true";
        const char* mode = "sentry";
        const char* interface = "all";
    };
    const auto sentries = [this](const wids_settings& wids) {
        store("/wids/enabled", wids.enabled);
        store("/wids/scan-mode", wids.mode);
        store("/wids/scan-interface", wids.interface);
        drv->reset_interface_context();
        drv->init_interface_context();
        return std::string(drv->is_sentry_radio(0) ? "wlan0 " : "") +
               (drv->is_sentry_radio(1) ? "wlan1 " : "") + (drv->is_sentry_all() ? "all" : "");
    };
    EXPECT_EQ(sentries({.interface = "wlan1"}), "wlan1 ");
    EXPECT_FALSE(drv->has_vap_up(1)) << "its VAPs are not read";
    EXPECT_EQ(sentries({.interface = "all"}), "wlan0 wlan1 all");
    EXPECT_EQ(sentries({.interface = "eth0"}), "");
    EXPECT_EQ(sentries({.mode = "passive"}), "");
    EXPECT_EQ(sentries({.enabled = "false"}), "");
}

TEST_F(DriverModel, WrongIndexesAndNamesAreLogged) {
    EXPECT_EQ(drv->get_radio(-1), nullptr);
    EXPECT_EQ(drv->get_vap(drv->get_radio(0), 16), nullptr);
    EXPECT_EQ(drv->get_band_from_ifname("eth0"), 0);
    EXPECT_EQ(drv->get_vap_bssid(2, 3), nullptr);
    EXPECT_STREQ(drv->primary_channel_to_string(0, 15), "none");
    EXPECT_EQ(drv->get_mac_offset(3), 0U);
    EXPECT_EQ(drv->get_mac_offset(2), 32U);

    const std::string bounds = "array::at: __n (which is ";
    EXPECT_EQ(log(), "error <get_radio> radio_id -1 are absence: " + bounds +
                         "18446744073709551615) >= _Nm (which is 3)\n" +
                         "error <get_vap> vap_id 16 are absence: " + bounds +
                         "16) >= _Nm (which is 16)\n" +
                         "error <radio_by_ifname> cannot parse interface name(eth0)\n" +
                         "error <get_band_from_ifname> no such interface(eth0)\n" +
                         "error <get_radio> radio_id 3 are absence: " + bounds +
                         "3) >= _Nm (which is 3)\n" +
                         "error <primary_channel_to_string> unknown band\n");
}

TEST_F(DriverModel, AnswersNothingWhileStoppingOrNotInitialized) {
    store_radio("wlan0", "tx-power", "7");
    store_radio("wlan0", "bandwidth", "40");
    for (const bool stopping : {true, false}) {
        SCOPED_TRACE(stopping ? "stopping" : "not initialized");
        enabled = !stopping;
        drv->set_initialized(stopping);

        EXPECT_FALSE(drv->is_radio_up(0));
        EXPECT_FALSE(drv->has_vap_up(0));
        EXPECT_FALSE(drv->is_vap_up(0, 0));
        EXPECT_FALSE(drv->radio_is_up("wlan0"));
        EXPECT_FALSE(drv->check_vap_up("wlan0", 0));
        EXPECT_EQ(drv->get_tx_power("wlan0"), 16);
        EXPECT_EQ(drv->get_config_bandwidth("wlan0"), 0x1000);
        EXPECT_EQ(drv->set_channel("wlan0", 1, 20, sideband_none), 0);
        EXPECT_EQ(drv->set_tx_power("wlan0", 1), 0);
        drv->add_rrm_nbr_ap("aa:bb:cc:dd:ee:ff", "office", 1, 2);
        EXPECT_EQ(take_record(), "");
        EXPECT_EQ(fake_radio::take_record(), "");
        drv->clear_rrm_nbr_ap_list("wlan0-vap0");
        EXPECT_EQ(fake_radio::take_record(), stopping ? "run wlan0 REMOVE_ALL_NEIGHBOR, " : "");
    }
}

TEST_F(DriverModel, VapsByTheirSsid) {
    EXPECT_STREQ(drv->get_ifname_by_ssid("guests", 0), "wlan0-vap2");
    EXPECT_STREQ(drv->get_ifname_by_ssid("office", 0), "wlan0");
    EXPECT_EQ(drv->get_vap_by_ssid("", 0), -1) << "VAP 1 is down and has no SSID";
    EXPECT_EQ(drv->get_vap_by_ssid(nullptr, 0), -1);

    drv->get_radio(0)->vaps[2].up = false;
    EXPECT_EQ(drv->get_ifname_by_ssid("guests", 0), nullptr);
    EXPECT_EQ(drv->get_vap_ssid(2, 0), nullptr);
}

TEST_F(DriverModel, ConfiguredChannelSpecifications) {
    EXPECT_EQ(drv->get_config_chanspec(0), 0x1000) << "nothing is configured";
    store_radio("wlan0", "control-sideband", "upper");
    store_radio("wlan0", "bandwidth", "80");
    EXPECT_EQ(drv->get_config_chanspec(0), 0x2000) << "80 MHz have no upper half";
    store_radio("wlan0", "bandwidth", "40");
    EXPECT_EQ(drv->get_config_chanspec(0), 0x1900);
    store_radio("wlan0", "bandwidth", "33");
    EXPECT_EQ(drv->get_config_chanspec(0), 0x1100);
    store_radio("wlan0", "bandwidth", "wide");
    EXPECT_THROW(drv->get_config_chanspec(0), std::invalid_argument);
}

TEST_F(DriverModel, PowersOfTheRadioOfABand) {
    store_radio("wlan1", "tx-power-max", " 8dBm");
    int min = 1;
    int max = 2;

    drv->get_min_max_tx_power("", &min, &max, 6);  // no radio has that band
    EXPECT_EQ(min, 1);
    drv->get_min_max_tx_power("", &min, &max, 5);
    EXPECT_EQ(min, 11);
    EXPECT_EQ(max, 8);
}

TEST_F(DriverModel, CurrentChannelSpecificationCannotBeHad) {
    fake_radio::library.results["info"] = -5;
    EXPECT_EQ(drv->get_chanspec("wlan1"), 0);
    EXPECT_EQ(log(), "error get_chanspec: Error -5 while trying get radio info on wlan1!\n");

    drv->get_radio(1)->vaps[0].up = false;
    EXPECT_EQ(drv->get_chanspec("wlan1"), 0);
    EXPECT_EQ(log(), "error <get_chanspec> No active interface on radio 'wlan1'\n");
}

TEST_F(DriverModel, AvailableChannels) {
    const auto channels_of = [this](const char* radio) {
        std::string text = "old";
        drv->fill_chanspecs(radio, text);
        return text;
    };
    lab::write_file("/var/run/hostapd-channels-wlan0", "1 6 11\n");
    EXPECT_EQ(channels_of("wlan0"), "1 6 11");
    lab::write_file("/var/run/hostapd-channels-wlan2", "5 21\n");
    EXPECT_EQ(channels_of("wlan2"), "") << "a radio that is down";

    store_radio("wlan0", "use-limit-channels", "true");
    EXPECT_EQ(channels_of("wlan0"), "") << "the limits cannot be read";
    drv->get_radio(0)->sentry = true;
    store_radio("wlan0", "limit-channels", "1 2");
    EXPECT_EQ(channels_of("wlan0"), "");
}

TEST_F(DriverModel, ChangesAreAskedOfNetworkd) {
    EXPECT_EQ(drv->set_channel("wlan1", 36, 40, sideband_upper), 0);
    EXPECT_EQ(drv->set_channel("wlan1", 36, 80, sideband_none), 0);
    fake_peermsg::bus.answer = "";
    EXPECT_EQ(drv->set_channel("wlan1", -1, 40, 7), -1);
    EXPECT_EQ(drv->set_tx_power("wlan0", -3), -1);

    const std::string head = R"(start, send 6 {"command":"update-skylark","ifname":"wlan1",)"
                             R"("params":{"auto-channel":"false","channel":)";
    EXPECT_EQ(take_record(), head +
                                 R"("36","bandwidth":"40","control-sideband":"upper"}}, stop, )" +
                                 head + R"("36","bandwidth":"80"}}, stop, )" + head +
                                 R"("-1","bandwidth":"40","control-sideband":"lower"}}, stop, )" +
                                 R"(start, send 6 {"command":"update-skylark","ifname":"wlan0",)"
                                 R"("params":{"tx-power":"-3"}}, stop, )");
}

TEST_F(DriverModel, NeighboursGoToTheirVaps) {
    struct neighbour_of_service {
        const char* ssid = "office";
        int channel;
        int band;
    };
    // The interface in the command to hostapd.
    const auto told = [this](const neighbour_of_service& n) {
        drv->add_rrm_nbr_ap("aa:bb:cc:dd:ee:ff", n.ssid, n.channel, n.band);
        const std::string command = fake_radio::take_record();
        return command.substr(0, command.find(" SET_NEIGHBOR "));
    };
    EXPECT_EQ(told({.channel = 36, .band = 5}), "run wlan1");
    EXPECT_EQ(told({.channel = 11, .band = 0}), "run wlan0");
    EXPECT_EQ(told({.channel = 36, .band = 0}), "run wlan1");
    EXPECT_EQ(told({.ssid = "guests", .channel = 6, .band = 2}), "") << "a VAP without 802.11k";
    EXPECT_EQ(told({.channel = 37, .band = 6}), "") << "no radio of this band";
    EXPECT_EQ(told({.ssid = "other", .channel = 6, .band = 2}), "");
    EXPECT_EQ(log(),
              "error <get_vap> vap_id -1 are absence: array::at: __n (which is "
              "18446744073709551615) >= _Nm (which is 16)\n");
}

TEST_F(DriverModel, NeighboursAreSecuredAsTheirVap) {
    const auto report = [this](const char* mode, int band) {
        store("/interface/wlan1-vap0/vap/ap-security/mode", mode);
        drv->add_rrm_nbr_ap("aa:bb:cc:dd:ee:ff", "office", 36, band);
        const std::string command = fake_radio::take_record();
        return command.substr(command.find(" nr="));
    };
    EXPECT_EQ(report("OPEN", 5), " nr=aabbccddeeff631800007324090603002400, ");
    EXPECT_EQ(report("OWE", 5), " nr=aabbccddeeff671800007324090603002400, ");
    EXPECT_EQ(report("WPA3-SAE", 0), " nr=aabbccddeeff670800000024000603002400, ");
}

TEST_F(DriverModel, NeighbourCommandsThatAreRefusedOrFail) {
    drv->add_rrm_nbr_ap("aa:bb:cc:dd:ee:ff; reboot", "office", 36, 5);
    EXPECT_EQ(fake_radio::take_record(), "");
    EXPECT_EQ(log(), "error <add_rrm_nbr_ap> bssid 'aa:bb:cc:dd:ee:ff' is not a MAC address\n");

    fake_radio::library.results["run"] = 1;
    drv->add_rrm_nbr_ap("aa:bb:cc:dd:ee:ff", "office", 36, 5);
    drv->clear_rrm_nbr_ap_list("wlan0-vap0");
    EXPECT_EQ(log(),
              "error set_rrm_nbr_ap_list: add neighbor failed\n"
              "error clear_rrm_nbr_ap_list: del neighbor list failed\n");
}

TEST_F(DriverModel, FastTransitionRequest) {
    drv->add_skylark_fbt_params("before the beginning", "{}");
    drv->begin_skylark_fbt_params();
    drv->add_skylark_fbt_params("wlan0-vap0", R"({"a":{"b":1}})");
    drv->add_skylark_fbt_params("bad", "{");

    EXPECT_EQ(drv->finish_skylark_fbt_params(), 0);
    EXPECT_EQ(take_record(), R"(start, send 6 {"command":"update-skylark-fbt",)"
                             R"("wlan0-vap0":{"a":{"b":1}}}, stop, )");
}

TEST_F(DriverModel, FastTransitionReset) {
    EXPECT_EQ(drv->__reset_skylark_fbt(1), 0);
    EXPECT_EQ(take_record(), "") << "skipped";

    std::string vaps;
    for (int vap = 0; vap < 48; ++vap) {
        vaps += ",\"" + vap_ifname(vap / 16, vap % 16) + "\":{}";
    }
    EXPECT_EQ(drv->__reset_skylark_fbt(0), 0);
    EXPECT_EQ(take_record(),
              R"(start, send 6 {"command":"reset-skylark-fbt")" + vaps + "}, stop, ");
}

TEST_F(DriverModel, FastTransitionRefusedOrNotAnswered) {
    fake_peermsg::bus.answer = R"({"status":"no"})";
    EXPECT_EQ(drv->__reset_skylark_fbt(0), 0);
    fake_peermsg::bus.answer = "";
    EXPECT_EQ(drv->__reset_skylark_fbt(0), -1);
    drv->begin_skylark_fbt_params();
    EXPECT_EQ(drv->finish_skylark_fbt_params(), -1);

    EXPECT_EQ(log(),
              "error Error: fail reset-skylark-fbt: reason (invalid response)\n"
              "error Error: no response (__reset_skylark_fbt)\n"
              "error Error: no response (finish_skylark_fbt_params)\n");
}

}  // namespace
}  // namespace rfcd
