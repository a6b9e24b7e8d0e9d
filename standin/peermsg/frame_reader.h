// Splits the bytes of a non-blocking socket into frames. Belongs to one connection of the library
// or of the broker, and to its thread.
#pragma once

#include <cstdlib>
#include <memory>
#include <vector>

#include "peermsg/frame.h"

namespace standin {

struct free_block {
    void operator()(char* block) const { std::free(block); }
};

// A whole frame: head, text, and a zero byte behind the text.
using frame_block = std::unique_ptr<char, free_block>;

// The parts of a whole frame.
frame_head head_of(const frame_block& block);
std::string_view text_of(const frame_block& block);

class frame_reader {
  public:
    enum class state {
        nothing,  // no whole frame yet
        frame,    // one was read
        closed,   // end of the stream, an error, or invalid bytes: close the connection
    };

    // The next frame of the stream on `descriptor`. Never waits. When the socket gave less than was
    // asked for, returns `nothing` once without asking it again. Call this until it returns
    // `nothing`, then again when the descriptor becomes readable.
    state next(int descriptor, frame_block& frame);
    // True when part of a frame has been read.
    bool in_frame() const { return partial_ || begin_ != end_; }

  private:
    state read_more(int descriptor, char* into, std::size_t room, std::size_t& count);
    bool begin_frame();

    std::vector<char> buffer_ = std::vector<char>(std::size_t{64} << 10);
    std::size_t begin_ = 0;  // of the unused bytes in the buffer
    std::size_t end_ = 0;
    frame_block partial_;  // the frame being filled
    std::size_t filled_ = 0;
    std::size_t size_ = 0;
    bool drained_ = false;  // the last receive emptied the socket
};

}  // namespace standin
