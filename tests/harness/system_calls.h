// The system calls that the library makes, as the tests want them to go. Linked with -Wl,--wrap, so that every call
// from the library's objects comes here; what a test does not ask for goes to the system.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace calls {

// Everything goes to the system again, and the records are empty.
void reset();

// --- The executor device ---------------------------------------------------------------------------------------------

enum class Device { real, absent, present };

// `absent`: opening it fails with ENOENT. `present`: it opens as descriptor 1000, 1001, ... Another file can be given.
void device(Device state, const char *path = "/dev/qelxw");

// What its ioctl does; without one the scripted executor performs the block and ioctl returns 0.
void onIoctl(std::function<int(void *block)> action);

// "open 2" (with its flags), "ioctl 1000 0x4321", "close 1000", in order.
const std::vector<std::string> &deviceCalls();

// The flags of an open descriptor of the device, as fcntl set them last.
int descriptorFlags(int descriptor);

// --- Memory ----------------------------------------------------------------------------------------------------------

// From now on the library's allocations are counted; the one with number `failing` (from 1; 0: none) fails.
void countAllocations(int failing = 0);
// Until the reset, larger allocations fail whatever is counted.
void allocateAtMost(std::size_t bytes);
int allocations();                          // since countAllocations
int blocksHeld();                           // allocated and not freed since countAllocations
std::vector<std::size_t> allocationSizes(); // since countAllocations, of malloc, calloc and realloc

// The same for one call, whatever is counted besides: from the first of these on, the blocks that are left at the
// second.
void watchBlocks();
int blocksLeft();

// --- Commands --------------------------------------------------------------------------------------------------------

// What becomes of a command line: what `system` returns, or what a `popen` stream has to read.
enum class Stream { readable, unreadable, notOpened };
struct Outcome {
    int status = 0;
    Stream stream = Stream::readable;
    std::string output;
};

// From now on no command runs: this tells what would have become of it.
void onCommand(std::function<Outcome(const std::string &command)> action);

// What was asked for since then: "system LINE", "popen r LINE" and "pclose", in order.
const std::vector<std::string> &commands();

// --- Names -----------------------------------------------------------------------------------------------------------

// What host names resolve to: "balancer.example" to 192.0.2.7, no other name to anything. Returns what was asked.
const std::vector<std::string> &namesResolved();

// --- Waits -----------------------------------------------------------------------------------------------------------

// The seconds that the library wanted to sleep, in order; every sleep is over at once.
const std::vector<unsigned> &waits();

} // namespace calls
