// Every piece of memory of a program that links this is counted, and one of them may be refused.
#pragma once

namespace memory {

extern long obtained;       // pieces so far
extern int allocationsLeft; // until one is refused, and all after it; negative: none is
extern bool hasFailed;      // one was refused since this was set to false

} // namespace memory
