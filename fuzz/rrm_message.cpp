// Plays messages of the RRM service and events around them, with a scripted driver. See
// rrm_session.h for the script. Its "=" lines change what the driver returns:
//   =u =a =y      radios up or down, automatic channel, all radios for widsd
//   =oN =pN       the sentry radio, seconds that it takes to set the power
//   =cN =CN       the present channel specification, the configured one
//   =eN =sN       an event of the radios, seconds that a scan takes
//   =rN           N results of the next scan
//   =x            the two operations that may throw do so
#include "fuzz/rrm_session.h"
#include "harness/fakes/fake_peermsg.h"
#include "harness/fakes/scripted_driver.h"

namespace {

void change(scripted_driver& drv, std::string_view text) {
    const char what = fuzz::cut_character(text);
    const int number = fuzz::cut_number<int>(text);
    switch (what) {
        case 'u': drv.radios_up = !drv.radios_up; break;
        case 'a': drv.auto_channel = !drv.auto_channel; break;
        case 'y': drv.sentry_all = !drv.sentry_all; break;
        case 'o': drv.sentry_radio = number; break;
        case 'p': drv.power_takes_seconds = std::clamp(number, 0, 1000); break;
        case 'c': drv.current = static_cast<rfcd::chanspec_t>(number); break;
        case 'C': drv.configured = static_cast<rfcd::chanspec_t>(number); break;
        case 'e': drv.events.push_back({static_cast<std::uint32_t>(number)}); break;
        case 's': drv.scan_seconds = std::clamp(number, 0, 100); break;
        case 'r': {
            rfcd::scan_result result;
            result.rssi = result.sideband = number;
            result.bandwidth = 80;
            drv.heard.emplace_back(static_cast<std::size_t>(std::clamp(number, 0, 100)), result);
            break;
        }
        case 'x': drv.throws = true; break;
        default: break;
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool alone = (lab::require_sandbox(), true);
    fuzz::rrm_session::start_over();
    fake_peermsg::reset();
    static const rfcd::running_flag running = true;
    scripted_driver drv(&running);
    {
        fuzz::rrm_session session(drv);
        bool alive = session.pass();
        fuzz::play_lines(fuzz::text_of(data, size), [&](std::string_view line) {
            alive = session.play(line, [&](std::string_view text) { change(drv, text); });
            fake_peermsg::take_record();
            drv.take();
            fuzz::require(alive || drv.throws, "nothing throws over a driver that does not");
            return alive;
        });
        // Every scan must end, unless hostapd went away.
        for (int i = 0; i < 20 && alive && drv.scanning; ++i) {
            fake_clock::advance(drv.scan_seconds + 1);
            alive = session.pass();
        }
        fuzz::require(!alive || !drv.scanning || session.hostapd_went(), "a scan ends");
    }
    return 0;
}
