// `rfcdctl watch`: redraws the status when it changes, and its ages every second.
#pragma once

#include <string>

namespace ctl {

// Shows the service, or every one that has a status file, until q or Ctrl-C. Returns rfcdctl's exit
// status: 2 without a terminal.
int run_watch(const std::string& service);

}  // namespace ctl
