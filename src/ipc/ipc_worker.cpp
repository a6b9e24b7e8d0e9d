#include "ipc/ipc_worker.h"

#include "base/monotonic_clock.h"
#include "base/services.h"

namespace rfcd {

namespace {

constexpr std::int32_t poll_timeout_us = 100'000;
constexpr std::uint32_t idle_pause_us = 1'000'000;
constexpr std::uint8_t roaming_peer = 3;
constexpr std::uint32_t shortest_gap_us = 100;
constexpr std::uint32_t longest_gap_us = 12'800;

}  // namespace

ipc_worker::ipc_worker(service_queues queues, std::uint32_t module_number,
                       const running_flag* running)
    : abstract_worker(running, entry_of(service_index::roaming).worker_name, poll_timeout_us,
                      idle_pause_us),
      outgoing_(queues.to_service),
      incoming_(queues.from_service),
      module_number_(module_number),
      on_message_([this](const buffer_ptr& message) { send_to_bus(*message); }) {}

ipc_worker::~ipc_worker() { join(); }

bool ipc_worker::start_check() {
    bus_.reset(peermsg_init(module_number_, &settings_, PEERMSG_MODE_PEER));
    if (!bus_) return false;

    peermsg_set_moduleloop(bus_.get(), 0);
    if (peermsg_get_moduleloop(bus_.get()) != 0) {
        bus_.reset();
        return false;
    }
    peermsg_peer_start(bus_.get());
    status_.note_bus(true);
    return true;
}

bool ipc_worker::process() {
    if (!bus_) return false;

    // A burst rarely ends at its first gap, and the loop's own wait would be long.
    for (std::uint32_t gap_us = shortest_gap_us; gap_us <= longest_gap_us; gap_us *= 2) {
        if (move_one()) {
            in_burst_ = true;
            return false;
        }
        if (!in_burst_) break;
        pause_microseconds(gap_us);
    }
    in_burst_ = false;
    return true;
}

// Moves one message, from the bus if it has one. False when both sides were empty.
bool ipc_worker::move_one() {
    // Back-pressure: leave messages on the bus, which drops them when it is full.
    const bool held_back = outgoing_.weight() > heavy_queue;
    const bus_message message(held_back ? nullptr : peermsg_get_msg_from_queue_no_wait(bus_.get()));
    if (!message) return incoming_.try_pop(on_message_);

    if (!message.blank()) {
        const auto buffer = buffer_info_t::make();
        buffer->append(message.text().data(), message.text().size());
        outgoing_.push(buffer);
    }
    return true;
}

void ipc_worker::on_stop() {
    bus_.reset();
    status_.note_bus(false);
}

bool ipc_worker::keep_running(const running_flag* running) {
    return *running && bus_ != nullptr && peermsg_get_moduleloop(bus_.get()) != 0;
}

void ipc_worker::send_to_bus(const buffer_info_t& message) const {
    if (message.data.empty()) return;
    peermsg_msg_send(bus_.get(), message.data.data(), roaming_peer, message.data.size());
}

}  // namespace rfcd
