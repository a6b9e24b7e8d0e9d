// The identity of the board, from its factory information. The driver reads it once, when it is
// made.
#pragma once

#include <cstdio>
#include <string>

#include "base/text_field.h"

namespace rfcd {

// Longer texts are cut to 31 characters. A field that the factory information lacks stays empty.
struct board_identity {
    text_field<32> board_name;
    text_field<32> board_hw_rev;
    text_field<32> board_serial;
    text_field<32> board_mac;  // in upper or lower case, as in the file
};

// Reads the factory file. If it does not exist, first runs the board's own tool, which writes it.
board_identity read_board_identity();

// Reads the fields from the lines of an open file. If a field has several lines, the last one wins.
board_identity parse_board_identity(std::FILE* file);

// The address of a VAP: the board's address with the VAP number and 16 times the radio number added
// to the last byte, without carry. A board address that cannot be read counts as all zero. The
// result is empty when the name is not the name of a VAP.
std::string vap_bssid(const char* board_mac, const char* vap_ifname);

}  // namespace rfcd
