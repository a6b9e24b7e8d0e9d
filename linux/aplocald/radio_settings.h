// Applies settings to the radios: the channel by hostapd's channel switch announcement, the power
// by the kernel. A setting counts as applied only when the radio shows it. Requests are served one
// after the other; while one waits for its channel, the loop goes on. For the thread of the loop.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "aplocald/channels.h"
#include "aplocald/event_loop.h"
#include "aplocald/hostapd_view.h"
#include "aplocald/live_values.h"
#include "aplocald/radios.h"
#include "aplocald/store.h"

namespace aplocal {

class radio_settings {
  public:
    using parameters = std::vector<std::pair<std::string, std::string>>;
    // Gets null when everything was applied, otherwise the reason why something was not.
    using result_handler = std::function<void(const std::optional<std::string>& problem)>;

    // What it works with. All of them outlive this object.
    struct tools {
        event_loop& loop;
        radios& kernel;
        live_values& live;
        store& stored;
        hostapd_view::request_function hostapd;
        // hostapd announces most switches for half a second. For some it restarts the radio, which
        // takes some seconds. The daemon waits 20 s for an answer.
        std::chrono::milliseconds switch_limit{17'000};
    };

    static constexpr std::size_t max_waiting = 16;
    static constexpr std::chrono::milliseconds switch_step{100};

    explicit radio_settings(tools with) : tools_(std::move(with)) {}
    radio_settings(const radio_settings&) = delete;
    radio_settings& operator=(const radio_settings&) = delete;
    ~radio_settings();

    // Knows "auto-channel", "channel", "bandwidth", "control-sideband" and "tx-power". Checks them
    // all before it changes anything. Then stores auto-channel, moves the radio, and sets the
    // power; what was applied before a failure stays.
    void apply(const std::string& radio, const parameters& wanted, result_handler done);

    // Whether a channel switch that was asked for here is under way.
    bool is_switching() const { return switching_; }

  private:
    // What a radio shall have. A member that is null stays as it is.
    struct request {
        std::string radio;
        std::optional<std::string> auto_channel;
        std::optional<int> channel;
        std::optional<int> bandwidth;
        std::optional<sideband> place;
        std::optional<int> tx_power;
        result_handler done;
    };

    static std::optional<std::string> read(const parameters& wanted, request& into);
    void serve_next();
    std::optional<std::string> plan(const request& job);
    std::optional<std::string> check_power(const request& job);
    std::optional<std::string> store_auto_channel(const request& job);
    std::optional<std::string> start_switch(const request& job);
    void await_switch(std::chrono::milliseconds left);
    std::optional<std::string> set_power(const request& job);
    void finish(const std::optional<std::string>& problem);

    tools tools_;
    std::deque<request> waiting_;  // the first one is being served
    nl80211::channel target_;      // of the first one
    bool switching_ = false;
    std::optional<event_loop::timer> timer_;
};

}  // namespace aplocal
