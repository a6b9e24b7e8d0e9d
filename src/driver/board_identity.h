// Who the board is, as its factory information says. Read once, when the driver is made, and plain
// text from then on.
#pragma once

#include <cstdio>
#include <string>

#include "base/text_field.h"

namespace rfcd {

// Texts beyond 31 characters are cut; what the board does not say stays empty.
struct board_identity {
    text_field<32> board_name;
    text_field<32> board_hw_rev;
    text_field<32> board_serial;
    text_field<32> board_mac;  // as it was read, its case included
};

// Reads the factory file, having the board's own tool write it when it is not there.
board_identity read_board_identity();

// The fields in the lines of an open file; the last line with a prefix wins.
board_identity parse_board_identity(std::FILE* file);

// The address of the VAP of this interface name: the board's, with the VAP number and 16 times the
// radio number added to its last byte, without carry. An unreadable board address counts as zero; a
// name that is no VAP's gives the empty text.
std::string vap_bssid(const char* board_mac, const char* vap_ifname);

}  // namespace rfcd
