// The machine below the reference executor: its network interfaces are those that an input says. Linked with
// -Wl,--wrap, so that the executor asks here and not the system.
#pragma once

#include "fuzz/harness/draws.h"

namespace fuzz {

// Draws the interfaces that the machine has from now on, or that the system does not tell.
void drawMachine(const Draws &draws);

} // namespace fuzz
