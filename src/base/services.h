// The three cloud services and the texts that belong to each. A process serves one of them.
#pragma once

#include <array>
#include <cstddef>

namespace rfcd {

// In the order in which start-up looks for one that is configured.
enum class service_index : std::size_t { roaming, rrm, wids };
inline constexpr std::size_t service_count = 3;

struct service_entry {
    service_index index;
    const char* name;         // for those who run the daemon
    const char* wire_name;    // "service" in its messages; null: the daemon does not read them
    const char* worker_name;  // of its service worker; the thread is "rfcd:" and this name
    const char* link_name;    // the same for its link; also the WebSocket subprotocol
    const char* log_prefix;   // of lines that the WebSocket library logs
};

inline constexpr std::array<service_entry, service_count> service_table{{
    {service_index::roaming, "roaming", nullptr, "ipc", "websock-roaming", "portal"},
    {service_index::rrm, "rrm", "rrm", "rrm", "websock-rrm", "rrm"},
    {service_index::wids, "wids", "wids-mac-service", "wids", "websock-wids", "wids"},
}};

constexpr const service_entry& entry_of(service_index index) {
    return service_table[static_cast<std::size_t>(index)];
}

// The "service" of the messages that a link and its service worker exchange about the link itself.
inline constexpr const char* link_service = "internal-ipc";

}  // namespace rfcd
