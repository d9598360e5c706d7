// HAProxy as a child of a process that has libuexc, on a leash (executor/children).
#pragma once

#include "executor/children/children.h"
#include "executor/state/log_text.h"

#include <string>
#include <sys/types.h>

namespace rk {

struct ProxyChild {
    std::string program; // HAProxy's path
    std::string folder;  // private: sockets, configuration, log, maps. Removed when HAProxy has ended
    pid_t minder = 0;    // the shell that waits at the other end of the leash; 0: there is none
    OwnDescriptor leash;
};

// Files in the child's folder.
std::string masterSocket(const ProxyChild &child);
std::string workerSocket(const ProxyChild &child);
std::string configurationFile(const ProxyChild &child);

// HAProxy's path: what the environment's QELXW_HAPROXY names, else the first on the path or in the folders of system
// programs. Empty when there is none.
std::string findProxyProgram();

// Makes the private folder. False when that fails; `words` say why.
bool makeProxyFolder(ProxyChild &child, LogText &words);

// Has HAProxy read a configuration without using it. False when it does not like it; `words` are its own.
bool checkConfiguration(const ProxyChild &child, const std::string &file, LogText &words);

// Starts HAProxy with the configuration file, and returns when its worker answers. False when it does not; `words` say
// why, and nothing is left of it but the folder.
bool startProxy(ProxyChild &child, LogText &words);

// Whether a worker answers.
bool isProxyAlive(const ProxyChild &child);

// Has the worker replaced by one with the configuration file as it is now. What the old one has open goes on there.
// False when HAProxy does not hear; `words` say why. `before` is the process of the old one.
bool beginReload(const ProxyChild &child, int &before, LogText &words);

// Whether the new worker answers, or HAProxy goes on with the old one; `words` say why then.
enum class Reload { underWay, done, failed };
Reload reloadOf(const ProxyChild &child, int before, LogText &words);

// Empties HAProxy's log when it has got long: it has a line for each server that goes or comes.
void trimLog(const ProxyChild &child);

// Ends HAProxy with all its connections, and returns when it has ended. The folder is gone then.
void stopProxy(ProxyChild &child);

} // namespace rk
