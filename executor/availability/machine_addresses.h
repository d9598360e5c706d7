// The IPv4 addresses of this machine: listing, adding, removing, and announcing them to the neighbours.
#pragma once

#include "executor/availability/partnership.h"

namespace rk {

// Descriptors through which addresses are changed and announced.
struct AddressTalk {
    int netlink = -1;
    int changes = -1; // can be read when the machine's addresses have changed
    int packets = -1; // for announcements
};

// False when one cannot be had; `words` tell which. Needs CAP_NET_ADMIN and CAP_NET_RAW.
bool openAddressTalk(AddressTalk &talk, LogText &words);
void closeAddressTalk(AddressTalk &talk);

// Takes what can be read from `changes`.
void takeChanges(const AddressTalk &talk);

// Throws std::bad_alloc; empty when the system does not tell.
std::vector<MachineAddress> listMachineAddresses();

// Each returns 0 or an errno value. Adding one that is there, and removing one that is not, is done at once. An address
// is added for itself, without a network, so that removing it takes no other one along; it looks like an alias
// ("eth0:ha") to those who list them, as far as the name has room for that.
int addAddress(const AddressTalk &talk, const MovingAddress &address);
int removeAddress(const AddressTalk &talk, const MachineAddress &address);

// Tells the neighbours of an interface that an address is here: a request and a reply, as different ones listen to
// either. Interfaces without neighbours are passed over.
void announceAddress(const AddressTalk &talk, const MovingAddress &address);

} // namespace rk
