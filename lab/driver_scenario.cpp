#include <optional>

#include "lab/access_point.h"
#include "lab/checklist.h"
#include "lab/daemon.h"
#include "lab/scenarios.h"

namespace lab {

namespace {

constexpr const char* session_output = "/tmp/driver.out";

struct promise {
    const char* text;
    const char* printed;
};

// Facts of the store and the scene that the driver must report.
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

// Tells each whole line of a file once.
class file_follower {
  public:
    file_follower(transcript& story, std::string path) : story_(story), path_(std::move(path)) {}

    void tell_new_lines() {
        const std::string all = read_file(path_);
        for (auto end = all.find('\n', told_); end != std::string::npos;
             end = all.find('\n', told_)) {
            story_.add("driver", "", all.substr(told_, end - told_));
            told_ = end + 1;
        }
    }

  private:
    transcript& story_;
    const std::string path_;
    std::size_t told_ = 0;  // bytes of the file
};

// Runs the driver's session and tells its lines as they come; its exit status, if it ends in time.
std::optional<int> run_session(transcript& story) {
    child_process session({DRIVER_SESSION_BINARY}, session_output);
    file_follower output(story, session_output);

    const auto ended = [&] {
        const bool over = !session.running();
        output.tell_new_lines();
        return over;
    };
    wait_until(ended, 60s);
    return session.status();
}

}  // namespace

int play_driver(transcript& story) {
    checklist list(story);

    story.chapter("an access point with three radios and six VAPs");
    bus_broker broker(story);
    access_point point(story);
    point.start_hostapd(false);

    story.chapter("what the driver sees");
    const auto status = run_session(story);

    story.chapter("what hostapd holds");
    const std::string held = point.neighbours("wlan1");
    story.add("hostapd", "", held);

    story.chapter("checks");
    list.check("the session ends well", status == 0);
    const std::string output = read_file(session_output);
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
