// An engine at work: the plan that it does, and changing that.
#pragma once

#include "executor/forwarding/plan_draft.h"

namespace rk {

struct Forwarding {
    Engine engine;
    Plan plan;         // what the engine does now
    Features told = 0; // of those that the engine does not do, the ones that the log has been told of
};

// Begins to forward what the executor has, with an engine that is open. False when the engine refuses; then `words` say
// why, and the engine is as it was. Throws std::bad_alloc likewise.
bool beginForwarding(ExecutorState &state, Forwarding &forwarding, LogText &words);

// Closes the engine; from now on nothing is forwarded.
void endForwarding(ExecutorState &state, Forwarding &forwarding);

// Has the engine do what a draft says. False when it refuses: then `words` say why, and plan and engine are as they
// were; likewise after std::bad_alloc. A draft without a change does not reach the engine. `words` that are not empty
// after a success are for the log.
bool applyDraft(Executor &executor, Forwarding &forwarding, PlanDraft &draft, LogText &words);

// What the engine has to do at times. To be called every second or so; `words` that are not empty then are for the log.
void tickForwarding(ExecutorState &state, LogText &words);

} // namespace rk
