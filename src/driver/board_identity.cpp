#include "driver/board_identity.h"

#include <strings.h>

#include <array>
#include <cstdlib>
#include <string_view>

#include "base/files.h"
#include "base/interface_names.h"
#include "driver/mac_addr.h"

namespace rfcd {

namespace {

constexpr const char* factory_path = "/tmp/factory";
constexpr const char* factory_command = "/bin/factory > /tmp/factory";

constexpr struct {
    std::string_view prefix;
    text_field<32> board_identity::*field;
} lines[] = {
    {"Board: ", &board_identity::board_name},
    {"HW Rev: ", &board_identity::board_hw_rev},
    {"Serial: ", &board_identity::board_serial},
    {"MAC: ", &board_identity::board_mac},
};

// The part of the rest of a line that a field keeps. Removes one line-end character at most.
std::string_view field_value(std::string_view rest) {
    rest = rest.substr(0, text_field<32>::max_length);
    if (!rest.empty() && (rest.back() == '\n' || rest.back() == '\r')) rest.remove_suffix(1);
    return rest;
}

}  // namespace

board_identity read_board_identity() {
    auto file = open_for_reading(factory_path);
    if (!file) {
        if (std::system(factory_command) == -1) std::perror("system");
        file = open_for_reading(factory_path);
    }
    return file ? parse_board_identity(file.get()) : board_identity{};
}

board_identity parse_board_identity(std::FILE* file) {
    board_identity identity;
    std::array<char, 256> line{};

    while (std::fgets(line.data(), line.size(), file) != nullptr) {
        for (const auto& [prefix, field] : lines) {
            if (strncasecmp(line.data(), prefix.data(), prefix.size()) != 0) continue;
            (identity.*field).assign(field_value(line.data() + prefix.size()));
        }
    }
    return identity;
}

std::string vap_bssid(const char* board_mac, const char* vap_ifname) {
    const auto id = read_vap_id(vap_ifname);
    if (!id) return "";

    std::array<unsigned, 6> board{};
    if (std::sscanf(board_mac, "%02X:%02X:%02X:%02X:%02X:%02X", &board[0], &board[1], &board[2],
                    &board[3], &board[4], &board[5]) != 6) {
        board = {};
    }

    libnetworkd::MacAddr mac;
    for (std::size_t i = 0; i < board.size(); ++i) {
        mac.bytes[i] = static_cast<std::uint8_t>(board[i]);
    }
    mac.bytes[5] =
        static_cast<std::uint8_t>(board[5] + static_cast<unsigned>(id->vap + 16 * id->radio));
    return mac.text();
}

}  // namespace rfcd
