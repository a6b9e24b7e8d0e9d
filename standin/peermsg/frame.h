// A frame between a module and the broker: a head of 17 bytes, then the text. The layout makes a
// whole frame the same block that the library gives to its user. Numbers are in the machine's byte
// order, because both ends are on one machine.
//
//   offset 0, 4 bytes  a constant that distinguishes frames from garbage
//   offset 4, 4 bytes  length of the text
//   offset 8           kind of frame
//   offset 9           module number of the sender (0 for one that only sends)
//   offset 10          module number of the addressee
//   offset 11, 6 bytes zero
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/peermsg.h"

namespace standin {

inline constexpr std::size_t frame_head_size = PEERMSG_TEXT_OFFSET;
inline constexpr std::size_t max_text_size = std::size_t{64} << 20;
inline constexpr unsigned max_module = 255;

// Where the broker listens; only its user has access.
inline constexpr const char* bus_directory = "/run/peermsg";
inline constexpr const char* bus_socket = "/run/peermsg/bus";

enum class frame_kind : std::uint8_t {
    hello = 1,    // the first frame of a connection: its module number
    start = 2,    // the sender wants texts from now on
    stop = 3,     // the sender wants no more texts
    text = 4,     // a text for the addressee
    started = 5,  // the broker's answer to start or monitor: what follows was sent after it
    untaken = 6,  // from the broker: nobody took a text for the module in the head's destination
    // For diagnosis. The broker sends these to nobody who did not ask for them.
    list = 7,     // who receives?
    listed = 8,   // the broker's answer to list: "MODULE PROCESS\n" for each, in order
    monitor = 9,  // from a connection without a module: copies of all texts are wanted from now on
    passed = 10,  // from the broker: a copy of a text that was handed on
    lost = 11,    // from the broker: a copy of a text that nobody took
    missed = 12,  // from the broker: so many copies are left out here, as a decimal number
};

struct frame_head {
    std::uint32_t length;
    frame_kind kind;
    std::uint8_t source;
    std::uint8_t destination;

    bool operator==(const frame_head&) const = default;
};

using head_bytes = std::array<char, frame_head_size>;

head_bytes encode_head(const frame_head& head);

// Null when the bytes are not a head: wrong constant, unknown kind, or a text beyond the limit.
// `bytes` holds at least frame_head_size.
std::optional<frame_head> decode_head(std::string_view bytes);

}  // namespace standin
