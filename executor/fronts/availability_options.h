// What the command line of qelxwd says of high availability.
#pragma once

#include "executor/availability/partnership.h"

namespace rk {

// Who hears the partner.
enum class AvailabilityMode : uint8_t {
    automatic, // keepalived where it is, else nobody
    keepalived,
    none,
};

struct AvailabilityChoice {
    AvailabilityMode mode = AvailabilityMode::automatic;
    PartnershipOptions partnership;
};

// Letters, digits, '-', '_' and '.', as long as the kernel takes them.
bool isInterfaceName(const std::string &value);

// Each takes the value of an option. Returns what is wrong with it; empty: nothing.
std::string applyHighAvailability(AvailabilityChoice &choice, const std::string &value);
std::string applyAdvertInterval(AvailabilityChoice &choice, const std::string &value);
std::string applyAddressInterface(AvailabilityChoice &choice, const std::string &value);
std::string applyMovingAddress(AvailabilityChoice &choice, const std::string &value);

} // namespace rk
