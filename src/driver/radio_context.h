// The radio library's context of the process: opened at the first need, tried again after a
// failure, closed at process exit. For the driver's thread.
#pragma once

#include "platform/radioctl.h"

namespace rfcd {

// Null when it cannot be opened now; never owned by the caller.
radioctl_ctx* radioctl_context();

}  // namespace rfcd
