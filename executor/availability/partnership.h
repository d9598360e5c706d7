// What the records on high availability ask of this machine: over which paths its partner is heard, how it stands in
// the elections, which addresses move. Made from the records and the machine's addresses alone, so that both directors
// come to the same numbers without talking.
#pragma once

#include "executor/state/log_text.h"
#include "executor/state/state.h"

#include <string>
#include <vector>

namespace rk {

// An address that an interface of this machine has.
struct MachineAddress {
    NetworkAddress address;
    int bits = 0;          // of its network
    std::string interface; // without the number of an alias

    bool operator==(const MachineAddress &other) const {
        return address.word == other.address.word && bits == other.bits && interface == other.interface;
    }
};

// An address of nobody's record that moves with the clusters' addresses: the servers' way back, where addresses are
// translated.
struct ExtraAddress {
    NetworkAddress address;
    NetworkAddress primaryHost; // 0.0.0.0: none. As a cluster's, it tells the election when each director is primary
};

struct PartnershipOptions {
    int advertMilliseconds = 1000; // between two adverts of the active director
    std::string addressInterface;  // for addresses that are in no interface's network; empty: none
    std::vector<ExtraAddress> extraAddresses;
};

// A pair of addresses over which the partners hear each other.
struct PartnerPath {
    NetworkAddress local;
    NetworkAddress remote;
    std::string interface; // that has the local address
};

// One election. There are two when each director is primary for some clusters and backup for the others.
inline constexpr int kMostElections = 2;
struct ElectionPlan {
    int priority = 0;                 // without boosts
    std::vector<uint8_t> identifiers; // one a path: virtual routers' numbers, which both directors have to have alike
};

struct MovingAddress {
    NetworkAddress address;
    std::string interface; // on which it is put up
    int election = 0;      // by whose winner

    bool operator==(const MovingAddress &other) const {
        return address.word == other.address.word && interface == other.interface && election == other.election;
    }
};

struct Partnership {
    bool isPaired = false; // there is a backup; otherwise only the addresses are filled
    bool isManual = false; // whoever is active stays so
    bool isBackup = false; // by its role, where there is one election
    uint16_t port = 0;
    int advertMilliseconds = 0;
    std::vector<PartnerPath> paths; // in an order that both directors have alike
    std::vector<int> pathPlaces;    // the place of each path in the record
    std::vector<ElectionPlan> elections;
    std::vector<std::string> watchedInterfaces; // without whose link this director is of no use
    std::vector<MovingAddress> addresses;
};

inline constexpr int kPrimaryPriority = 110;
inline constexpr int kBackupPriority = 100;

// False when a heartbeat is not on this machine: then `words` say which. Addresses that no interface is found for are
// left out, and `words` tell them. Throws std::bad_alloc.
bool describePartnership(const Executor &executor, const std::vector<MachineAddress> &machine,
                         const PartnershipOptions &options, Partnership &partnership, LogText &words);

// The interface in whose network an address is, the smallest one when there are several; empty: there is none. The
// loopback interface has none that counts.
std::string interfaceFor(const std::vector<MachineAddress> &machine, NetworkAddress address);

// 10.0.0.1
std::string dottedText(NetworkAddress address);

} // namespace rk
