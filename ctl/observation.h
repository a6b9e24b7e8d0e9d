// What rfcdctl finds out about one service: what the daemon has written, and whether that still
// holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ctl/process_look.h"
#include "ctl/status_record.h"

namespace ctl {

enum class verdict {
    connected,       // in RRM mode: and subscribed
    not_subscribed,  // connected, in RRM mode
    not_connected,
    stuck,
    not_running,
    unreadable,  // the status file says nothing that could be believed
};

struct judgement {
    verdict outcome;
    std::string reason;  // of the last three
};

struct observation {
    std::string service;  // by the name of its status file; empty when no service has one
    std::optional<status_record> record;
    judgement judged;
    std::uint64_t now;  // of the monotonic clock, in seconds
};

// Judges by what the daemon has written and what the kernel says about its process.
judgement judge(const status_record& record, process_life life, std::uint64_t now);

// "connected", "not subscribed" and so on.
const char* name_of(verdict outcome);

int exit_status_of(verdict outcome);

// The service with this name, or all that have a status file; never empty.
std::vector<observation> observe(const std::string& service);

}  // namespace ctl
