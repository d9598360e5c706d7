#include "console_process.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr int kPatienceMilliseconds = 60'000; // of a machine under load; only a failing test waits so long

std::vector<std::string> folders;

void removeFolders() {
    for (const std::string &folder : folders)
        std::filesystem::remove_all(folder);
}

// Takes the place of this process; does not return.
[[noreturn]] void becomeConsole(const ConsoleInput &input) {
    for (const std::string &variable : input.environment)
        putenv(const_cast<char *>(variable.c_str()));
    std::string program = CONSOLE_LAUNCHER;
    std::vector<char *> arguments{program.data()};
    for (const std::string &argument : input.arguments)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    execv(program.c_str(), arguments.data());
    _exit(127);
}

void redirect(const std::string &path, int flags, int target) {
    const int file = open(path.c_str(), flags, 0600);
    dup2(file, target);
    close(file);
}

int waitForEnd(int process) {
    int status = 0;
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

enum class Reading { kMore, kSilence, kEnd };

// Reads what the console writes next.
Reading readOnce(TerminalSession &session, int milliseconds) {
    pollfd wanted{session.terminal, POLLIN, 0};
    if (poll(&wanted, 1, milliseconds) <= 0)
        return Reading::kSilence;
    char piece[4096];
    const ssize_t length = read(session.terminal, piece, sizeof piece);
    if (length <= 0)
        return Reading::kEnd;
    session.seen.append(piece, static_cast<std::size_t>(length));
    return Reading::kMore;
}

} // namespace

ConsoleRun runConsole(const ConsoleInput &input) {
    const std::string folder = makeFolder();
    const std::string inPath = folder + "/in", outPath = folder + "/out", errPath = folder + "/err";
    std::ofstream(inPath) << input.standardInput;
    const int process = fork();
    if (process == 0) {
        redirect(inPath, O_RDONLY, STDIN_FILENO);
        redirect(outPath, O_WRONLY | O_CREAT, STDOUT_FILENO);
        redirect(errPath, O_WRONLY | O_CREAT, STDERR_FILENO);
        becomeConsole(input);
    }
    const int exitStatus = waitForEnd(process);
    ConsoleRun run{exitStatus, readFile(outPath), readFile(errPath)};
    EXPECT_EQ(run.err.find("\tat "), std::string::npos) << "a stack trace: " << run.err;
    return run;
}

ConsoleRun runCommand(std::vector<std::string> arguments) {
    return runConsole({std::move(arguments), "", {}});
}

ConsoleRun runScript(const std::string &lines, std::vector<std::string> arguments) {
    return runConsole({std::move(arguments), lines, {}});
}

void expectRefusals(const std::string &preparation, const std::vector<RefusedCommand> &refused) {
    std::string script = preparation;
    for (const RefusedCommand &row : refused)
        script += row.command + "\n";
    const ConsoleRun run = runScript(script, {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 1);
    const std::size_t before = linesOf(preparation).size();
    const std::vector<std::string> messages = linesOf(run.err);
    ASSERT_EQ(messages.size(), refused.size()) << run.err;
    for (std::size_t i = 0; i < messages.size(); ++i)
        EXPECT_EQ(messages[i], "line " + std::to_string(before + i + 1) + ": " + refused[i].message);
    EXPECT_EQ(linesOf(run.out).size(), before) << "a refused command, or one before, says something else: " << run.out;
}

TerminalSession openTerminal(const ConsoleInput &input, int columns) {
    TerminalSession session{};
    winsize size{};
    size.ws_row = 50;
    size.ws_col = static_cast<unsigned short>(columns);
    session.process = forkpty(&session.terminal, nullptr, nullptr, &size);
    if (session.process == 0)
        becomeConsole(input);
    return session;
}

TerminalSession openShell(const std::string &folder, const std::string &line,
                          const std::vector<std::string> &environment) {
    std::filesystem::remove(folder + "/run");
    std::filesystem::create_symlink(CONSOLE_LAUNCHER, folder + "/run");
    TerminalSession session{};
    winsize size{};
    size.ws_row = 50;
    size.ws_col = 80;
    session.process = forkpty(&session.terminal, nullptr, nullptr, &size);
    if (session.process == 0) {
        for (const std::string &variable : environment)
            putenv(const_cast<char *>(variable.c_str()));
        if (chdir(folder.c_str()) == 0)
            execl("/bin/sh", "sh", "-c", ("exec " + line).c_str(), nullptr);
        _exit(127);
    }
    return session;
}

void type(const TerminalSession &session, const std::string &keys) {
    EXPECT_EQ(write(session.terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

bool waitFor(TerminalSession &session, const std::string &text, std::size_t from) {
    while (session.seen.find(text, from) == std::string::npos)
        if (readOnce(session, kPatienceMilliseconds) != Reading::kMore)
            return false;
    return true;
}

void endInput(TerminalSession &session) {
    constexpr char kEndOfInput = '\x04';
    for (Reading last = Reading::kSilence; last != Reading::kEnd; last = readOnce(session, 500))
        if (last == Reading::kSilence && write(session.terminal, &kEndOfInput, 1) != 1)
            return;
}

int closeTerminal(TerminalSession &session) {
    // The rest is read, so that the console is not held up by a full terminal.
    Reading last = Reading::kMore;
    while (last == Reading::kMore)
        last = readOnce(session, kPatienceMilliseconds);
    if (last == Reading::kSilence) {
        ADD_FAILURE() << "the console does not end: " << session.seen;
        kill(session.process, SIGKILL);
    }
    const int exitStatus = waitForEnd(session.process);
    close(session.terminal);
    return exitStatus;
}

std::string makeFolder() {
    std::string name = testing::TempDir() + "console-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        ADD_FAILURE() << "no folder " << name;
    if (folders.empty())
        std::atexit(removeFolders);
    folders.push_back(name);
    return name;
}

std::string readFile(const std::string &path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::string member(const std::string &json, const std::string &name) {
    const std::string head = '"' + name + "\":";
    const std::size_t at = json.find(head);
    if (at == std::string::npos)
        return "";
    const std::size_t begin = at + head.size();
    const std::size_t end = json[begin] == '"' ? json.find('"', begin + 1) + 1 : json.find_first_of(",}]", begin);
    return json.substr(begin, end - begin);
}

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> linesWith(const std::string &text, const std::string &part) {
    std::vector<std::string> lines = linesOf(text);
    std::erase_if(lines, [&](const std::string &line) { return line.find(part) == std::string::npos; });
    return lines;
}

} // namespace rk
