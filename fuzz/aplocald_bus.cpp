// Texts from the bus, as configd and networkd of aplocald get them: one a line, those that begin
// with "n" for networkd. hostapd and the radios agree with everything.
#include <unistd.h>

#include "aplocald/hostapd_requests.h"
#include "aplocald/hostapd_text.h"
#include "aplocald/json.h"
#include "aplocald/local_services.h"
#include "aplocald/utf8.h"
#include "base/files.h"
#include "fuzz/fuzz.h"

namespace {

using namespace aplocal;

struct agreeing_radios : radios {
    nl80211::interface_info radio;

    std::optional<nl80211::interface_info> state(const std::string& ifname) override {
        if (!ifname.starts_with("wlan")) return std::nullopt;
        return radio;
    }
    std::vector<nl80211::frequency> frequencies(const std::string&) override {
        return {{.mhz = radio.on.primary_mhz, .max_power_dbm = 20}};
    }
    std::string country(const std::string&) override { return "DE"; }
    std::optional<std::string> set_tx_power(const std::string&, int dbm) override {
        radio.tx_power_dbm = dbm;
        return std::nullopt;
    }
};

void take_answer(const std::string& text) {
    fuzz::require(parse_object(text) != nullptr, "an answer is a JSON object", text);
    fuzz::require(utf8_text(text) == text, "in UTF-8", text);
}

hostapd_control::reply agree(const std::string& command) {
    const bool list = command == "INTERFACES";
    return {.what = hostapd_control::reply::kind::answer,
            .text = list ? "wlan1" : "OK\nssid=\\x00\\\nkey_mgmt=SAE"};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const char* const file = "/tmp/fuzz-store.json";
    const char* const record = "/tmp/fuzz-ft.json";
    unlink(file);
    unlink(record);
    agreeing_radios kernel;
    kernel.radio.on = {5180, 80, 5210};
    event_loop loop;
    store stored(file);
    hostapd_view view(agree);
    live_values live(view, kernel, stored);
    radio_settings settings(
        {.loop = loop, .kernel = kernel, .live = live, .stored = stored, .hostapd = agree});
    hostapd_requests requests({.folder = "/tmp/no-such-folder", .record = record});
    local_services services({
        .stored = stored,
        .live = live,
        .radio = settings,
        .update_fast_transition =
            [&](json_object* r) { return requests.update_fast_transition(r); },
        .reset_fast_transition = [&](json_object* r) { return requests.reset_fast_transition(r); },
        .take_mac_lists = [&](json_object* r) { return requests.deny(r, "black", {"wlan1"}); },
    });

    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const auto line : split(text, '\n')) {
        const std::string request(line.substr(1));
        if (line.front() == 'n') {
            services.ask_networkd(request, take_answer);
        } else {
            services.ask_configd(request, take_answer);
        }
    }
    // What was stored can be read again.
    const store again(file);
    const auto kept = rfcd::read_text_file(record);
    if (kept) fuzz::require(record_text(read_record(*kept)) == *kept, "the same record", *kept);
    return 0;
}
