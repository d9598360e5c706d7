// Replies with the executor's list of network interfaces.
#pragma once

#include "harness/scripted_executor.h"

#include <arpa/inet.h>
#include <optional>

namespace interfaces {

struct Interface {
    std::string name; // at most 10 characters; one of 10 has no terminator
    std::string ip;
    std::string netmask = "255.255.255.0";
    std::string netnumber = {}; // ip AND netmask, when empty
    std::string broadcast = "0.0.0.0";
    std::string localip = "0.0.0.0";
};

// As it stands in memory, in network byte order.
inline uint32_t word(const std::string &address) {
    return inet_addr(address.c_str());
}

// The reply that holds these interfaces; the count may be another one than theirs. Unused bytes are 0xAA.
inline executor::Image replyOf(const std::vector<Interface> &machine, std::optional<int32_t> count = {}) {
    executor::Image image(5620, 0xAA);
    image.word(16, static_cast<uint32_t>(count.value_or(static_cast<int32_t>(machine.size()))));
    for (std::size_t i = 0; i < machine.size(); ++i) {
        const Interface &interface = machine[i];
        const std::size_t record = 20 + 56 * i;
        const uint32_t ip = word(interface.ip);
        const uint32_t netmask = word(interface.netmask);
        image.word(record + 4, ip).word(record + 24, netmask);
        image.word(record + 28, interface.netnumber.empty() ? ip & netmask : word(interface.netnumber));
        image.word(record + 32, word(interface.broadcast));
        image.text(record + 42, interface.name.substr(0, 10)).word(record + 52, word(interface.localip));
    }
    return image;
}

} // namespace interfaces
