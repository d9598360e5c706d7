// An engine that forwards nothing but keeps books: what it was told to do, by the changes alone, and in which order. It
// refuses whichever step it is told to, as its own real fellows do: in the middle of a change, what it did before is
// undone.
#pragma once

#include "executor/forwarding/engine.h"
#include "plan_text.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace rk {

constexpr int kNever = -1;

struct FakeEngine {
    // What it does, as lines of the plan's text.
    std::set<std::string> inForce;
    std::string settings = lineOf(PlanSettings{});

    int changes = 0;                 // times that it was asked for one
    std::vector<std::string> steps;  // of the last change: "+ line", "- line", "~ line"; as far as they were done
    std::vector<std::string> errors; // what did not agree with what was in force

    int refusedStep = kNever;     // the step of the next change that it refuses
    bool runsOutOfMemory = false; // the refusal is a lack of memory
    std::string note;             // what it says when it has done something

    // What it counts, and what it says of its end when that comes.
    std::map<PoolId, Counts> poolCounts;
    std::map<std::pair<PoolId, uint32_t>, Counts> serverCounts;
    Counts allCounts;
    bool isReadable = true;
    std::vector<EndedCounts> ended; // given away with the next change or tick
    std::vector<LiveConnection> connections;
    std::vector<StickyClient> clients;
    int ticks = 0;
    bool isClosed = false;
};

// The procedures of an engine that does what `features` say. The fake outlives it.
Engine engineOf(FakeEngine &fake, Features features = ~Features{0});

} // namespace rk
