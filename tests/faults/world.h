// What surrounds one call of a native method: Java, the executor and the system as they are when nothing fails.
#pragma once

#include "faults/scenario.h"

namespace faults {

enum class Mode { user, kernel };

// Forgets what was before. The executor does what a command wants; a device and a shell are there; Java objects have
// every member that is asked for, arrays with this many elements.
void beginWorld(Mode mode, std::size_t elements = 40);

// After the call: everything was used as it should, and nothing is left but what the scenario keeps on purpose.
void expectNothingLeft(const Scenario &scenario, const Result &result);

} // namespace faults
