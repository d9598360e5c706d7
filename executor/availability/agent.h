// What acts on the records on high availability: a record of procedures, and what they work on.
#pragma once

#include "executor/state/log_text.h"
#include "executor/state/state.h"

namespace rk {

// What a command on high availability found.
struct HaBefore {
    HaStatusRecord record;
    Counters counters;
};

struct AvailabilityAgent {
    void *own = nullptr;

    // A command has changed the record: does what it says now, and puts what is true in the place of what follows from
    // the configuration alone. False when that cannot be: then `words` say why, nothing has been done, and the record
    // is the caller's to put back. Throws std::bad_alloc likewise.
    bool (*follow)(void *own, ExecutorState &state, Command command, const HaBefore &before, LogText &words) = nullptr;

    // Another command has changed something; `isUrgent` when clusters may have other addresses.
    void (*note)(void *own, ExecutorState &state, bool isUrgent) = nullptr;
};

} // namespace rk
