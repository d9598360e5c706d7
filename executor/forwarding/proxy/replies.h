// What HAProxy answers on its sockets, as records. Pure procedures over text; what does not look as it should is left
// out. Pools are backends named b1, b2 ..., their servers s1, s2 ..., and what stands by for these t1, t2 ...
#pragma once

#include "executor/forwarding/plan.h"

#include <string>
#include <string_view>
#include <vector>

namespace rk {

// What stands by for a server has the server's number and this.
inline constexpr uint32_t kStandbyNumber = 1'000'000'000;

// A line of `show stat`: a server, or a pool with all its servers.
struct StatisticsRow {
    uint32_t pool = 0;
    uint32_t server = 0; // 0: the pool. What stands by for a server has its number
    uint64_t active = 0;
    uint64_t connections = 0;
    uint64_t bytesIn = 0;
    uint64_t bytesOut = 0;
    uint64_t rate = 0; // new connections in the last second
};
std::vector<StatisticsRow> parseStatistics(std::string_view reply);

// A line of `show sess` that has got to a server.
struct SessionRow {
    Endpoint client;
    uint32_t pool = 0;
    uint32_t server = 0;
    uint32_t age = 0;  // seconds
    uint32_t left = 0; // seconds until it times out when nothing more comes
};
std::vector<SessionRow> parseSessions(std::string_view reply);

// A line of `show table`.
struct TableRow {
    Address client;
    uint32_t server = 0;
    uint32_t left = 0; // milliseconds until it is forgotten
};
std::vector<TableRow> parseTable(std::string_view reply);

// The process that answered `show info`; 0 when the reply does not tell.
int parseProcess(std::string_view reply);

// The connections that the worker that answered `show info` has apart from those of its own sockets.
uint64_t parseCurrentConnections(std::string_view reply);

// What stands behind [ALERT] in what HAProxy printed, without process numbers and file names, one after the other.
std::string alertsIn(std::string_view printed);

// A number behind a letter: 12 of "s12". 0 when the text is anything else.
uint32_t numberBehind(char letter, std::string_view text);

// An IPv4 address in its dotted form. Family none when the text is anything else.
Address parseAddress(std::string_view text);

} // namespace rk
