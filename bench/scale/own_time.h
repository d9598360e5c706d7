// What of a call is the library's own: its processor time without the executor's, and the memory that it asks for.
// Linked with -Wl,--wrap of the executor's entry and of the allocator's, so that every use by the library comes here.
#pragma once

#include <cstddef>
#include <functional>

namespace own {

// Processor time of a call, in nanoseconds, without the time in the executor: the mean of `calls` calls.
double nanosecondsOf(const std::function<void()> &call, int calls);

struct Memory {
    std::size_t heap;     // the most bytes of the heap that the library holds at once
    std::size_t resident; // by how many bytes the process's resident memory grows at most
};

// Of one call.
Memory memoryOf(const std::function<void()> &call);

} // namespace own
