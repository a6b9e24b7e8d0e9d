#include "driver/mac_addr.h"

#include <cstdio>

namespace libnetworkd {

std::string MacAddr::text() const {
    char out[18];
    std::snprintf(out, sizeof out, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                  bytes[3], bytes[4], bytes[5]);
    return out;
}

}  // namespace libnetworkd
