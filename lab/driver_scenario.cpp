#include <sstream>

#include "lab/access_point.h"
#include "lab/checklist.h"
#include "lab/daemon.h"
#include "lab/scenarios.h"

namespace lab {

namespace {

struct promise {
    const char* text;
    const char* printed;
};

// Facts of the store and the scene that have to come out of the driver.
constexpr promise promises[] = {
    {"the board's identity is read",
     "board: AP-3000, revision 2.1, serial SN00420042, address "
     "00:11:22:33:44:50"},
    {"wlan0 is on channel 6, 20 MHz wide", "wlan0  band 2, country RU, channel 6, 20 MHz (none)"},
    {"wlan1 is on channel 36 of an 80 MHz block", "channel 36, 80 MHz (ll), chanspec 0x2024"},
    {"wlan2 is on the second channel of its block", "channel 37, 80 MHz (lu), chanspec 0x2125"},
    {"VAPs have addresses of their own", "wlan1-vap2  00:11:22:33:44:62  \"staff\""},
    {"power limits come from the store", "power 21 dBm of 8 to 24"},
    {"limited channels come from the store", "available channels: 36 40 44 48 149 153 157 161"},
    {"other channels come from hostapd's file", "available channels: 1 5 9 13"},
    {"the active scan hears all 60 access points", "60 access points"},
    {"the RRM scan hears the lowest channel of each band", "13 access points"},
};

}  // namespace

int play_driver(transcript& story) {
    checklist list(story);
    story.chapter("an access point with three radios and six VAPs");
    bus_broker broker(story);
    access_point point(story);
    point.start_hostapd(false);
    story.chapter("what the driver sees");
    child_process session({DRIVER_SESSION_BINARY}, "/tmp/driver.out");
    const auto status = session.wait(60s);
    const std::string output = read_file("/tmp/driver.out");
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) story.add("driver", "", line);
    story.chapter("what hostapd holds");
    const std::string held = point.neighbours("wlan1");
    story.add("hostapd", "", held);
    story.chapter("checks");
    list.check("the session ends well", status == 0);
    for (const auto& [text, printed] : promises) {
        list.check(text, output.find(printed) != std::string::npos);
    }
    list.check("hostapd holds the neighbour, with its report",
               held ==
                   "02:00:00:00:05:15 ssid=6f6666696365 "
                   "nr=02000000051567180000732c090603002c00\n");
    list.check("no other interface got it", point.neighbours("wlan0").empty());
    point.stop_hostapd();
    return list.summary("driver");
}

}  // namespace lab
