// Programs of others as children of this process, each started by a shell. One that is to end with this process hangs
// on a leash: a pipe whose other end is here, and which the system closes however the process ends. (A signal of the
// parent's death would come with the end of the thread that started the child.)
#pragma once

#include "executor/children/descriptor.h"
#include "executor/state/log_text.h"

#include <string>
#include <sys/types.h>

namespace rk {

struct Pipe {
    OwnDescriptor reading;
    OwnDescriptor writing;
};

bool openPipe(Pipe &opened);
void closePipe(Pipe &opened);

// Has a leash's end let go of in processes that this one forks off, as they would keep the child after this one's end.
void holdLeash(const OwnDescriptor &leash);

// Lets the child go.
void dropLeash(OwnDescriptor &leash);

// What is appended to a line when a step of the system fails: "WHAT NAME: the reason in errno".
void appendErrno(LogText &words, const char *what, const std::string &name);

// The path of a program: what the environment's `variable` names, else the first of that name on the path or in the
// folders of system programs. Empty when there is none.
std::string findProgram(const char *variable, const char *name);

// Starts a shell with `script`, whose $1 and $2 are `first` and `second`, in a session of its own, with standard input
// and output as given; -1 is nothing. Nothing of this process gets into it: no other descriptor, no signal setting, no
// terminal, no environment. Returns 0 when that fails.
pid_t spawnShell(const char *script, const std::string &first, const std::string &second, int input, int output);

// Takes the status of a child that has ended or is about to. The host may have taken it before.
void reap(pid_t process);

// Runs a shell as above to its end, with nothing as input. False when it cannot be started; `printed` is its output.
bool runShell(const char *script, const std::string &first, const std::string &second, std::string &printed);

// Reads until there is no more, and nothing when it cannot be read.
std::string readAll(const OwnDescriptor &descriptor);
std::string readFile(const std::string &file);

// Writes a file as a whole, readable by its owner alone: what was there before stays when that fails, and `words` say
// why.
bool writeFile(const std::string &file, const std::string &text, LogText &words);

} // namespace rk
