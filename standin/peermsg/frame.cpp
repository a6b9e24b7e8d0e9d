#include "peermsg/frame.h"

#include <cstring>

namespace standin {

namespace {

constexpr std::uint32_t magic = 0x4d534750;
constexpr std::size_t kind_offset = 8;
constexpr std::size_t source_offset = 9;
constexpr std::size_t destination_offset = 10;

}  // namespace

head_bytes encode_head(const frame_head& head) {
    head_bytes bytes{};
    std::memcpy(bytes.data(), &magic, sizeof magic);
    std::memcpy(bytes.data() + PEERMSG_LENGTH_OFFSET, &head.length, sizeof head.length);
    bytes[kind_offset] = static_cast<char>(head.kind);
    bytes[source_offset] = static_cast<char>(head.source);
    bytes[destination_offset] = static_cast<char>(head.destination);
    return bytes;
}

std::optional<frame_head> decode_head(std::string_view bytes) {
    std::uint32_t found_magic = 0;
    frame_head head{};

    std::memcpy(&found_magic, bytes.data(), sizeof found_magic);
    std::memcpy(&head.length, bytes.data() + PEERMSG_LENGTH_OFFSET, sizeof head.length);
    head.kind = static_cast<frame_kind>(bytes[kind_offset]);
    head.source = static_cast<std::uint8_t>(bytes[source_offset]);
    head.destination = static_cast<std::uint8_t>(bytes[destination_offset]);

    const bool known = head.kind >= frame_kind::hello && head.kind <= frame_kind::missed;
    if (found_magic != magic || !known || head.length > max_text_size) return std::nullopt;
    return head;
}

}  // namespace standin
