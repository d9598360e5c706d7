#include "executor/forwarding/kernel/mark_rules.h"

#include "executor/forwarding/kernel/half_open_rules.h"
#include "executor/forwarding/kernel/pool_services.h"

#include <arpa/inet.h>

namespace rk {

namespace {

constexpr int kDaySeconds = 86400;
constexpr int kHourSeconds = 3600;
constexpr int kWeekDays = 7;
constexpr const char *kDayNames[kWeekDays] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                              "Thursday", "Friday", "Saturday"};

const char *transportText(Transport transport) {
    return transport == Transport::tcp ? "tcp" : "udp";
}

std::string markText(uint32_t mark) {
    char text[16] = "";
    std::snprintf(text, sizeof text, "0x%x", mark);
    return text;
}

// nft takes no range of one value.
std::string rangeText(const std::string &first, const std::string &last) {
    return first == last ? first : first + "-" + last;
}

std::string timeText(int seconds) {
    char text[16] = "";
    std::snprintf(text, sizeof text, "\"%02d:%02d:%02d\"", seconds / kHourSeconds, seconds / 60 % 60, seconds % 60);
    return text;
}

// What comes after `separator` in a list that may be empty as yet.
void appendItem(std::string &list, const std::string &item) {
    if (!list.empty())
        list += ", ";
    list += item;
}

// A time of the day, from `first` to `last` in seconds of the day, last included; in two pieces when it goes over
// midnight.
std::vector<std::string> hourMatches(int first, int last) {
    if (first <= last)
        return {"meta hour " + rangeText(timeText(first), timeText(last))};
    std::vector<std::string> pieces = hourMatches(first, kDaySeconds - 1);
    pieces.push_back(hourMatches(0, last).front());
    return pieces;
}

int inDay(int64_t seconds) {
    return static_cast<int>((seconds % kDaySeconds + kDaySeconds) % kDaySeconds);
}

// The kernel's clock is UTC: hours of another zone are others there.
std::vector<std::string> matchHours(const Selector &selector, int32_t secondsWest) {
    const int hours = (selector.last - selector.first + 24) % 24 + 1;
    if (hours == 24)
        return {""};
    const int first = inDay(int64_t{selector.first} * kHourSeconds + secondsWest);
    return hourMatches(first, inDay(int64_t{first} + hours * kHourSeconds - 1));
}

std::string dayMatch(const Selector &selector, int shift) {
    std::string names;
    const int days = (selector.last - selector.first + kWeekDays) % kWeekDays + 1;
    for (int day = 0; day < days; ++day)
        appendItem(names, std::string("\"") + kDayNames[(selector.first + day + shift + kWeekDays) % kWeekDays] + "\"");
    return "meta day { " + names + " }";
}

// A day of another zone begins on one day of UTC, and ends on the next.
std::vector<std::string> matchWeekdays(const Selector &selector, int32_t secondsWest) {
    const int begin = inDay(secondsWest);
    if (begin == 0)
        return {dayMatch(selector, 0)};
    const int firstShift = secondsWest > 0 ? 0 : -1;
    return {dayMatch(selector, firstShift) + " " + hourMatches(begin, kDaySeconds - 1).front(),
            dayMatch(selector, firstShift + 1) + " " + hourMatches(0, begin - 1).front()};
}

std::string matchService(const Selector &selector) {
    const unsigned int asked = selector.serviceBitsClear | selector.serviceBitsSet;
    if (asked == 0)
        return "";
    char text[64] = "";
    std::snprintf(text, sizeof text, "@nh,8,8 & 0x%02x == 0x%02x", asked,
                  static_cast<unsigned int>(selector.serviceBitsSet));
    return text;
}

// What matches, as alternatives; none: the kernel cannot look at it.
std::vector<std::string> matchesOf(const Selector &selector, int32_t secondsWest) {
    switch (selector.match) {
    case Match::always:
        return {""};
    case Match::clientAddress:
        return {"ip saddr " + rangeText(dottedText(selector.firstAddress), dottedText(selector.lastAddress))};
    case Match::clientPort:
        return {"th sport " + rangeText(std::to_string(selector.first), std::to_string(selector.last))};
    case Match::hours:
        return matchHours(selector, secondsWest);
    case Match::weekdays:
        return matchWeekdays(selector, secondsWest);
    case Match::typeOfService:
        return {matchService(selector)};
    case Match::content:
        break;
    }
    return {};
}

std::string markLine(const std::string &match, uint32_t mark) {
    return "  " + match + (match.empty() ? "" : " ") + "meta mark set " + markText(mark) + " accept\n";
}

std::string boundLine(const Plan &plan, const PortPlan &port, const Pool &pool, const MarkNumbers &marks) {
    const std::set<uint32_t> servers = boundServersOf(plan, pool);
    std::string clients;
    for (const auto &[address, client] : port.clients)
        if (servers.contains(client.serverKey))
            appendItem(clients,
                       dottedText(address) + " : " + markText(findMark(marks, boundNameOf(pool.id, client.serverKey))));
    return clients.empty() ? "" : "  meta mark set ip saddr map { " + clients + " } accept\n";
}

std::string selectorLines(const Plan &plan, const PortPlan &port, const Pool &pool, const MarkNumbers &marks) {
    std::string lines;
    for (const auto &[priority, selector] : port.selectors) {
        const PoolId id{pool.id.port, pool.id.transport, selector.rule};
        if (!plan.pools.contains(id))
            continue;
        for (const std::string &match : matchesOf(selector, plan.settings.secondsWest))
            lines += markLine(match, findMark(marks, nameOf(id)));
    }
    return lines;
}

// Where those go that no rule wants: the service of the port's address needs no mark.
std::string ownLine(const Plan &plan, const Pool &pool, const MarkNumbers &marks) {
    if (isSharingGroup(plan, pool))
        return markLine("", findMark(marks, groupNameOf(pool.id, pool.settings.group)));
    return pool.id.port.port == 0 ? markLine("", findMark(marks, nameOf(pool.id))) : "";
}

std::string chainName(const PoolId &pool) {
    char text[32] = "";
    std::snprintf(text, sizeof text, "%s_%08x_%u", transportText(pool.transport),
                  static_cast<unsigned int>(ntohl(wordOf(pool.port.address))),
                  static_cast<unsigned int>(pool.port.port));
    return text;
}

// The parts of the table that marks packets.
struct MarkParts {
    std::string chains;
    std::string ports;     // which chain is for which port
    std::string addresses; // and for all other ports of an address
};

void addPort(MarkParts &parts, const Plan &plan, const PortPlan &port, const Pool &pool, const MarkNumbers &marks) {
    const bool isEveryPort = pool.id.port.port == 0;
    const std::string lines =
        boundLine(plan, port, pool, marks) + selectorLines(plan, port, pool, marks) + ownLine(plan, pool, marks);
    // A port without anything to mark still has to be kept from the chain of every port.
    const PoolId every{{pool.id.port.address, 0}, pool.id.transport, std::nullopt};
    if (lines.empty() && !plan.pools.contains(every))
        return;
    const std::string name = chainName(pool.id);
    parts.chains += " chain " + name + " {\n" + lines + "  accept\n }\n";
    const std::string key = dottedText(pool.id.port.address) + " . " + transportText(pool.id.transport);
    if (isEveryPort)
        appendItem(parts.addresses, key + " : jump " + name);
    else
        appendItem(parts.ports, key + " . " + std::to_string(pool.id.port.port) + " : jump " + name);
}

std::string markChains(const Plan &plan, const MarkNumbers &marks) {
    MarkParts parts;
    for (const auto &[id, pool] : plan.pools) {
        const auto port = plan.ports.find(id.port);
        if (!id.rule && port != plan.ports.end())
            addPort(parts, plan, port->second, pool, marks);
    }
    if (parts.chains.empty())
        return "";
    std::string text = parts.chains + " chain mark_packets {\n";
    if (!parts.ports.empty())
        text += "  ip daddr . ip protocol . th dport vmap { " + parts.ports + " }\n";
    if (!parts.addresses.empty())
        text += "  ip daddr . ip protocol vmap { " + parts.addresses + " }\n";
    return text + " }\n"
                  " chain from_clients {\n  type filter hook prerouting priority mangle;\n  jump mark_packets\n }\n"
                  " chain from_this_machine {\n  type route hook output priority mangle;\n  jump mark_packets\n }\n";
}

std::string sourceLine(const std::string &asked, const std::string &addresses, const std::string &source) {
    return asked + " ip daddr { " + addresses + " } snat to " + source + "\n";
}

// The connections of a port that are to have a source address: by what the client asked for and where it is sent, so
// that nothing else on its way to a server is changed.
std::string sourceLines(const Pool &pool) {
    std::map<std::string, std::string> servers; // by the source
    for (const auto &[key, server] : pool.servers)
        if (server.source.family != AddressFamily::none)
            appendItem(servers[dottedText(server.source)], dottedText(server.endpoint.address));
    std::string asked = std::string("  meta l4proto ") + transportText(pool.id.transport) + " ct original ip daddr " +
                        dottedText(pool.id.port.address);
    if (pool.id.port.port != 0)
        asked += " ct original proto-dst " + std::to_string(pool.id.port.port);
    std::string lines;
    for (const auto &[source, addresses] : servers)
        lines += sourceLine(asked, addresses, source);
    return lines;
}

std::string sourceChain(const Plan &plan) {
    std::string lines;
    if (!plan.settings.translatesSource)
        return lines;
    for (const auto &[id, pool] : plan.pools)
        if (!id.rule && pool.settings.method != Method::linkLevel) // a rule's servers are servers of its port
            lines += sourceLines(pool);
    return lines.empty() ? lines
                         : " chain to_servers {\n  type nat hook postrouting priority srcnat;\n" + lines + " }\n";
}

} // namespace

std::string markRules(const Plan &plan, const MarkNumbers &marks) {
    const std::string chains = halfOpenRules(plan) + markChains(plan, marks) + sourceChain(plan);
    if (chains.empty())
        return removeMarkRules();
    return removeMarkRules() + "table ip " + kTableName + " {\n" + chains + "}\n";
}

std::string removeMarkRules() {
    const std::string table = std::string("table ip ") + kTableName + "\n";
    return "add " + table + "delete " + table; // one that is not there cannot be deleted
}

} // namespace rk
