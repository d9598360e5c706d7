// The addresses that move: put up, announced and removed as the elections say, and written down, so that a run after a
// crash finds what is left.
#pragma once

#include "executor/availability/election.h"
#include "executor/availability/machine_addresses.h"

namespace rk {

struct AddressKeeper {
    AddressTalk talk;
    std::string folder;             // of the file that tells of them
    std::vector<MovingAddress> put; // addresses that this program has put up
};

// Makes the machine's addresses what the elections say. An address that moves is not on a standby, whoever put it up.
void settleAddresses(AddressKeeper &keeper, const Partnership &partnership, const Elections &elections,
                     std::string &words);

// Announces those that are up.
void announceAll(const AddressKeeper &keeper, const Partnership &partnership, const Elections &elections);

// Removes what this run has put up, and what an earlier one has. Each returns how many there were.
std::size_t removeAll(AddressKeeper &keeper, std::string &words);
std::size_t removeLeftOvers(AddressKeeper &keeper, std::string &words);

// "3 addresses"
std::string countOf(std::size_t addresses);

} // namespace rk
