#include "lab/roaming_world.h"

#include <stdexcept>

namespace lab {

std::string link_notice(const std::string& command) {
    return R"({"version":"2.4","service":"internal-ipc","cmd":")" + command + "\"}";
}

roaming_world::roaming_world(transcript& story, const options& chosen)
    : broker(story),
      peer(story, "peer 3", roaming_module),
      cloud(story),
      story_(story),
      options_(chosen) {
    if (options_.start_daemon) start_daemon();
}

daemon& roaming_world::start_daemon() {
    agent = std::make_unique<daemon>(
        story_,
        daemon::settings{{"log_level", options_.log_level},
                         {"roam_service_url", loopback_url(cloud.port(), roaming_path)},
                         {"initial_connection_delay", std::to_string(options_.initial_delay)},
                         {"max_connection_delay", std::to_string(options_.max_delay)}});
    return *agent;
}

bool roaming_world::wait_linked(unsigned connections_so_far) {
    const bool linked =
        cloud.wait_connections(connections_so_far) && bus_hears(link_notice("connected"));
    cloud.received().clear();
    return linked;
}

std::string roaming_world::next_on_bus(milliseconds timeout) {
    auto arrived = peer.received().take_matching(
        [](const auto& m) { return m.text.find(R"("internal-ipc")") == std::string::npos; },
        timeout);
    if (!arrived) throw std::runtime_error("peer 3 received nothing");
    return std::move(arrived->text);
}

bool roaming_world::bus_hears(const std::string& text, milliseconds timeout) {
    return peer.received()
        .take_matching([&](const auto& m) { return m.text == text; }, timeout)
        .has_value();
}

}  // namespace lab
