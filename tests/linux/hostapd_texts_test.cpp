// What hostapd says, and what it is told: readers of its replies and events, the end of a neighbour
// list, and the settings of fast transition.
#include <gtest/gtest.h>
#include <json-c/json.h>

#include <algorithm>
#include <memory>

#include "aplocald/access_lists.h"
#include "aplocald/ft_parameters.h"
#include "aplocald/hostapd_control.h"
#include "aplocald/hostapd_watch.h"
#include "aplocald/neighbour_lists.h"

namespace aplocal {
namespace {

TEST(HostapdEvent, IsToldFromAReply) {
    const struct {
        const char* name;
        std::string_view datagram;
        std::optional<std::string> event;
    } rows[] = {
        {.name = "event", .datagram = "<3>AP-ENABLED ", .event = "AP-ENABLED "},
        {.name = "event of the global socket",
         .datagram = "IFNAME=wlan1 <3>AP-ENABLED ",
         .event = "IFNAME=wlan1 AP-ENABLED "},
        {.name = "reply", .datagram = "OK\n", .event = {}},
        {.name = "cut before the end of the priority",
         .datagram = std::string_view("<3>AP").substr(0, 2),
         .event = {}},
        {.name = "interface without more", .datagram = "IFNAME=wlan1", .event = {}},
        {.name = "nothing", .datagram = "", .event = {}},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(read_event(row.datagram), row.event) << row.name;
    }
}

TEST(HostapdEvent, TellsOwnChangesFromRadar) {
    EXPECT_EQ(change_of("AP-CSA-FINISHED freq=5220 dfs=0"), change::may_be_own);
    EXPECT_EQ(change_of("DFS-NEW-CHANNEL freq=5180 chan=36"), change::of_others);
    EXPECT_EQ(change_of("AP-STA-CONNECTED 02:00:00:00:03:00"), change::none);
}

TEST(NeighbourList, IsReadAsFarAsItIsWhole) {
    const struct {
        const char* name;
        const char* reply;
        std::vector<neighbour> list;
    } rows[] = {
        {.name = "two entries of one BSSID, the second with more members",
         .reply = "02:00:00:00:00:01 ssid=6f nr=02\n02:00:00:00:00:01 ssid=70 nr=02 lci=00 stat\n",
         .list = {{.bssid = "02:00:00:00:00:01", .ssid = "6f"},
                  {.bssid = "02:00:00:00:00:01", .ssid = "70"}}},
        {.name = "the last line is cut",
         .reply = "02:00:00:00:00:01 ssid=6f nr=02\n02:00:00:00:00:02 ssid=6",
         .list = {{.bssid = "02:00:00:00:00:01", .ssid = "6f"}}},
        {.name = "what is not an entry is left out",
         .reply = "FAIL\n\n02:00:00:00:00:0g ssid=6f\n02:00:00:00:00:01 ssid=6z nr=02\n",
         .list = {{.bssid = "02:00:00:00:00:01", .ssid = ""}}},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(read_neighbours(row.reply), row.list) << row.name;
    }
}

TEST(RemoveAll, IsTakenForOneInterfaceOnly) {
    const struct {
        const char* name;
        const char* command;
        std::optional<std::string> ifname;
    } rows[] = {
        {.name = "as the daemon's wpa_cli sends it",
         .command = "IFNAME=wlan1-vap1 REMOVE_ALL_NEIGHBOR",
         .ifname = "wlan1-vap1"},
        {.name = "without interface", .command = "REMOVE_ALL_NEIGHBOR", .ifname = {}},
        {.name = "one entry", .command = "IFNAME=wlan1 REMOVE_NEIGHBOR", .ifname = {}},
        {.name = "more words", .command = "IFNAME=wlan1 REMOVE_ALL_NEIGHBORS x", .ifname = {}},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(read_remove_all(row.command), row.ifname) << row.name;
    }
}

// A list as hostapd keeps it, which shows only so many entries at once.
struct listed {
    std::string reply_to(const std::string& request) {
        ++requests;
        if (request == "IFNAME=wlan1 GET_CONFIG") return "bssid=02:00:00:00:01:00\nssid=o\n";
        if (request == "IFNAME=wlan1 SHOW_NEIGHBOR") return show();

        const auto found = std::find_if(entries.begin(), entries.end(), [&](const neighbour& n) {
            return request == "IFNAME=wlan1 REMOVE_NEIGHBOR " + n.bssid + " ssid=" + n.ssid;
        });
        if (found == entries.end() || found->ssid == stuck) return "FAIL\n";
        entries.erase(found);
        if (vanishing) entries.pop_back();
        return "OK\n";
    }

