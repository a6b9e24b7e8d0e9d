// The files by which a process of the access point tells the daemon of a change (docs/bus.md).
#pragma once

#include <string>

namespace aplocal {

// Creates /tmp/.skylark_notify_NAME, such as "hostapd_started" or "config_updated", and then
// /tmp/.skylark_notify. Files that are there already stay: the daemon has not seen them yet.
// Returns false when one of them cannot be made. Everybody may write to /tmp, so no link is
// followed, and only a plain file counts.
bool notify_daemon(const std::string& name);

}  // namespace aplocal
