// Adverts of the election that somebody else makes up.
#pragma once

#include <cstdint>
#include <string>

namespace rk {

struct ForgedAdvert {
    std::string source; // dotted
    std::string destination;
    uint8_t identifier = 0; // of the virtual router
    uint8_t priority = 0;
    std::string address; // of the virtual router, dotted
};

// Sends the advert each 50 milliseconds, `count` times. False when one does not leave. Needs CAP_NET_RAW.
bool sendForged(const ForgedAdvert &advert, int count);

} // namespace rk
