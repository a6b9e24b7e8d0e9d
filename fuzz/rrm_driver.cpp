// Plays messages of the RRM service, with the real driver over scripted libraries. See
// rrm_session.h for the script. Its "=" lines change what the libraries return:
//   =/PATH JSON   a value of the configuration store; a path alone removes it
//   =?TEXT        the answer of the network daemon
//   =!N CALL      the result of a call of the radio library or of a command
//   =@TEXT        the beginning of the radio information record
//   =*TEXT        the beginning of the entries and of the RRM results of wlan1
#include "driver/driver.h"
#include "fuzz/rrm_session.h"
#include "harness/fakes/fake_peermsg.h"
#include "harness/fakes/fake_radio.h"
#include "harness/fakes/fake_vap.h"

namespace {

// The network devices of the access point never change; the store decides whether a VAP is up.
bool make_devices() {
    lab::require_sandbox();
    for (const char* name : {"wlan0", "wlan0-vap2", "wlan1", "wlan2"}) {
        fake_vap::make_device(name);
    }
    lab::write_file("/tmp/factory", "Board: AP\nMAC: 00:11:22:33:44:50\n");
    lab::write_file("/var/run/hostapd-channels-wlan1", "36 40 44 48\n");
    return true;
}

void fill_store() {
    for (const char* vap : {"wlan0-vap0", "wlan0-vap2", "wlan1-vap0", "wlan2-vap0"}) {
        fake_vap::store_vap(vap, "office", "WPA2-PSK");
        fake_vap::store(std::string("/interface/") + vap + "/vap/ft-config/enabled", "true");
    }
}

void fill(fake_radio::bytes& buffer, std::size_t size, std::string_view text) {
    buffer.assign(size, 0);
    std::copy_n(text.begin(), std::min(size, text.size()), buffer.begin());
}

void change(std::string_view text) {
    const char what = fuzz::cut_character(text);
    switch (what) {
        case '/': {
            const std::string path = "/" + std::string(fuzz::cut(text, ' '));
            if (text.empty()) {
                fake_peermsg::bus.store.erase(path);
            } else {
                fake_peermsg::bus.store[path] = text;
            }
            break;
        }
        case '?': fake_peermsg::bus.answer = text; break;
        case '!': {
            const int result = fuzz::cut_number<int>(text);
            fuzz::cut(text, ' ');
            fake_radio::library.results[std::string(text)] = result;
            break;
        }
        case '@': fill(fake_radio::library.info, RADIOCTL_INFO_SIZE, text); break;
        case '*':
            fill(fake_radio::library.active["wlan1"], std::size_t{2} * RADIOCTL_ENTRY_SIZE, text);
            fill(fake_radio::library.rrm["wlan1"], RADIOCTL_RRM_SIZE, text);
            break;
        default: break;
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool made = make_devices();
    fuzz::rrm_session::start_over();
    fake_peermsg::reset();
    fake_radio::reset();
    fill_store();
    {
        const rfcd::running_flag enabled = true;
        rfcd::driver drv(&enabled);
        drv.init_interface_context();
        fuzz::rrm_session session(drv);
        fuzz::play_lines(fuzz::text_of(data, size), [&](std::string_view line) {
            const bool alive = session.play(line, change);
            fake_peermsg::take_record();
            fake_radio::take_record();
            return alive;
        });
    }
    fuzz::require(fake_peermsg::bus.contexts == 0, "the bus is left");
    return 0;
}
