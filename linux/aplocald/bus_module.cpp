#include "aplocald/bus_module.h"

#include <algorithm>

#include "aplocald/log.h"

namespace aplocal {

namespace {

constexpr int texts_per_turn = 32;

}  // namespace

bus_module::bus_module(event_loop& loop, std::uint8_t module, text_handler handler,
                       std::function<void()> when_joined)
    : loop_(loop),
      module_(module),
      handler_(std::move(handler)),
      when_joined_(std::move(when_joined)) {
    join();
}

bus_module::~bus_module() {
    if (timer_) loop_.cancel(*timer_);
    if (watched_ != -1) loop_.forget(watched_);
}

void bus_module::send(std::uint8_t to, const std::string& text) {
    if (!connection_.is_open()) return;
    const auto length = static_cast<std::uint32_t>(text.size());
    connection_.send({length, standin::frame_kind::text, module_, to}, text);
    if (!connection_.is_open()) leave();
}

void bus_module::join() {
    const bool asked = connection_.open(module_) &&
                       connection_.send({0, standin::frame_kind::start, module_, 0}, {});
    if (!asked) return join_later();

    watched_ = connection_.descriptor();
    loop_.watch(watched_, [this] { read(); });
}

void bus_module::leave() {
    // A broker that closes the connection before it says "started" has given the number to another.
    if (!complained_) {
        const std::string number = std::to_string(module_);
        log(severity::error, joined_ ? "module " + number + " has lost the bus"
                                     : "another process is module " + number + " of the bus");
    }
    complained_ = true;
    joined_ = false;
    if (watched_ != -1) loop_.forget(watched_);
    watched_ = -1;
    join_later();
}

void bus_module::join_later() {
    if (timer_) loop_.cancel(*timer_);
    timer_ = loop_.after(pause_, [this] {
        timer_.reset();
        join();
    });
    pause_ = std::min(2 * pause_, longest_pause);
}

void bus_module::read() {
    for (int i = 0; i < texts_per_turn; ++i) {
        const auto frame = connection_.receive();
        if (!frame) {
            if (!connection_.is_open() && watched_ != -1) leave();
            return;
        }

        const auto head = head_of(frame);
        if (head.kind == standin::frame_kind::started) {
            if (complained_)
                log(severity::notice, "module " + std::to_string(module_) + " is on the bus again");
            joined_ = true;
            complained_ = false;
            pause_ = first_pause;
            when_joined_();
        } else if (head.kind == standin::frame_kind::text) {
            handler_(head.source, std::string(text_of(frame)));
        }
        if (watched_ == -1) return;  // an answer found the bus closed
    }

    // The connection may hold more that the descriptor does not show. Others have their turn first.
    if (timer_) loop_.cancel(*timer_);
    timer_ = loop_.after(std::chrono::milliseconds(0), [this] {
        timer_.reset();
        read();
    });
}

}  // namespace aplocal
