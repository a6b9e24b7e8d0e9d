// Gives memory that large messages took back to the system once they have been handled. C libraries
// keep freed memory for later; the tree of one large message can be a hundred megabytes of it.
// Safe on any thread.
#pragma once

#include <cstddef>

namespace rfcd {

// A message of so many bytes has been released. Small ones change nothing.
void note_released_message(std::size_t bytes);

// Returns free memory to the system when a large message has been released since the last time,
// twice a second at most. Worker loops call it when they have nothing else to do.
void return_free_memory();

}  // namespace rfcd
