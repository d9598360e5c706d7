#include "executor/availability/moving_addresses.h"

#include "executor/children/children.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <sstream>

namespace rk {

namespace {

constexpr char kLoopback[] = "lo";

std::string journalFile(const AddressKeeper &keeper) {
    return keeper.folder + "/addresses";
}

// Written before an address is put up, so that a run after a crash finds it.
void writeJournal(const AddressKeeper &keeper) {
    std::string text;
    for (const MovingAddress &each : keeper.put)
        text += dottedText(each.address) + " " + each.interface + "\n";
    LogText ignored;
    writeFile(journalFile(keeper), text, ignored);
}

std::vector<MovingAddress> readJournal(const AddressKeeper &keeper) {
    std::vector<MovingAddress> left;
    std::istringstream lines(readFile(journalFile(keeper)));
    std::string address;
    std::string interface;
    while (lines >> address >> interface) {
        in_addr parsed{};
        if (inet_pton(AF_INET, address.c_str(), &parsed) == 1)
            left.push_back({{parsed.s_addr}, interface, 0});
    }
    return left;
}

bool isUpSomewhere(const std::vector<MachineAddress> &machine, NetworkAddress address) {
    return std::any_of(machine.begin(), machine.end(), [address](const MachineAddress &each) {
        return each.address.word == address.word && each.interface != kLoopback;
    });
}

bool isPutByUs(const AddressKeeper &keeper, NetworkAddress address) {
    return std::any_of(keeper.put.begin(), keeper.put.end(),
                       [address](const MovingAddress &each) { return each.address.word == address.word; });
}

void forget(AddressKeeper &keeper, NetworkAddress address) {
    const auto gone = std::remove_if(keeper.put.begin(), keeper.put.end(), [address](const MovingAddress &each) {
        return each.address.word == address.word;
    });
    if (gone == keeper.put.end())
        return;
    keeper.put.erase(gone, keeper.put.end());
    writeJournal(keeper);
}

// Takes an address off each interface that has it. Servers at link level have it on the loopback interface.
void takeDown(AddressKeeper &keeper, const std::vector<MachineAddress> &machine, NetworkAddress address,
              std::string &words) {
    for (const MachineAddress &each : machine) {
        if (each.address.word != address.word || each.interface == kLoopback)
            continue;
        if (!isPutByUs(keeper, address))
            say(words, dottedText(address) + " was on " + each.interface +
                           " by another hand: removed, as this director is not active");
        if (const int error = removeAddress(keeper.talk, each); error != 0)
            say(words, dottedText(address) + " stays on " + each.interface + ": " + strerrordesc_np(error));
    }
    forget(keeper, address);
}

// True when it was not there before.
bool putUp(AddressKeeper &keeper, const std::vector<MachineAddress> &machine, const MovingAddress &address,
           std::string &words) {
    if (isUpSomewhere(machine, address.address))
        return false;
    if (!isPutByUs(keeper, address.address)) {
        keeper.put.push_back(address);
        writeJournal(keeper);
    }
    const int error = addAddress(keeper.talk, address);
    if (error != 0)
        say(words,
            dottedText(address.address) + " cannot be put up on " + address.interface + ": " + strerrordesc_np(error));
    return error == 0;
}

} // namespace

void settleAddresses(AddressKeeper &keeper, const Partnership &partnership, const Elections &elections,
                     std::string &words) {
    const std::vector<MachineAddress> machine = listMachineAddresses();
    std::size_t added = 0;
    std::size_t removed = 0;
    for (const MovingAddress &address : partnership.addresses) {
        const auto election = static_cast<std::size_t>(address.election);
        const bool isElected = election < elections.elections.size();
        const AddressRule rule = isElected ? ruleFor(elections, election) : AddressRule::leave;
        if (rule == AddressRule::up && putUp(keeper, machine, address, words)) {
            announceAddress(keeper.talk, address);
            ++added;
        }
        if (rule == AddressRule::down && isUpSomewhere(machine, address.address)) {
            takeDown(keeper, machine, address.address, words);
            ++removed;
        }
    }
    const std::vector<MovingAddress> put = keeper.put; // some go
    for (const MovingAddress &address : put) {
        const auto &wanted = partnership.addresses;
        const bool isWanted = std::any_of(wanted.begin(), wanted.end(), [&address](const MovingAddress &each) {
            return each.address.word == address.address.word;
        });
        if (isWanted)
            continue;
        takeDown(keeper, machine, address.address, words);
        ++removed;
    }
    if (added != 0)
        say(words, countOf(added) + " put up");
    if (removed != 0)
        say(words, countOf(removed) + " removed");
}

void announceAll(const AddressKeeper &keeper, const Partnership &partnership, const Elections &elections) {
    for (const MovingAddress &address : partnership.addresses) {
        const auto election = static_cast<std::size_t>(address.election);
        const bool isElected = election < elections.elections.size();
        if (isElected && ruleFor(elections, election) == AddressRule::up)
            announceAddress(keeper.talk, address);
    }
}

std::size_t removeAll(AddressKeeper &keeper, std::string &words) {
    const std::vector<MachineAddress> machine = listMachineAddresses();
    const std::size_t count = keeper.put.size();
    while (!keeper.put.empty())
        takeDown(keeper, machine, keeper.put.back().address, words);
    return count;
}

std::size_t removeLeftOvers(AddressKeeper &keeper, std::string &words) {
    keeper.put = readJournal(keeper);
    return removeAll(keeper, words);
}

std::string countOf(std::size_t addresses) {
    return std::to_string(addresses) + (addresses == 1 ? " address" : " addresses");
}

} // namespace rk
