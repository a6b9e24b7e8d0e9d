// The owners of what the messaging library hands out: its context, and the block in which it
// delivers a text. Both belong to the thread that uses the bus.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/peermsg.h"

namespace rfcd {

struct release_bus {
    void operator()(peermsg_ctx* bus) const { peermsg_release(bus); }
};
using bus_ptr = std::unique_ptr<peermsg_ctx, release_bus>;

// One text from the bus.
class bus_message {
  public:
    // Takes ownership of the block; null means that there is no message.
    explicit bus_message(void* block) : block_(static_cast<const char*>(block), &free_block) {}

    explicit operator bool() const { return block_ != nullptr; }

    // Call it only when there is a message. The text lives as long as this object.
    std::string_view text() const {
        std::uint32_t length = 0;
        std::memcpy(&length, block_.get() + PEERMSG_LENGTH_OFFSET, sizeof length);
        return {block_.get() + PEERMSG_TEXT_OFFSET, length};
    }

    // True when the text is empty or its first byte is zero. Call it only when there is a message.
    bool blank() const { return block_.get()[PEERMSG_TEXT_OFFSET] == '\0'; }

  private:
    static void free_block(const char* block) { std::free(const_cast<char*>(block)); }

    std::unique_ptr<const char, void (*)(const char*)> block_;
};

}  // namespace rfcd
