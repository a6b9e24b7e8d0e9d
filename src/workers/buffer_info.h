// One message between two workers: the text of one JSON message, or whatever bytes the other side
// sent instead. It is always on the heap, held by shared pointers, and does not change once it is
// queued.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace rfcd {

struct buffer_info_t {
    std::string data;

    buffer_info_t() = default;
    buffer_info_t(const buffer_info_t&) = delete;
    buffer_info_t& operator=(const buffer_info_t&) = delete;
    // Notes the release of a large message, whose memory then goes back to the system.
    ~buffer_info_t();

    static std::shared_ptr<buffer_info_t> make() { return std::make_shared<buffer_info_t>(); }

    // Appends `length` bytes; appends nothing when `bytes` is null or `length` is 0. Returns the
    // start of `data`.
    const char* append(const void* bytes, std::size_t length);
};

using buffer_ptr = std::shared_ptr<buffer_info_t>;

// Logs the message in readable form at debug level; does nothing when that level is off.
void dump_buffer(const buffer_info_t& buffer);

}  // namespace rfcd
