// The services by the names that rfcdctl reads and prints.
#pragma once

#include <array>

#include "base/services.h"

namespace ctl {

struct service_name {
    const char* word;     // on the command line, and in the name of the status file
    const char* display;  // for a person
};

inline constexpr std::array<service_name, rfcd::service_count> service_names{{
    {rfcd::entry_of(rfcd::service_index::roaming).name, "roaming"},
    {rfcd::entry_of(rfcd::service_index::rrm).name, "RRM"},
    {rfcd::entry_of(rfcd::service_index::wids).name, "WIDS"},
}};

constexpr const char* display_name(rfcd::service_index index) {
    return service_names[static_cast<std::size_t>(index)].display;
}

}  // namespace ctl
