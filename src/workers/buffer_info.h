// One message between two workers: the text of one JSON message, or any bytes that came in its
// place. Always on the heap and held by shared pointer; nothing changes it once it is queued.
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

    // Appends `length` bytes; nothing when `bytes` is null or `length` is 0. Answers the start of
    // `data`.
    const char* append(const void* bytes, std::size_t length);
};

using buffer_ptr = std::shared_ptr<buffer_info_t>;

// Logs the message readably at debug level; parses nothing when that level is off.
void dump_buffer(const buffer_info_t& buffer);

}  // namespace rfcd
