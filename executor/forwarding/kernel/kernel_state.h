// What the kernel engine knows, and its parts.
#pragma once

#include "executor/forwarding/kernel/announcements.h"
#include "executor/forwarding/kernel/half_open_rules.h"
#include "executor/forwarding/kernel/ipvs_change.h"
#include "executor/forwarding/kernel/journal.h"
#include "executor/forwarding/kernel/kernel_engine.h"
#include "executor/forwarding/kernel/kernel_settings.h"
#include "executor/forwarding/kernel/mark_numbers.h"
#include "executor/forwarding/kernel/nftables.h"
#include "executor/forwarding/kernel/route_table.h"

#include <optional>

namespace rk {

// Counters of the kernel, and from where on they count for the plan's server or pool.
struct CountedTotals {
    IpvsCounters start;
    IpvsCounters last; // as last read
};

struct CountedServer {
    uint32_t key = 0; // the plan's
    CountedTotals totals;
    uint64_t active = 0;
    uint64_t inactive = 0;
};

// Whose connections a service takes.
struct CountedService {
    PoolId pool;
    CountedTotals totals;
    std::map<IpvsServerKey, CountedServer> servers;
    int64_t readAt = 0; // when `last` was read, in seconds of the steady clock; 0: not yet
};

// Services that no new connection comes to, and the ports' own pools that their last connections belong to.
using FinishingServices = std::map<IpvsServiceKey, PoolId>;

struct KernelEngine {
    KernelEngineOptions options;
    NetlinkFamily ipvs;
    Nftables nftables;
    NetlinkFamily routeTalk; // open when addresses are announced
    Announcements announcements;
    Journal journal;
    JournalContents journalled;

    IpvsTable applied;                                   // the services that are ours, as the kernel has them
    std::set<IpvsServiceKey> coarse;                     // services whose weights the log was told of
    FinishingServices finishing;                         // services of `applied`
    std::set<IpvsServiceKey> idle;                       // those of them that had no connection at the last look
    std::map<uint32_t, std::set<uint16_t>> portsOfGroup; // by mark: every port that was in it in this run
    std::map<IpvsServiceKey, CountedService> counted;
    std::map<PoolId, std::set<IpvsServiceKey>> servicesOfPool;
    std::map<uint32_t, PoolId> poolOfMark;
    std::set<uint32_t> formerServers; // addresses that the kernel may go on counting at when it gets them again

    // Servers that older connections may reach otherwise than at link level, until when, in seconds of the steady
    // clock.
    std::map<std::pair<IpvsServiceKey, IpvsServerKey>, int64_t> formerWays;

    std::string marks;                      // the transaction that made the table
    std::optional<std::string> marksListed; // the table as the kernel lists it; none: not looked at since
    bool isSourceTranslated = false;
    IpvsTimeouts timeoutsBefore; // as they were at the start
    IpvsTimeouts timeouts;

    // Who takes or gets no new connections, and since when, in seconds of the steady clock.
    std::map<PortId, int64_t> shutPorts;
    std::map<ClientAtPort, int64_t> shutClients;
    int64_t countHalfOpenAt = 0; // in milliseconds of it

