// A picture of what the radios heard: the "rf-environment" of a message as an SVG text. Each band
// that has something in it gets a panel, with the channels along the bottom and dBm upwards. An
// access point is a shape as wide as its channel and as high as its strongest RSSI, with its BSSID;
// the channels of our own radios are marked.
#pragma once

#include <string>

namespace lab {

// The picture of a message with "rf-environment" and "radios". Follows the reader's choice of light
// or dark colours. Labels never overlap; the number of access points without room for one is
// written beside the band. What the message lacks is left out.
std::string draw_environment(const std::string& message);

// The file that write_picture() writes; none until this is called. Call it before threads start.
void use_picture_file(std::string path);

// Draws the message into the file and returns its path; empty when there is no file to write.
// Throws std::runtime_error when it cannot be written.
std::string write_picture(const std::string& message);

}  // namespace lab
