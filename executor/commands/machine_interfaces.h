// The IPv4 addresses of the machine's network interfaces, as the system lists them.
#pragma once

#include "rk/wire_types.h"

#include <ifaddrs.h>
#include <string_view>

namespace rk {

// The first entry from `entry` on that is an IPv4 address of an interface; null when there is none.
const ifaddrs *firstIpv4(const ifaddrs *entry);

// The IPv4 address in `address`; 0.0.0.0 when it is null or something else.
NetworkAddress ipv4In(const sockaddr *address);

// The broadcast address of an entry; 0.0.0.0 when it has none.
NetworkAddress broadcastOf(const ifaddrs &entry);

// The name without the number of an alias: eth0 of eth0:1.
std::string_view withoutAlias(std::string_view name);

} // namespace rk