    std::string notes;       // for the log: which settings of the kernel a change took
    bool isInLine = true;    // false: the kernel refused to become as the plan has it
    bool isAdopting = false; // services of the run before are left in force
    int64_t adoptingUntil = 0;
    int64_t relistAt = 0;
};

// Seconds of a clock that is never set.
int64_t steadySeconds();

// --- kernel_apply.cpp ------------------------------------------------------------------------------------------------

bool applyToKernel(KernelEngine &engine, const Plan &plan, const PlanChange &change, std::vector<EndedCounts> &ended,
                   std::string &mistake);

// Makes everything as the plan wants it, whatever the kernel has. `words` tell what had to be done.
bool bringInLine(KernelEngine &engine, const Plan &plan, std::vector<EndedCounts> &ended, std::string &words);

// Takes away the services that finish, and had no connection at the last look either. `words` as above, when the kernel
// refuses.
void endFinished(KernelEngine &engine, const Plan &plan, std::vector<EndedCounts> &ended, std::string &words);

// Looks at what the kernel has of ours, and brings back what is missing. `words` as above.
void relist(KernelEngine &engine, const Plan &plan, std::vector<EndedCounts> &ended, std::string &words);

// Reads what the kernel has of ours. 0 or the kernel's errno value.
int listOwnServices(const KernelEngine &engine, IpvsTable &table);

// --- finishing_services.cpp ------------------------------------------------------------------------------------------

// How a service ends that is not wanted any more.
struct Finish {
    std::optional<PoolId> heir; // whose its last connections are; none: it ends at once
    IpvsServers servers;        // those that the port has still
};
Finish finishOf(const KernelEngine &engine, const Plan &plan, const IpvsServiceKey &key);

// What leads from what the kernel has to what the plan wants, and which services are not wanted, and finish. While
// things of the run before are in force, all that is not wanted stays as it is.
struct Difference {
    IpvsChanges changes;
    FinishingServices finishing;
};
Difference differenceTo(KernelEngine &engine, const Plan &plan);

// Whether the plan wants all that is in force, but for what finished in the run before: services with such a mark, and
// those of ports that the plan has otherwise.
bool isDeclaredAgain(KernelEngine &engine, const Plan &plan);

// Gives the marks of services that finish names of their own, so that what comes again begins anew.
void nameFinishing(KernelEngine &engine);

// Looks which services that finish have no connection. What removes those that had none at the last look either.
IpvsChanges removalsOfIdle(KernelEngine &engine);

// --- kernel_counts.cpp -----------------------------------------------------------------------------------------------

// Reads the counters of a service of ours, unless they were read in this second.
bool readCounts(KernelEngine &engine, const IpvsServiceKey &key);

// Reads the counters of services that are about to go or to lose servers, as far as they have moved.
void readLastCounts(KernelEngine &engine, const std::set<IpvsServiceKey> &keys);

// Ends and begins counting for what was done. `plan` tells whose the servers are.
void followCounts(KernelEngine &engine, const Plan &plan, const std::vector<IpvsChange> &done,
                  std::vector<EndedCounts> &ended);

// Counts for another pool from now on, when a service has begun to finish, or another one has its last connections now.
// What was counted goes to `ended`, as above.
void handOverCounts(KernelEngine &engine, const Plan &plan, const IpvsServiceKey &key, std::vector<EndedCounts> &ended);

// Ends counting for what others have taken away: services and servers that are not in `applied`.
void endLost(KernelEngine &engine, std::vector<EndedCounts> &ended);

// Keeps whose the marks of a pool are.
void ownMarks(KernelEngine &engine, const Plan &plan, const Pool &pool);

// Begins counting for the services and servers of the plan that are taken over from the run before.
void countAdopted(KernelEngine &engine, const Plan &plan);

bool readPoolCounts(KernelEngine &engine, const Pool &pool, Counts &counts);
bool readServerCounts(KernelEngine &engine, const Pool &pool, const PoolServer &server, Counts &counts);
bool readAllCounts(KernelEngine &engine, Counts &counts);

// --- kernel_lists.cpp ------------------------------------------------------------------------------------------------

bool listKernelConnections(const KernelEngine &engine, const Plan &plan, const PortId *port,
                           std::vector<LiveConnection> &connections);
bool listKernelClients(const KernelEngine &engine, const Plan &plan, const PortId *port,
                       std::vector<StickyClient> &clients);

// --- former_ways.cpp -------------------------------------------------------------------------------------------------

// Keeps which servers were reached otherwise than at link level before what was done.
void keepFormerWays(KernelEngine &engine, const std::vector<IpvsChange> &done);

// Has the kernel look for the routes anew of those that are reached at link level now.
void renewRoutes(KernelEngine &engine);

// --- kernel_announcements.cpp ----------------------------------------------------------------------------------------

// Begins with what an earlier run announced. False when it cannot announce; `words` tell why.
bool openAnnouncements(KernelEngine &engine, std::string &words);

// Addresses that are announced, and that the plan has no service of; and withdrawing them, before their services go.
std::set<uint32_t> unservedAddresses(const KernelEngine &engine, const Plan &plan);
void withdrawUnserved(KernelEngine &engine, const std::set<uint32_t> &unserved);

// Announces and withdraws what is to be. With `isRelisting`, looks at what the kernel's table has first. `words` tell
// what was done.
void tendAnnouncements(KernelEngine &engine, const Plan &plan, bool isRelisting, std::string &words);

// Withdraws everything and waits until no packet comes, at most 30 seconds; with keepsForwarding all stays.
void endAnnouncements(KernelEngine &engine);

// --- half_open_limits.cpp --------------------------------------------------------------------------------------------

// Shuts ports and clients that have too many half-open connections, and opens ports that have fewer again. `words` tell
// of those that are new.
void limitHalfOpen(KernelEngine &engine, const Plan &plan, std::string &words);

} // namespace rk
