// The record on high availability as it is, whatever was ordered.
#pragma once

#include "executor/availability/election.h"
#include "executor/availability/reachability.h"

namespace rk {

// Puts into the record what is true now, and counts changes. Without a partnership the record is left alone.
void writeTruth(Executor &executor, const Partnership &partnership, const Elections &elections,
                const Reachability &reachability);

} // namespace rk
