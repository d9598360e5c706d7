// keepalived as a child on a leash (executor/children): check, start, reload, end, and what one of an earlier run left.
#pragma once

#include "executor/children/children.h"

#include <string>
#include <vector>

namespace rk {

struct KeepalivedChild {
    std::string program;  // its path
    std::string folder;   // private: configuration, notices, boosts, numbers of processes
    pid_t minder = 0;     // the shell that waits at the other end of the leash; 0: there is none
    pid_t process = 0;    // keepalived; 0: the minder has not told it yet
    bool isReady = false; // it takes signals as it should
    OwnDescriptor leash;
    OwnDescriptor output; // what it says. Read to its end: keepalived has gone
    std::string unread;   // the beginning of a line
    std::string said;     // the last that it said
};

// Its path: what the environment's QELXW_KEEPALIVED names, else the one that is found. Empty when there is none.
std::string findKeepalived();

// The private folder, made when it is missing, and the file of notices in it. Returns the descriptor from which notices
// can be read, which has to be open before keepalived is; -1 when that fails, and `words` say why.
int prepareKeepalived(KeepalivedChild &child, LogText &words);

// Ends a keepalived that an earlier run left, by the numbers in the folder. True when there was one.
bool endLeftOver(const KeepalivedChild &child);

// Has keepalived read a configuration without using it. False when it does not like it; `words` are its own.
bool checkKeepalived(const KeepalivedChild &child, const std::string &text, LogText &words);

// Writes the configuration and starts keepalived. False when that fails; `words` say why.
bool startKeepalived(KeepalivedChild &child, const std::string &text, LogText &words);

// Writes the configuration and has keepalived take it. False when that fails, as when it is not ready; `words` say why.
bool reloadKeepalived(const KeepalivedChild &child, const std::string &text, LogText &words);

// Appends the lines that keepalived has said since. False when it has gone.
bool takeOutput(KeepalivedChild &child, std::vector<std::string> &lines);

// Ends keepalived, which tells its partner first, and returns when it has ended.
void stopKeepalived(KeepalivedChild &child);

} // namespace rk