    std::string show() const {
        std::string text;
        for (std::size_t i = 0; i < std::min(shown, entries.size()); ++i) {
            text += entries[i].bssid + " ssid=" + entries[i].ssid + " nr=02\n";
        }
        return text + "02:00:00:00:";
    }

    std::vector<neighbour> entries;
    std::size_t shown = 100;
    std::string stuck = "-";  // entries of this SSID cannot be removed
    bool vanishing = false;   // whenever one is removed, another goes by itself
    int requests = 0;
};

TEST(NeighbourRemoval, LeavesOnlyWhatHostapdMade) {
    const neighbour own{.bssid = "02:00:00:00:01:00", .ssid = "6f"};
    const neighbour first{.bssid = "02:00:00:00:00:01", .ssid = "6f"};
    const neighbour twin{.bssid = "02:00:00:00:00:01", .ssid = "70"};
    const neighbour stuck{.bssid = "02:00:00:00:00:02", .ssid = "73"};
    const neighbour other{.bssid = "02:00:00:00:00:03", .ssid = "6f"};
    const struct {
        const char* name;
        listed hostapd;
        std::vector<neighbour> left;
        const char* result;
    } rows[] = {
        {.name = "two entries of one BSSID",
         .hostapd = {.entries = {first, own, twin}},
         .left = {own},
         .result = "OK\n"},
        {.name = "a long list, shown in part",
         .hostapd = {.entries = std::vector<neighbour>(500, first), .shown = 30},
         .left = {},
         .result = "OK\n"},
        {.name = "entries that vanish meanwhile",
         .hostapd = {.entries = {own, first, twin, stuck, other}, .vanishing = true},
         .left = {own},
         .result = "OK\n"},
        {.name = "one that cannot be removed",
         .hostapd = {.entries = {first, stuck, twin}, .stuck = "73"},
         .left = {stuck},
         .result = "FAIL\n"},
    };

    for (auto row : rows) {
        SCOPED_TRACE(row.name);
        neighbour_removal removal("wlan1");

        std::optional<std::string> request = removal.start();
        while (request && row.hostapd.requests < 2000) {
            request = removal.take_reply(row.hostapd.reply_to(*request));
        }

        EXPECT_EQ(row.hostapd.entries, row.left);
        EXPECT_EQ(removal.result(), row.result);
    }
}

TEST(AccessList, IsReadFromWhatHostapdShows) {
    const std::set<std::string> expected{"02:00:00:00:03:0a", "02:00:00:00:03:0b"};

    EXPECT_EQ(read_access_list("02:00:00:00:03:0A VLAN_ID=0\n02:00:00:00:03:0b VLAN_ID=0\nFAIL\n"),
              expected);
}

TEST(FastTransitionSettings, IsAddedToAndTakenFromTheKeyManagement) {
    const struct {
        const char* name;
        const char* before;
        std::optional<std::string> with;
        const char* without;
    } rows[] = {
        {.name = "psk", .before = "WPA-PSK", .with = "WPA-PSK FT-PSK", .without = "WPA-PSK"},
        {.name = "both psk",
         .before = "WPA-PSK WPA-PSK-SHA256",
         .with = "WPA-PSK WPA-PSK-SHA256 FT-PSK",
         .without = "WPA-PSK WPA-PSK-SHA256"},
        {.name = "there already", .before = "FT-SAE SAE", .with = "FT-SAE SAE", .without = "SAE"},
        {.name = "only fast transition, which would leave nothing",
         .before = "FT-EAP",
         .with = "FT-EAP",
         .without = "WPA-EAP"},
        {.name = "of a kind that is not known here",
         .before = "FT-EAP-SHA384 WPA-PSK",
         .with = "FT-EAP-SHA384 WPA-PSK FT-PSK",
         .without = "WPA-PSK"},
        {.name = "none for this kind", .before = "OWE", .with = {}, .without = "OWE"},
        {.name = "open network", .before = "", .with = {}, .without = ""},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(with_fast_transition(row.before), row.with) << row.name;
        EXPECT_EQ(without_fast_transition(row.before), row.without) << row.name;
    }
}

ft_reading read(const std::string& config) {
    const std::unique_ptr<json_object, int (*)(json_object*)> vap(
        json_tokener_parse((R"({"ft-config":{"enabled":"true",)" + config + "}}").c_str()),
        &json_object_put);
    return read_ft_parameters(vap.get());
}

const std::string own_ids = R"("r0-key-holder-id":"ap-a","r1-key-holder-id":"02-00-00-00-01-0A",)";

TEST(FastTransitionSettings, BecomesSettingsOfHostapd) {
    const auto reading = read(own_ids + R"("mobility-domain":"171","reassociation-deadline":0,
        "ft-over-ds":"true","mac":{"m":{"r0-kh-id":"ap-b","r1-kh-id":"02000000020B",
        "r0-kh-key":"00ff","r1-kh-key":"11ff"}}})");

