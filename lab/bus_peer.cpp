#include "lab/bus_peer.h"

#include <stdexcept>

#include "peermsg/context.h"

namespace lab {

namespace {

peermsg_settings settings{PEERMSG_SETTINGS_CODE, {}};

peermsg_ctx* make_context(unsigned module) {
    return peermsg_init(module, &settings, PEERMSG_MODE_PEER);
}

}  // namespace

bus_peer::bus_peer(transcript& story, std::string name, std::uint8_t module,
                   std::function<void(bus_peer&, const message&)> handler)
    : story_(story),
      name_(std::move(name)),
      handler_(std::move(handler)),
      receiver_(make_context(module), &peermsg_release),
      sender_(make_context(module), &peermsg_release) {
    if (peermsg_peer_start(receiver_.get()) != 0) {
        throw std::runtime_error("cannot join the bus as " + name_);
    }
    thread_ = std::thread([this] { listen(); });
}

bus_peer::~bus_peer() {
    stopping_ = true;
    thread_.join();
}

void bus_peer::send(std::uint8_t to, std::string_view text) {
    story_.add(name_, "->", shortened(text));
    send_quietly(to, text);
}

bool bus_peer::send_quietly(std::uint8_t to, std::string_view text) {
    const std::lock_guard guard(send_lock_);
    return peermsg_msg_send(sender_.get(), text.data(), to, text.size()) == 0;
}

void bus_peer::listen() {
    while (!stopping_) {
        // Join again when the broker was restarted.
        if (peermsg_get_moduleloop(receiver_.get()) == 0 &&
            peermsg_peer_start(receiver_.get()) != 0) {
            std::this_thread::sleep_for(20ms);
            continue;
        }

        const auto block =
            standin::wait_new_text(*receiver_, std::chrono::steady_clock::now() + 20ms);
        if (!block) continue;

        message arrived{head_of(block).source, std::string(text_of(block))};
        if (narrate_) story_.add(name_, "<-", shortened(arrived.text));
        if (handler_) {
            handler_(*this, arrived);
        } else {
            received_.put(std::move(arrived));
        }
    }
}

bool send_to_bus(std::uint8_t to, std::string_view text) {
    const std::unique_ptr<peermsg_ctx, decltype(&peermsg_release)> context(make_context(0),
                                                                           &peermsg_release);
    return peermsg_msg_send(context.get(), text.data(), to, text.size()) == 0;
}

}  // namespace lab
