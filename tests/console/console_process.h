// Runs the console as a user's shell does: as a process of its own.
#pragma once

#include <string>
#include <vector>

namespace rk {

struct ConsoleRun {
    int exitStatus; // -1 when a signal ended it
    std::string out;
    std::string err;
};

// What differs from run to run. Variables of the environment are "NAME=value".
struct ConsoleInput {
    std::vector<std::string> arguments;
    std::string standardInput;
    std::vector<std::string> environment;
};

ConsoleRun runConsole(const ConsoleInput &input);

// The common cases: one command, and a script on standard input.
ConsoleRun runCommand(std::vector<std::string> arguments);
ConsoleRun runScript(const std::string &lines, std::vector<std::string> arguments = {});

// Runs a script that succeeds, then commands that are to be refused, and compares what is said about each of them.
struct RefusedCommand {
    std::string command;
    std::string message;
};
void expectRefusals(const std::string &preparation, const std::vector<RefusedCommand> &refused);

// A session in a pseudo-terminal: the console's side of it, and its process.
struct TerminalSession {
    int terminal;
    int process;
    std::string seen; // what the console has written so far
};

TerminalSession openTerminal(const ConsoleInput &input, int columns = 160);
// The same for a line of the shell, run in a folder in which ./run is the console.
TerminalSession openShell(const std::string &folder, const std::string &line,
                          const std::vector<std::string> &environment);
void type(const TerminalSession &session, const std::string &keys);

// Reads until the console has written `text` after byte `from` of what was seen; false when it ends or takes too long.
bool waitFor(TerminalSession &session, const std::string &text, std::size_t from = 0);

// Types the end of input until the console ends: a key is lost when it comes while the terminal changes its mode.
void endInput(TerminalSession &session);

// Waits for the console's end; returns its exit status.
int closeTerminal(TerminalSession &session);

// A new empty folder, removed when the program ends.
std::string makeFolder();
std::string readFile(const std::string &path);

// The value of an object's member as the text says it, texts with their quotes; empty when there is none.
std::string member(const std::string &json, const std::string &name);

std::vector<std::string> linesOf(const std::string &text);

// Those that have a part in them.
std::vector<std::string> linesWith(const std::string &text, const std::string &part);

} // namespace rk
