// Talking to HAProxy over its sockets: a command, a reply, and a time limit for both.
#pragma once

#include "executor/children/descriptor.h"

#include <string>
#include <string_view>

namespace rk {

inline constexpr int kCommandTime = 3000; // milliseconds that a command may take

// Sends a command, or several with semicolons between them, and reads the reply until HAProxy closes the connection.
// False when the socket does not answer within `milliseconds`.
bool ask(const std::string &socketPath, std::string_view command, std::string &reply, int milliseconds = kCommandTime);

// A connection to a worker that stays open. A worker that has been replaced does not end while there is one, so that
// what it has counted can be read to the last.
struct HeldWorker {
    int process = 0; // as HAProxy tells it
    OwnDescriptor socket;
};

// False when the worker does not answer.
bool holdWorker(const std::string &socketPath, HeldWorker &worker);

// Sends commands, one a line, and reads all their replies; each ends with a line feed. False when they do not come
// within `milliseconds`; the connection is of no use any more then.
bool askHeld(const HeldWorker &worker, std::string_view commands, std::string &replies,
             int milliseconds = kCommandTime);
void releaseWorker(HeldWorker &worker);

} // namespace rk
