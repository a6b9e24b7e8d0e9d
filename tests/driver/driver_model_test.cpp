// The tables of radios and VAPs, channel specifications and power, neighbours, fast transition.
#include "base/interface_names.h"
#include "support/driver_fixture.h"

namespace rfcd {
namespace {

using DriverModel = DriverTest;
using fake_peermsg::take_record;

TEST_F(DriverModel, TablesAreReadAndCleared) {
    const auto& vap = drv->get_radio(0)->vaps[0];
    EXPECT_EQ(vap.ssid, "office");
    EXPECT_TRUE(vap.dot11k && vap.up && !vap.enterprise && !vap.captive_portal);
    EXPECT_TRUE(drv->get_radio(1)->vaps[0].enterprise);
    EXPECT_EQ(drv->get_band_from_ifname("wlan1-vap3"), 5);
    EXPECT_EQ(drv->get_band_from_ifname("wlan2"), 0) << "a radio that is down has no band";
    drv->reset_interface_context();
    EXPECT_EQ(drv->get_band_from_ifname("wlan1"), 0);
    EXPECT_FALSE(drv->is_radio_up(0) || drv->has_vap_up(0) || drv->is_vap_80211k(0, 0));
    EXPECT_EQ(drv->get_radio(1)->vaps[3].ifname, "wlan1-vap3");
    EXPECT_EQ(drv->get_radio(2)->vaps[15].bssid, "00:11:22:33:44:7f");
    EXPECT_EQ(drv->get_mac_offset(2), 32U);
    EXPECT_EQ(drv->get_mac_offset(3) + drv->get_radio_mac_count(-1), 0U);
}

TEST_F(DriverModel, ReadsInTheirOrder) {
    fake_log::reset(log_mask_info);
    drv->init_interface_context();
    EXPECT_EQ(log(),
              "info Attempt to initialize interface_context...\n"
              "info Initializing wlan0 radio...\ninfo Initializing wlan0-vap0 vap...\n"
              "info Initializing wlan0-vap2 vap...\ninfo Initializing wlan1 radio...\n"
              "info Initializing wlan1-vap0 vap...\ninfo Initializing wlan2 radio...\n"
              "info Interface wlan2 is down.\n");
    lab::write_file("/sys/class/net/wlan0-vap2/flags", "0x1002\n");
    drv->init_interface_context();
    EXPECT_NE(log().find("info Interface vap wlan0-vap2 is down.\n"), std::string::npos);
    store("/interface/wlan1-vap0/common/enabled", "false");
    drv->init_interface_context();
    EXPECT_FALSE(drv->is_radio_up(1)) << "its only VAP is disabled";
    log();
    enabled = false;
    drv->init_interface_context();
    EXPECT_EQ(log(), "");
}

TEST_F(DriverModel, SentryRadios) {
    const std::tuple<const char*, const char*, const char*, const char*, bool> rows[] = {
        {"true", "sentry", "wlan1", "1", false}, {"true", "sentry", "all", "01", true},
        {"true", "sentry", "eth0", "", false},   {"true", "passive", "all", "", false},
        {"false", "sentry", "all", "", false},   {"true", "sentry", "wlan7", "", false},
    };
    for (const auto& [on, mode, interface, sentries, all] : rows) {
        SCOPED_TRACE(interface);
        store("/wids/enabled", on);
        store("/wids/scan-mode", mode);
        store("/wids/scan-interface", interface);
        drv->reset_interface_context();
        drv->init_interface_context();
        std::string found;
        for (const int radio : {0, 1, 2})
            found += drv->is_sentry_radio(radio) ? std::to_string(radio) : "";
        EXPECT_EQ(found, sentries);
        EXPECT_EQ(drv->is_sentry_all(), all);
    }
}

TEST_F(DriverModel, WrongIndexesAndNamesAreLogged) {
    const std::string bounds = "array::at: __n (which is ";
    EXPECT_EQ(drv->get_radio(-1), nullptr);
    EXPECT_EQ(drv->get_vap(drv->get_radio(0), 16), nullptr);
    EXPECT_EQ(drv->get_band_from_ifname("eth0"), 0);
    EXPECT_EQ(drv->get_vap_bssid(2, 3), nullptr);
    EXPECT_EQ(log(), "error <get_radio> radio_id -1 are absence: " + bounds +
                         "18446744073709551615) >= _Nm (which is 3)\n" +
                         "error <get_vap> vap_id 16 are absence: " + bounds +
                         "16) >= _Nm (which is 16)\n" +
                         "error <radio_by_ifname> cannot parse interface name(eth0)\n" +
                         "error <get_band_from_ifname> no such interface(eth0)\n" +
                         "error <get_radio> radio_id 3 are absence: " + bounds +
                         "3) >= _Nm (which is 3)\n");
    EXPECT_EQ(ifname_to_radio_id("wlan12-vap1"), 12);
    EXPECT_EQ(ifname_to_radio_id("wlan"), -1);
}

TEST_F(DriverModel, GuardedOperationsAnswerNothingWhileOff) {
    const auto answers = [this] {
        std::string text;
        for (const bool b :
             {drv->is_radio_up(0), drv->has_vap_up(0), drv->is_vap_up(0, 0),
              drv->is_vap_80211k(0, 0), drv->radio_is_up("wlan0"), drv->check_vap_up("wlan0", 0),
              drv->radio_has_band(0, 2), drv->get_vap_ssid(0, 0) != nullptr,
              drv->get_chanspec("wlan0") != 0, drv->get_vap_by_ssid("office", 0) == 0})
            text += b ? '1' : '0';
        drv->for_each_vap("wlan0", [&](auto...) { text += "v"; });
        return text + std::to_string(drv->get_tx_power("wlan0")) +
               std::to_string(drv->get_config_bandwidth("wlan0"));
    };
    store("/interface/wlan0/wlan/radio/tx-power", "7");
    store("/interface/wlan0/wlan/radio/bandwidth", "40");
    EXPECT_EQ(answers(), "1111111111vv76144");
    fake_radio::take_record();
    enabled = false;
    EXPECT_EQ(answers(), "0000000000164096");
    enabled = true;
    drv->set_initialized(false);
    EXPECT_EQ(answers(), "0000000000164096");
    EXPECT_EQ(drv->set_channel("wlan0", 1, 20, 0) + drv->set_tx_power("wlan0", 1), 0);
    drv->add_rrm_nbr_ap("00:11:22:33:44:55", "office", 1, 2);
    drv->clear_rrm_nbr_ap_list("wlan0-vap0");
    EXPECT_EQ(take_record() + fake_radio::take_record(), "") << "nothing is asked of anybody";
}

TEST_F(DriverModel, VapsByTheirSsid) {
    EXPECT_EQ(drv->get_vap_by_ssid("guests", 0), 2);
    EXPECT_STREQ(drv->get_ifname_by_ssid("guests", 0), "wlan0-vap2");
    EXPECT_STREQ(drv->get_ifname_by_ssid("office", 0), "wlan0");
    for (const char* ssid : {"", "other", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(drv->get_vap_by_ssid(ssid, 0), -1);
        EXPECT_EQ(drv->get_ifname_by_ssid(ssid, 0), nullptr);
    }
    std::string vaps;
    drv->for_each_vap("wlan0", [&](int vap, const char* ssid, const char* bssid, bool k) {
        vaps += std::to_string(vap) + ssid + bssid + (k ? "k " : " ");
    });
    EXPECT_EQ(vaps, "0office00:11:22:33:44:50k 2guests00:11:22:33:44:52 ");
}

TEST_F(DriverModel, ConfiguredChannelSpecifications) {
    const std::tuple<const char*, const char*, int> rows[] = {
        {"80", "upper", 0x2000},  {"40", "upper", 0x1900},  {"20", "upper", 0x1100},
        {"160", "upper", 0x2900}, {"320", "lower", 0x3800}, {"33", "lower", 0x1000}};
    EXPECT_EQ(drv->get_config_chanspec(0), 0x1000) << "nothing is configured";
    for (const auto& [bandwidth, sideband, chanspec] : rows) {
        store("/interface/wlan0/wlan/radio/bandwidth", bandwidth);
        store("/interface/wlan0/wlan/radio/control-sideband", sideband);
        EXPECT_EQ(drv->get_config_chanspec(0), chanspec) << bandwidth;
    }
    EXPECT_EQ(drv->get_config_chanspec(5), 0);
    store("/interface/wlan0/wlan/radio/bandwidth", "wide");
    EXPECT_THROW(drv->get_config_chanspec(0), std::invalid_argument);
    store("/interface/wlan0/wlan/radio/tx-power", "99999999999");
    EXPECT_THROW(drv->get_tx_power("wlan0"), std::out_of_range);
    store("/interface/wlan0/wlan/radio/tx-power", "");
    EXPECT_EQ(drv->get_tx_power("wlan0"), 16);
    EXPECT_EQ(drv->get_tx_power_max(1), 16);
    EXPECT_EQ(drv->get_tx_power_min(1), 11);
    int min = 1;
    int max = 2;
    drv->get_min_max_tx_power("", &min, &max, 6);
    EXPECT_EQ(std::pair(min, max), std::pair(1, 2)) << "no radio of that band";
    store("/interface/wlan1/wlan/radio/tx-power-min", " 8dBm");
    drv->get_min_max_tx_power("", &min, &max, 5);
    EXPECT_EQ(std::pair(min, max), std::pair(8, 16));
}

TEST_F(DriverModel, CurrentChannelSpecification) {
    fake_radio::library.info = {'8', '0', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 44, 0, 1, 42};
    fake_radio::library.info.resize(RADIOCTL_INFO_SIZE);
    EXPECT_EQ(drv->get_chanspec("wlan1"), 0x222c);
    EXPECT_EQ(drv->get_chanspec("wlan2"), 0);
    EXPECT_EQ(log(), "");
    fake_radio::library.results["info"] = -5;
    EXPECT_EQ(drv->get_chanspec("wlan1"), 0);
    EXPECT_EQ(log(), "error get_chanspec: Error -5 while trying get radio info on wlan1!\n");
    EXPECT_EQ(drv->chanspec_bw(0x0024), 20);
    EXPECT_STREQ(drv->primary_channel_to_string(0, 15), "none");
    EXPECT_EQ(log(),
              "error <chanspec_bw> bandwidth is not set in chanspec\n"
              "error <primary_channel_to_string> unknown band\n");
    EXPECT_EQ(drv->chanspec_bw(0), 20);
    EXPECT_STREQ(drv->chanspec_sideband_string(0x2000 | 0x200 | 52), "ul");
    EXPECT_STREQ(drv->chanspec_sideband_string(0), "none");
}

TEST_F(DriverModel, AvailableChannels) {
    const auto channels_of = [this](const char* radio) {
        std::string text = "old";
        drv->fill_chanspecs(radio, text);
        return text;
    };
    EXPECT_EQ(channels_of("wlan0"), "");
    lab::write_file("/var/run/hostapd-channels-wlan0", "1 6 11\n");
    EXPECT_EQ(channels_of("wlan0"), "1 6 11");
    store("/interface/wlan0/wlan/radio/use-limit-channels", "true");
    EXPECT_EQ(channels_of("wlan0"), "") << "the limits cannot be read";
    store("/interface/wlan0/wlan/radio/limit-channels", "1 2");
    EXPECT_EQ(channels_of("wlan0"), "1 2");
    lab::write_file("/var/run/hostapd-channels-wlan2", "5 21\n");
    EXPECT_EQ(channels_of("wlan2"), "") << "a radio that is down";
    drv->get_radio(0)->sentry = true;
    EXPECT_EQ(channels_of("wlan0"), "");
}

TEST_F(DriverModel, ChangesAreAskedOfNetworkd) {
    EXPECT_EQ(drv->set_channel("wlan1", 36, 40, 2), 0);
    EXPECT_EQ(drv->set_channel("wlan1", 36, 80, 0), 0);
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
    const std::string mac = "aa:bb:cc:dd:ee:ff";
    const std::string report = " SET_NEIGHBOR " + mac + " ssid=6f6666696365 nr=aabbccddeeff";
    const std::tuple<int, int, const char*, std::string, const char*> rows[] = {
        {36, 5, "office", "run wlan1" + report + "671800007324090603002400, ", ""},
        {11, 0, "office", "run wlan0" + report + "67080000000b000603000b00, ", ""},
        {36, 0, "office", "run wlan1" + report + "670800000024000603002400, ", ""},
        {6, 2, "guests", "", ""},
        {37, 6, "office", "", ""},
        {6, 2, "other", "",
         "error <get_vap> vap_id -1 are absence: array::at: __n (which is 18446744073709551615) >= "
         "_Nm (which is 16)\n"},
    };
    for (const auto& [channel, band, ssid, record, logged] : rows) {
        SCOPED_TRACE(ssid + std::to_string(channel));
        drv->add_rrm_nbr_ap(mac.c_str(), ssid, channel, band);
        EXPECT_EQ(fake_radio::take_record(), record);
        EXPECT_EQ(log(), logged);
    }
    store("/interface/wlan1-vap0/vap/ap-security/mode", "OWE");
    drv->add_rrm_nbr_ap(mac.c_str(), "office", 36, 5);
    EXPECT_EQ(fake_radio::take_record(), "run wlan1" + report + "671800007324090603002400, ");
    drv->add_rrm_nbr_ap("aa:bb:cc:dd:ee:ff; reboot", "office", 36, 5);
    EXPECT_EQ(fake_radio::take_record(), "");
    EXPECT_EQ(log(), "error <add_rrm_nbr_ap> bssid 'aa:bb:cc:dd:ee:ff' is not a MAC address\n");
    fake_radio::library.results["run"] = 1;
    drv->add_rrm_nbr_ap(mac.c_str(), "office", 36, 5);
    enabled = false;
    drv->clear_rrm_nbr_ap_list("wlan0-vap0");
    EXPECT_TRUE(fake_radio::take_record().ends_with(", run wlan0 REMOVE_ALL_NEIGHBOR, "));
    EXPECT_EQ(log(),
              "error set_rrm_nbr_ap_list: add neighbor failed\n"
              "error clear_rrm_nbr_ap_list: del neighbor list failed\n");
}

TEST_F(DriverModel, FastTransitionRequest) {
    drv->add_skylark_fbt_params("wlan0-vap0", "{}");
    drv->begin_skylark_fbt_params();
    drv->add_skylark_fbt_params("dropped", "{}");
    drv->begin_skylark_fbt_params();
    drv->add_skylark_fbt_params("wlan0-vap0", R"({"a":{"b":1}})");
    drv->add_skylark_fbt_params("bad", "{");
    EXPECT_EQ(drv->finish_skylark_fbt_params(), 0);
    EXPECT_EQ(take_record(), R"(start, send 6 {"command":"update-skylark-fbt",)"
                             R"("wlan0-vap0":{"a":{"b":1}}}, stop, )");
    EXPECT_EQ(drv->__reset_skylark_fbt(1), 0);
    EXPECT_EQ(take_record(), "");
    fake_peermsg::bus.answer = R"({"status":"no"})";
    EXPECT_EQ(drv->__reset_skylark_fbt(0), 0);
    const std::string reset = take_record();
    EXPECT_TRUE(reset.starts_with(
        R"(start, send 6 {"command":"reset-skylark-fbt","wlan0-vap0":{},"wlan0-vap1":{},)"));
    EXPECT_TRUE(reset.ends_with(R"("wlan2-vap15":{}}, stop, )"));
    EXPECT_EQ(std::count(reset.begin(), reset.end(), '{'), 49);
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
