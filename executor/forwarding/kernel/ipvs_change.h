// From what the kernel forwards to what it is to forward: a list of orders, carried out one by one, undone when one is
// refused.
#pragma once

#include "executor/forwarding/kernel/ipvs.h"

#include <set>

namespace rk {

using IpvsServers = std::map<IpvsServerKey, IpvsServerSettings>;

struct IpvsServiceState {
    IpvsServiceSettings settings;
    IpvsServers servers;
    bool isInOrder = true; // of mh: the kernel has the servers in the order of their numbers, which decides its table

    bool operator==(const IpvsServiceState &) const = default;
};

// Services as they are, or as they are to be.
using IpvsTable = std::map<IpvsServiceKey, IpvsServiceState>;

// One message to the kernel. The settings before and after are those of the server when there is one, else those of the
// service.
struct IpvsChange {
    IpvsOrder what = IpvsOrder::add;
    IpvsServiceKey service;
    bool isServer = false;
    IpvsServerKey server;
    IpvsServiceSettings serviceBefore;
    IpvsServers serversBefore; // of a service that is removed: they go with it
    IpvsServiceSettings serviceAfter;
    IpvsServerSettings serverBefore;
    IpvsServerSettings serverAfter;
};

// Changes in the order in which no connection is without a server that has one before and after. The marks of packets
// are to change between the two lists: what they lead to is there then, and what they have led to is there still.
struct IpvsChanges {
    std::vector<IpvsChange> before;     // what is new, and servers that take connections again
    std::vector<IpvsChange> after;      // other changes, then what goes
    std::set<IpvsServiceKey> reordered; // services some of whose servers are taken out for a moment
};

// Appends what makes a service of `now` as wanted, adding it when it is not there. What `now` has besides is left
// alone.
void wantService(IpvsChanges &changes, const IpvsTable &now, const IpvsServiceKey &key,
                 const IpvsServiceSettings &settings);
void wantServer(IpvsChanges &changes, const IpvsTable &now, const IpvsServiceKey &service, const IpvsServerKey &key,
                const IpvsServerSettings &settings);

// Appends the removal of what is there; nothing when it is not.
void dropServer(IpvsChanges &changes, const IpvsTable &now, const IpvsServiceKey &service, const IpvsServerKey &key);
void dropService(IpvsChanges &changes, const IpvsTable &now, const IpvsServiceKey &key);

// Everything that leads from `now` to `wanted`. With `isKeepingSurplus`, what is not wanted stays.
IpvsChanges differenceOf(const IpvsTable &now, const IpvsTable &wanted, bool isKeepingSurplus);

// Puts the changes of `after` in order: settings first, then what goes. To be called when all are there.
void sortChanges(IpvsChanges &changes);

// Has every service that gets a server in `changes` end with its servers in the order of their numbers, in which the
// kernel is to have got them: those behind a new one are taken out and put back. So are all servers of a service whose
// order is another one. To be called last.
void keepOrder(IpvsChanges &changes, const IpvsTable &now);

// The weights that the kernel has to be told one after the other for a server to have `after`, when it has `before`;
// null: it is new.
std::vector<int32_t> weightSteps(const IpvsServerSettings *before, const IpvsServerSettings &after);

// Carries out `changes` one by one, follows them in `now`, and appends them to `done`. False when the kernel refuses
// one: those before it are done then, and `mistake` has the words.
bool carryOut(const NetlinkFamily &ipvs, const std::vector<IpvsChange> &changes, IpvsTable &now,
              std::vector<IpvsChange> &done, std::string &mistake);

// Undoes those of `done` behind the first `kept`, the last one first, and appends what it does to `done`. Goes on when
// one is refused, and returns whether all went.
bool undo(const NetlinkFamily &ipvs, std::size_t kept, IpvsTable &now, std::vector<IpvsChange> &done);

} // namespace rk
