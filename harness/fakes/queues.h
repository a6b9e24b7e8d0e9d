// Helpers to put texts onto the daemon's queues and to take them out.
#pragma once

#include <string>
#include <vector>

#include "workers/safe_queue.h"

inline rfcd::buffer_ptr buffer_of(const std::string& text) {
    auto buffer = rfcd::buffer_info_t::make();
    buffer->data = text;
    return buffer;
}

// Takes all messages out, oldest first.
inline std::vector<std::string> drain(rfcd::safe_queue& queue) {
    std::vector<std::string> texts;
    while (queue.try_pop([&](const rfcd::buffer_ptr& b) { texts.push_back(b->data); })) {
    }
    return texts;
}

using texts = std::vector<std::string>;
