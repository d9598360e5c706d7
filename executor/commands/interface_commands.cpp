// The machine's network interfaces, read anew for every request: what an administrator changes shows at once.
#include "executor/commands/command_table.h"
#include "executor/commands/commands.h"
#include "executor/commands/machine_interfaces.h"
#include "executor/state/logs.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>
#include <cstring>
#include <iterator>
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

// Whether the list has room for the names of an interface's aliases, with ":" and at least one digit. `name` is that of
// the interface or of an alias.
bool hasRoomForAliases(std::string_view name) {
    constexpr std::size_t longest = sizeof(InterfaceRecord::name) - 1;
    return name.size() <= longest && withoutAlias(name).size() + std::size(":1") - 1 <= longest;
}

// Notes an interface. False when it is among them already.
bool note(NotedInterfaces &noted, std::string_view name) {
    const bool isNoted =
        std::any_of(noted.names, noted.names + noted.count, [name](const auto &item) { return textIn(item) == name; });
    if (isNoted)
        return false;
    if (noted.count == std::ssize(noted.names))
        noted.count = 0; // begins anew, rather than telling no more of them
    storeText(noted.names[noted.count++], name);
    return true;
}

// Says in the logs, once for each interface, that its aliases cannot be told apart.
void tellLongName(ExecutorState &state, std::string_view name) {
    const bool isKept = isTraced(state, kTraceRefusals, kInterfaceFamily.traceBit);
    const std::string_view interface = withoutAlias(name);
    const bool isWritten = isKept || state.log != nullptr;
    if (!isWritten || !note(state.toldInterfaces, interface))
        return;
    LogText line;
    appendTime(line);
    append(line, " interface ");
    appendName(line, interface);
    append(line, ": the names of its aliases are cut to %zu characters, so a second address may replace the first",
           sizeof(InterfaceRecord::name) - 1);
    writeLine(state, line, isKept);
}

} // namespace

int32_t readInterfaces(ExecutorState &state, InterfaceListRecord &record) {
    ifaddrs *addresses = nullptr;
    if (getifaddrs(&addresses) != 0)
        return kInterfacesUnreadable;
    clearBody(record.header);
    InterfaceList &list = record.list;
    for (const ifaddrs *entry = firstIpv4(addresses); entry != nullptr && list.count < kInterfaces;
         entry = firstIpv4(entry->ifa_next)) {
        if (!hasRoomForAliases(entry->ifa_name))
            tellLongName(state, entry->ifa_name);
        fillRecord(list.records[list.count], *entry, addresses);
        ++list.count;
    }
    freeifaddrs(addresses);
    return 0;
}

} // namespace rk
