// HAProxy's workers, and what they have counted: the one that takes connections, and those that were replaced and still
// have some open. Statistics begin at 0 in each.
#pragma once

#include "executor/forwarding/engine.h"
#include "executor/forwarding/proxy/child.h"
#include "executor/forwarding/proxy/replies.h"
#include "executor/forwarding/proxy/talk.h"

#include <chrono>
#include <set>
#include <tuple>

namespace rk {

// A pool, or a server of a pool, by their numbers; the pool has the server 0.
struct NumberedThing {
    uint32_t pool = 0;
    uint32_t server = 0;
};

inline bool operator<(const NumberedThing &one, const NumberedThing &other) {
    return std::tie(one.pool, one.server) < std::tie(other.pool, other.server);
}

struct Workers {
    HeldWorker current;
    std::vector<HeldWorker> former;

    // What workers counted that have ended, less what was told of a thing when it went. Unsigned numbers wrap: the sum
    // with what the others count is right.
    // {0, 0} is all pools that are gone.
    std::map<NumberedThing, Totals> bases;
    std::set<uint32_t> gone;              // pools whose last connections former workers may still have
    std::map<NumberedThing, Totals> seen; // at the last look, for when a worker is gone all of a sudden

    struct Rate {
        std::chrono::steady_clock::time_point since;
        uint64_t bytes = 0; // at that time
        uint64_t bytesPerSecond = 0;
    };
    std::map<NumberedThing, Rate> rates;
};

// Whether the worker that takes connections answers. One that does so over a new connection only is the same if its
// process is.
bool isAnswering(Workers &workers, const ProxyChild &child);

// Puts a worker that has been started anew, or that has replaced another, in its place. The other one is kept until it
// has nothing open. False when it does not answer.
bool takeOver(Workers &workers, const ProxyChild &child);

// Ends what has nothing open any more, and keeps its counts.
void endFormer(Workers &workers);

// Forgets all workers, as none of them is there any more; what was seen of their counts stays.
void forgetWorkers(Workers &workers);

// The reply to a command that reads, from each worker; those that do not answer are left out.
std::vector<std::string> askAll(const Workers &workers, const std::string &command);

// Counts of a pool (server 0) or of a server. False when the worker that takes connections does not answer.
bool readCounts(Workers &workers, NumberedThing thing, Counts &counts);

// Counts of all pools together.
bool readAllCounts(Workers &workers, Counts &counts);

// What a thing has counted up to now, which counts from 0 from now on.
Totals endCounts(Workers &workers, NumberedThing thing);

// Has a pool and its servers forgotten, whose counts have been ended.
void forgetPool(Workers &workers, uint32_t pool);

} // namespace rk
