// Returns memory to the system after the daemon has handled a large message. C libraries keep freed
// memory for later use, and the tree of one large message can take a hundred megabytes. Safe on any
// thread.
#pragma once

#include <cstddef>

namespace rfcd {

// Notes that a message of this size has been released. Small messages do not matter.
void note_released_message(std::size_t bytes);

// Returns free memory to the system when a large message has been released since the last call that
// did so; twice a second at most. Worker loops call it when they have nothing else to do.
void return_free_memory();

}  // namespace rfcd
