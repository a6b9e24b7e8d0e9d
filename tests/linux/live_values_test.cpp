#include "aplocald/live_values.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "aplocald/channel_files.h"
#include "harness/child_process.h"
#include "linux/fake_access_point.h"

namespace {

using namespace aplocal;
using fakes::kind;

TEST(HostapdView, NamesTheSecurityAsTheDaemonReadsIt) {
    const struct {
        const char* name;
        const char* reply;
        const char* mode;
    } rows[] = {
        {.name = "open", .reply = "ssid=x\nwps_state=disabled\n", .mode = "OPEN"},
        {.name = "a network called WPA", .reply = "ssid=wpa=2\n", .mode = "OPEN"},
        {.name = "OWE", .reply = "wpa=2\nkey_mgmt=OWE\n", .mode = "OWE"},
        {.name = "the first WPA", .reply = "wpa=1\nkey_mgmt=WPA-PSK\n", .mode = "WPA-PSK"},
        {.name = "both", .reply = "wpa=3\nkey_mgmt=WPA-PSK SAE\n", .mode = "WPA_WPA2-PSK"},
        {.name = "PSK and SAE", .reply = "wpa=2\nkey_mgmt=WPA-PSK SAE\n", .mode = "WPA2_WPA3-PSK"},
        {.name = "EAP with FT", .reply = "wpa=2\nkey_mgmt=WPA-EAP FT-EAP\n", .mode = "WPA2_1X"},
        {.name = "EAP, old and new",
         .reply = "wpa=2\nkey_mgmt=WPA-EAP WPA-EAP-SHA256\n",
         .mode = "WPA2_WPA3_1X"},
        {.name = "192 bits", .reply = "wpa=2\nkey_mgmt=WPA-EAP-SUITE-B-192\n", .mode = "WPA3_1X"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(read_security_mode(row.reply), row.mode) << row.name;
    }
}

TEST(HostapdView, DecodesNamesOfNetworks) {
    EXPECT_EQ(unescape(R"(gu \"e\\s\e\t\x00\xc3)"), std::string("gu \"e\\s\033\t\0\xc3", 11));
    EXPECT_EQ(unescape(R"(cut\x4)"), "cut\x04");
    EXPECT_EQ(unescape(R"(cut\)"), R"(cut\)");
}

class LiveValues : public testing::Test {
  protected:
    LiveValues() {
        fake_clock::reset();
        hostapd.replies = {
            {"INTERFACES", "wlan1\nwlan1-vap1"},
            {"IFNAME=wlan1 GET_CONFIG", "ssid=of\\x66ice\nwpa=2\nkey_mgmt=WPA-PSK FT-PSK"},
            {"IFNAME=wlan1 SHOW_NEIGHBOR", ""},
            {"IFNAME=wlan1-vap1 GET_CONFIG", "ssid=guests"},
        };
        unlink(file);
    }
    std::string radio(const std::string& setting) {
        return live.get("/interface/wlan1/wlan/radio/" + setting).value_or("nothing");
    }
    std::string vap(const std::string& name, const std::string& setting) {
        return live.get("/interface/" + name + "/" + setting).value_or("nothing");
    }

    static constexpr const char* file = "/tmp/live-values.json";
    fakes::fake_hostapd hostapd;
    fakes::fake_radios kernel;
    store limits{file};
    hostapd_view view{[this](const std::string& command) { return hostapd(command); }};
    live_values live{view, kernel, limits};
};

TEST_F(LiveValues, OfARadioComeFromTheKernel) {
    EXPECT_EQ(radio("channel"), "36");
    EXPECT_EQ(radio("bandwidth"), "80");
    EXPECT_EQ(radio("control-sideband"), "ll");
    EXPECT_EQ(radio("tx-power"), "20");
    EXPECT_EQ(radio("tx-power-max"), "23");
    EXPECT_EQ(radio("tx-power-min"), "0");
    EXPECT_EQ(radio("country"), "DE");
    EXPECT_EQ(radio("auto-channel"), "nothing");
}

TEST_F(LiveValues, OfARadioThatIsOffAreUnknown) {
    kernel.interfaces["wlan1"] = {};
    kernel.letters = "";

    for (const char* setting : {"channel", "bandwidth", "control-sideband", "tx-power",
                                "tx-power-max", "tx-power-min", "country"}) {
        EXPECT_EQ(radio(setting), "nothing") << setting;
    }
}

TEST_F(LiveValues, KeepTheOperatorsLimitsWithinThoseOfTheKernel) {
    const struct {
        const char* name;
        const char* setting;
        const char* stored;
        const char* expected;
    } rows[] = {
        {.name = "lower", .setting = "tx-power-max", .stored = "\"15\"", .expected = "15"},
        {.name = "higher", .setting = "tx-power-max", .stored = "99", .expected = "23"},
        {.name = "not a number", .setting = "tx-power-max", .stored = "\"15x\"", .expected = "23"},
        {.name = "least", .setting = "tx-power-min", .stored = "\"8\"", .expected = "8"},
        {.name = "least above most", .setting = "tx-power-min", .stored = "50", .expected = "23"},
    };

    for (const auto& row : rows) {
        limits.set(std::string("/interface/wlan1/wlan/radio/") + row.setting, row.stored);

        EXPECT_EQ(radio(row.setting), row.expected) << row.name;
    }
}

TEST_F(LiveValues, OfAVapComeFromHostapd) {
    const struct {
        const char* vap;
        const char* enabled;
        const char* ssid;
        const char* security;
        const char* neighbour_reports;
        const char* fast_transition;
    } rows[] = {
        {.vap = "wlan1-vap0",
         .enabled = "true",
         .ssid = "office",
         .security = "WPA2-PSK",
         .neighbour_reports = "true",
         .fast_transition = "true"},
        {.vap = "wlan1-vap1",
         .enabled = "true",
         .ssid = "guests",
         .security = "OPEN",
         .neighbour_reports = "false",
         .fast_transition = "false"},
        {.vap = "wlan1-vap2",
         .enabled = "false",
         .ssid = "nothing",
         .security = "nothing",
         .neighbour_reports = "nothing",
         .fast_transition = "nothing"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.vap);
        EXPECT_EQ(vap(row.vap, "common/enabled"), row.enabled);
        EXPECT_EQ(vap(row.vap, "vap/ssid"), row.ssid);
        EXPECT_EQ(vap(row.vap, "vap/ap-security/mode"), row.security);
        EXPECT_EQ(vap(row.vap, "vap/w80211kv-config/enabled"), row.neighbour_reports);
        EXPECT_EQ(vap(row.vap, "vap/ft-config/enabled"), row.fast_transition);
    }
    EXPECT_EQ(hostapd.commands.size(), 5) << "a description asks for each thing once";
}

TEST_F(LiveValues, AreReadAnewAfterASecondAndAfterAChange) {
    ASSERT_EQ(vap("wlan1-vap1", "vap/ssid"), "guests");

    hostapd.replies["IFNAME=wlan1-vap1 GET_CONFIG"] = "ssid=visitors";
    view.forget();
    EXPECT_EQ(vap("wlan1-vap1", "vap/ssid"), "visitors");

    hostapd.replies["INTERFACES"] = "wlan1";
    fake_clock::advance(1);
    EXPECT_EQ(vap("wlan1-vap1", "common/enabled"), "false");
}

TEST_F(LiveValues, OfAHostapdThatHangsAreItsLastOnesAndCostOneWait) {
    vap("wlan1-vap0", "vap/ssid");
    hostapd.commands.clear();
    hostapd.mood = kind::silent;
    fake_clock::advance(2);

    for (int i = 0; i < 35; ++i) EXPECT_EQ(vap("wlan1-vap0", "vap/ssid"), "office");
    EXPECT_EQ(vap("wlan1-vap1", "common/enabled"), "true");
    EXPECT_EQ(hostapd.commands.size(), 1);

    hostapd.mood = kind::answer;
    fake_clock::advance(10);
    EXPECT_EQ(vap("wlan1-vap1", "vap/ssid"), "guests");
}

TEST(ChannelFiles, StayWhenTheKernelCannotTellAndGoWithTheRadio) {
    const std::string file = "/var/run/hostapd-channels-wlan1";
    const std::string of_earlier_process = "/var/run/hostapd-channels-wlan2";
    lab::write_file(of_earlier_process, "5 21\n");
    fakes::fake_radios kernel;
    channel_files files(kernel, radar_channels::left_out);
    files.write();
    ASSERT_EQ(lab::read_file(file), "36 44\n");
    EXPECT_FALSE(std::filesystem::exists(of_earlier_process)) << "its radio has gone";

    kernel.list.clear();
    files.write();
    EXPECT_EQ(lab::read_file(file), "36 44\n");

    kernel.interfaces.clear();
    files.write();
    EXPECT_FALSE(std::filesystem::exists(file)) << "the radio has gone";
}

}  // namespace