    const std::map<std::string, std::string> settings{
        {"mobility_domain", "00ab"},       {"ft_over_ds", "1"},
        {"nas_identifier", "ap-a"},        {"ft_psk_generate_local", "0"},
        {"r1_key_holder", "02000000010a"}, {"reassociation_deadline", "1000"}};
    const std::map<std::string, std::string> remotes{
        {"r0kh 02:00:00:00:02:0b ap-b", "00ff"},
        {"r1kh 02:00:00:00:02:0b 02:00:00:00:02:0b", "11ff"}};
    EXPECT_EQ(reading.error, "");
    EXPECT_EQ(ft_settings(reading.parameters), settings);
    EXPECT_EQ(ft_remotes(reading.parameters), remotes);
}

TEST(FastTransitionSettings, RefusesWhatWouldSpoilTheConfiguration) {
    const struct {
        const char* name;
        std::string config;
        const char* error;
    } rows[] = {
        {.name = "a second line in an identifier",
         .config = R"("r0-key-holder-id":"a\nssid=b","r1-key-holder-id":"020000000100")",
         .error = "the r0-key-holder-id is not usable"},
        {.name = "an identifier that is no address",
         .config = R"("r0-key-holder-id":"a","r1-key-holder-id":"r1")",
         .error = "the r1-key-holder-id is not a MAC address"},
        {.name = "a domain of three bytes",
         .config = own_ids + R"("mobility-domain":65536)",
         .error = "the mobility-domain is not between 0 and 65535"},
        {.name = "a blank, which would shift the words of the line",
         .config = own_ids + R"("mac":{"m":{"r0-kh-id":"ap b","r1-kh-id":"020000000200"}})",
         .error = "the r0-kh-id of 02:00:00:00:02:00 is not usable"},
        {.name = "no key",
         .config = own_ids + R"("mac":{"m":{"r0-kh-id":"ap-b","r1-kh-id":"020000000200"}})",
         .error = "a key of 02:00:00:00:02:00 is not usable"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(read(row.config).error, row.error) << row.name;
    }
}

}  // namespace
}  // namespace aplocal
