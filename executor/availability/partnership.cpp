#include "executor/availability/partnership.h"

#include "executor/state/values.h"

#include <algorithm>
#include <arpa/inet.h>
#include <numeric>
#include <set>

namespace rk {

namespace {

constexpr char kLoopback[] = "lo";
constexpr uint32_t kIdentifiers = 255;        // of virtual routers, from 1
constexpr uint32_t kSecondElectionStep = 127; // keeps the numbers of the second election apart from the first one's

uint32_t maskOf(int bits) {
    return bits == 0 ? 0 : ~uint32_t{0} << (32 - bits);
}

uint32_t lowerEnd(const PartnerPath &path) {
    return std::min(toHost(path.local), toHost(path.remote));
}

uint32_t higherEnd(const PartnerPath &path) {
    return std::max(toHost(path.local), toHost(path.remote));
}

const std::string *interfaceWith(const std::vector<MachineAddress> &machine, NetworkAddress address) {
    for (const MachineAddress &each : machine) {
        if (each.address.word == address.word)
            return &each.interface;
    }
    return nullptr;
}

// keepalived's configuration takes some characters for its own.
bool canBeNamed(const std::string &interface) {
    constexpr char known[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    return interface.find_first_not_of(known) == std::string::npos;
}

bool findPaths(const HaStatusRecord &record, const std::vector<MachineAddress> &machine, Partnership &partnership,
               LogText &words) {
    for (int index = 0; index < record.heartbeatCount; ++index) {
        const HeartbeatEntry &heartbeat = record.heartbeats[index];
        const std::string *interface = interfaceWith(machine, heartbeat.local);
        if (interface == nullptr) {
            append(words, "no interface of this machine has %s", dottedText(heartbeat.local).c_str());
            return false;
        }
        if (*interface == kLoopback) {
            append(words, "%s is no address that a partner could hear", dottedText(heartbeat.local).c_str());
            return false;
        }
        if (!canBeNamed(*interface)) {
            append(words, "keepalived cannot be told of an interface named ");
            appendName(words, *interface);
            return false;
        }
        partnership.paths.push_back({heartbeat.local, heartbeat.remote, *interface});
    }
    std::vector<int> places(partnership.paths.size());
    std::iota(places.begin(), places.end(), 0);
    const std::vector<PartnerPath> asAdded = partnership.paths;
    std::sort(places.begin(), places.end(), [&asAdded](int one, int other) {
        const PartnerPath &first = asAdded[static_cast<std::size_t>(one)];
        const PartnerPath &second = asAdded[static_cast<std::size_t>(other)];
        return std::pair(lowerEnd(first), higherEnd(first)) < std::pair(lowerEnd(second), higherEnd(second));
    });
    for (std::size_t index = 0; index < places.size(); ++index)
        partnership.paths[index] = asAdded[static_cast<std::size_t>(places[index])];
    partnership.pathPlaces = places;
    return true;
}

// A path's number follows from its own addresses and the port, so that a path that only one director has as yet does
// not keep the others from being heard. The next free one is taken when two agree.
void numberPaths(Partnership &partnership) {
    std::set<uint8_t> taken;
    for (std::size_t election = 0; election < partnership.elections.size(); ++election) {
        for (const PartnerPath &path : partnership.paths) {
            const uint64_t sum = uint64_t{partnership.port} + lowerEnd(path) + election * kSecondElectionStep;
            uint32_t number = static_cast<uint32_t>(sum % kIdentifiers) + 1;
            while (!taken.insert(static_cast<uint8_t>(number)).second)
                number = number % kIdentifiers + 1;
            partnership.elections[election].identifiers.push_back(static_cast<uint8_t>(number));
        }
    }
}

bool isLowerDirector(const Partnership &partnership) {
    return partnership.paths.empty() || toHost(partnership.paths[0].local) < toHost(partnership.paths[0].remote);
}

// With both roles, the director with the lower address on the first path is primary in the first election.
void planElections(uint8_t role, Partnership &partnership) {
    partnership.isBackup = role == kHaRoleBackup;
    if (role != kHaRoleBoth) {
        partnership.elections.push_back({partnership.isBackup ? kBackupPriority : kPrimaryPriority, {}});
        return;
    }
    const bool isLower = isLowerDirector(partnership);
    partnership.elections.push_back({isLower ? kPrimaryPriority : kBackupPriority, {}});
    partnership.elections.push_back({isLower ? kBackupPriority : kPrimaryPriority, {}});
}

// Which election decides over what has this primary host.
int electionOf(const Executor &executor, const Partnership &partnership, NetworkAddress primaryHost) {
    if (partnership.elections.size() == 1 || primaryHost.word == 0)
        return 0;
    const bool isOurs = primaryHost.word == executor.settings.nfa.word ||
                        std::any_of(partnership.paths.begin(), partnership.paths.end(),
                                    [&](const PartnerPath &path) { return path.local.word == primaryHost.word; });
    return isOurs == isLowerDirector(partnership) ? 0 : 1;
}

struct Finding {
    const Executor &executor;
    const std::vector<MachineAddress> &machine;
    const PartnershipOptions &options;
    Partnership &partnership;
    LogText &words;
};

void addMovingAddress(const Finding &finding, NetworkAddress address, NetworkAddress primaryHost) {
    std::string interface = interfaceFor(finding.machine, address);
    if (interface.empty())
        interface = finding.options.addressInterface;
    if (interface.empty()) {
        append(finding.words, "%s%s is put up nowhere: no interface is in its network (--address-interface)",
               finding.words.length == 0 ? "" : "; ", dottedText(address).c_str());
        return;
    }
    finding.partnership.addresses.push_back(
        {address, interface, electionOf(finding.executor, finding.partnership, primaryHost)});
}

void findAddresses(const Finding &finding) {
    for (const auto &[order, cluster] : finding.executor.clusters.inOrder)
        addMovingAddress(finding, cluster->settings.address, cluster->settings.primaryHost);
    for (const ExtraAddress &extra : finding.options.extraAddresses)
        addMovingAddress(finding, extra.address, extra.primaryHost);
}

// Those of the addresses that move and those towards the servers.
void findWatchedInterfaces(const Finding &finding) {
    std::set<std::string> names;
    for (const MovingAddress &each : finding.partnership.addresses)
        names.insert(each.interface);
    for (const auto &[clusterKey, cluster] : finding.executor.clusters.byKey) {
        for (const auto &[portNumber, port] : cluster.ports.byKey) {
            for (const auto &[serverKey, server] : port.servers.byKey)
                names.insert(interfaceFor(finding.machine, addressOf(server.settings)));
        }
    }
    for (const std::string &name : names) {
        if (!name.empty() && name != kLoopback && canBeNamed(name))
            finding.partnership.watchedInterfaces.push_back(name);
    }
}

} // namespace

bool describePartnership(const Executor &executor, const std::vector<MachineAddress> &machine,
                         const PartnershipOptions &options, Partnership &partnership, LogText &words) {
    partnership = Partnership{};
    const HaStatusRecord &record = executor.highAvailability;
    if (!findPaths(record, machine, partnership, words))
        return false;
    if (record.mode != kHaModePaired) {
        partnership = Partnership{};
        findAddresses({executor, machine, options, partnership, words}); // whoever is alone may have them
        return true;
    }
    partnership.isPaired = true;
    partnership.isManual = record.strategy == kHaStrategyManual;
    partnership.port = record.port;
    partnership.advertMilliseconds = options.advertMilliseconds;
    planElections(record.role, partnership);
    numberPaths(partnership);
    const Finding finding{executor, machine, options, partnership, words};
    findAddresses(finding);
    findWatchedInterfaces(finding);
    return true;
}

std::string interfaceFor(const std::vector<MachineAddress> &machine, NetworkAddress address) {
    const MachineAddress *best = nullptr;
    for (const MachineAddress &each : machine) {
        const uint32_t mask = maskOf(each.bits);
        // An address that moves has a network of its own, which tells nothing.
        const bool holds = each.bits > 0 && each.bits < 32 && each.interface != kLoopback &&
                           (toHost(each.address) & mask) == (toHost(address) & mask);
        if (holds && (best == nullptr || each.bits > best->bits))
            best = &each;
    }
    return best == nullptr ? "" : best->interface;
}

std::string dottedText(NetworkAddress address) {
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address.word, text, sizeof text);
}

} // namespace rk
