// A module's place on the local bus. Joins when there is a broker, hands over each text that comes,
// and joins again when the broker was restarted, with pauses that grow to 5 s. Lives on the thread
// of the loop.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "aplocald/event_loop.h"
#include "peermsg/bus_connection.h"

namespace aplocal {

class bus_module {
  public:
    using text_handler = std::function<void(std::uint8_t from, const std::string& text)>;

    // `when_joined` is called each time the broker has given the module number to this process.
    bus_module(event_loop& loop, std::uint8_t module, text_handler handler,
               std::function<void()> when_joined);
    bus_module(const bus_module&) = delete;
    bus_module& operator=(const bus_module&) = delete;
    ~bus_module();

    // A text that cannot be sent is lost: whoever asked has left with the broker.
    void send(std::uint8_t to, const std::string& text);

  private:
    void join();
    void leave();
    void join_later();
    void read();

    static constexpr std::chrono::milliseconds first_pause{100};
    static constexpr std::chrono::milliseconds longest_pause{5000};

    event_loop& loop_;
    const std::uint8_t module_;
    const text_handler handler_;
    const std::function<void()> when_joined_;
    standin::bus_connection connection_;
    int watched_ = -1;
    bool joined_ = false;
    bool complained_ = false;  // since it was last on the bus
    std::chrono::milliseconds pause_ = first_pause;
    std::optional<event_loop::timer> timer_;  // for the next look at the bus
};

}  // namespace aplocal
