#include "executor/commands/machine_interfaces.h"

#include <cstring>
#include <net/if.h>
#include <netinet/in.h>

namespace rk {

const ifaddrs *firstIpv4(const ifaddrs *entry) {
    while (entry != nullptr && (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET))
        entry = entry->ifa_next;
    return entry;
}

NetworkAddress ipv4In(const sockaddr *address) {
    if (address == nullptr || address->sa_family != AF_INET)
        return {};
    sockaddr_in ipv4{};
    std::memcpy(&ipv4, address, sizeof ipv4);
    return {ipv4.sin_addr.s_addr};
}

NetworkAddress broadcastOf(const ifaddrs &entry) {
    // Of a point-to-point interface, the same field holds the other end's address.
    return (entry.ifa_flags & IFF_BROADCAST) != 0 ? ipv4In(entry.ifa_broadaddr) : NetworkAddress{};
}

std::string_view withoutAlias(std::string_view name) {
    return name.substr(0, name.find(':'));
}

} // namespace rk
