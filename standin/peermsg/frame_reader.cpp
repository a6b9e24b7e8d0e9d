#include "peermsg/frame_reader.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace standin {

frame_head head_of(const frame_block& block) {
    return *decode_head({block.get(), frame_head_size});
}

std::string_view text_of(const frame_block& block) {
    return {block.get() + PEERMSG_TEXT_OFFSET, head_of(block).length};
}

frame_reader::state frame_reader::next(int descriptor, frame_block& frame) {
    while (true) {
        if (!partial_ && end_ - begin_ >= frame_head_size && !begin_frame()) return state::closed;
        if (partial_) {
            const auto take = std::min(size_ - filled_, end_ - begin_);
            std::memcpy(partial_.get() + filled_, buffer_.data() + begin_, take);
            filled_ += take;
            begin_ += take;
            if (filled_ == size_) {
                frame = std::move(partial_);
                return state::frame;
            }
        }
        if (std::exchange(drained_, false)) return state::nothing;

        // Read a long text directly into its frame, and short frames in batches.
        std::size_t count = 0;
        state result = state::nothing;
        if (partial_ && size_ - filled_ > buffer_.size()) {
            result = read_more(descriptor, partial_.get() + filled_, size_ - filled_, count);
            filled_ += count;
        } else {
            std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
            end_ -= begin_;
            begin_ = 0;
            result = read_more(descriptor, buffer_.data() + end_, buffer_.size() - end_, count);
            end_ += count;
        }
        if (count == 0) return result;
    }
}

// Returns `nothing` both for some bytes and for none yet; `count` tells them apart.
frame_reader::state frame_reader::read_more(int descriptor, char* into, std::size_t room,
                                            std::size_t& count) {
    const ssize_t got = recv(descriptor, into, room, MSG_DONTWAIT);
    if (got > 0) {
        count = static_cast<std::size_t>(got);
        drained_ = count < room;
        return state::nothing;
    }
    const bool later = got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
    return later ? state::nothing : state::closed;
}

bool frame_reader::begin_frame() {
    const auto head = decode_head({buffer_.data() + begin_, end_ - begin_});
    if (!head) return false;
    size_ = frame_head_size + head->length;
    filled_ = 0;
    partial_.reset(static_cast<char*>(std::malloc(size_ + 1)));
    if (!partial_) return false;
    partial_.get()[size_] = '\0';
    return true;
}

}  // namespace standin
