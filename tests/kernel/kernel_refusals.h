// What stands between the engine and the kernel in the tests: messages are counted, one of them can be spoilt so that
// the kernel refuses it, or be the last thing that the process does.
#pragma once

namespace rk::refusals {

enum class Fate : unsigned char { none, refused, lastWords };

struct Interference {
    int messages = 0;     // to IPVS, since it was set to 0
    int transactions = 0; // of the packet filter, likewise
    int victim = 0;       // which message, counted from 1 over both kinds, meets its fate; 0: none
    Fate fate = Fate::none;
};

extern Interference interference;

} // namespace rk::refusals
