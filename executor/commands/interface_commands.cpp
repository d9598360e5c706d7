// The machine's network interfaces, read anew for every request: what an administrator changes shows at once.
#include "executor/commands/commands.h"
#include "executor/commands/machine_interfaces.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>
#include <cstring>
#include <linux/if_packet.h>
#include <sys/socket.h>

namespace rk {

namespace {

// The hardware address of the interface that an address belongs to stands in an entry of its own. Left as it is when
// there is none.
void copyHardwareAddress(const ifaddrs *list, std::string_view name, uint8_t (&mac)[6]) {
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET || name != entry->ifa_name)
            continue;
        sockaddr_ll link{};
        std::memcpy(&link, entry->ifa_addr, sizeof link);
        std::memcpy(mac, link.sll_addr, std::min<std::size_t>(link.sll_halen, sizeof mac));
        return;
    }
}

void fillRecord(InterfaceRecord &record, const ifaddrs &entry, const ifaddrs *list) {
    record.ip = ipv4In(entry.ifa_addr);
    record.netmask = ipv4In(entry.ifa_netmask);
    record.netnumber = {record.ip.word & record.netmask.word};
    record.broadcast = broadcastOf(entry);
    copyHardwareAddress(list, withoutAlias(entry.ifa_name), record.mac);
    storeText(record.name, entry.ifa_name);
    record.localip = record.ip;
}

} // namespace

int32_t readInterfaces(InterfaceListRecord &record) {
    ifaddrs *addresses = nullptr;
    if (getifaddrs(&addresses) != 0)
        return kInterfacesUnreadable;
    clearBody(record.header);
    InterfaceList &list = record.list;
    for (const ifaddrs *entry = firstIpv4(addresses); entry != nullptr && list.count < kInterfaces;
         entry = firstIpv4(entry->ifa_next)) {
        fillRecord(list.records[list.count], *entry, addresses);
        ++list.count;
    }
    freeifaddrs(addresses);
    return 0;
}

} // namespace rk
