#include "executor/forwarding/proxy/child.h"

#include "executor/forwarding/proxy/replies.h"
#include "executor/forwarding/proxy/talk.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace rk {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStartTime = 10000; // milliseconds that a start, a reload or an end may take
constexpr int kLongestWords = 400;
constexpr off_t kLongestLog = 1 << 20;
constexpr char kSystemFolders[] = "/usr/sbin:/usr/local/sbin:/sbin:/usr/bin:/bin";

// What the minder does: `$1` is HAProxy, `$2` the folder. It ends by the leash alone, which a terminal's signals and a
// host that kills its group must not come before.
constexpr char kMinder[] = R"(cd /
"$1" -W -S "$2/master,mode,600,level,admin" -f "$2/haproxy.cfg" >>"$2/log" 2>&1 &
proxy=$!
trap : HUP INT QUIT TERM
cat
kill "$proxy"
wait "$proxy"
rm -rf "$2")";

// What a check does: it prints the exit status, which a host that ignores its children's ends would keep from us.
constexpr char kChecker[] = R"("$1" -c -q -f "$2" 2>&1; echo "$?")";

struct Pipe {
    OwnDescriptor reading;
    OwnDescriptor writing;
};

bool openPipe(Pipe &opened) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    opened = {ownDescriptor(ends[0]), ownDescriptor(ends[1])};
    return true;
}

void closePipe(Pipe &opened) {
    closeOwn(opened.reading);
    closeOwn(opened.writing);
}

// Starts the shell with standard input and output as given; -1 is nothing. Nothing of this process gets into it: no
// other descriptor, no signal setting, no terminal, no environment. Returns 0 when that fails.
pid_t spawnShell(const char *script, const std::string &first, const std::string &second, int input, int output) {
    const char *const arguments[] = {"sh", "-c", script, "sh", first.c_str(), second.c_str(), nullptr};
    const std::string path = std::string("PATH=") + kSystemFolders;
    const char *const environment[] = {path.c_str(), nullptr};
    sigset_t none;
    sigemptyset(&none);
    sigset_t all;
    sigfillset(&all);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    if (output >= 0) // first: its number may be 0
        posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    if (input >= 0)
        posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    else
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (output < 0)
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);

    pid_t process = 0;
    const int error = posix_spawn(&process, "/bin/sh", &files, &attributes, const_cast<char *const *>(arguments),
                                  const_cast<char *const *>(environment));
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return error == 0 ? process : 0;
}

// Leashes that this process holds, by their numbers. One that it forks off and that runs no other program has a copy of
// each, and would keep HAProxy after this process's end. Never destroyed: a fork may come during the exit handlers.
struct Leashes {
    std::mutex mutex;
    std::vector<OwnDescriptor> held;
};
Leashes &leashes = *new Leashes;

void lockLeashes() {
    leashes.mutex.lock();
}

void unlockLeashes() {
    leashes.mutex.unlock();
}

// In a process that was forked off, where nothing may be allocated or freed.
void letGoOfLeashes() {
    for (OwnDescriptor &leash : leashes.held)
        closeOwn(leash);
    unlockLeashes();
}

void holdLeash(const OwnDescriptor &leash) {
    static const int error = pthread_atfork(lockLeashes, unlockLeashes, letGoOfLeashes);
    (void)error; // without memory for it, forks keep their copies
    const std::lock_guard lock(leashes.mutex);
    leashes.held.push_back(leash);
}

void dropLeash(OwnDescriptor &leash) {
    {
        const std::lock_guard lock(leashes.mutex);
        std::erase_if(leashes.held, [&leash](const OwnDescriptor &held) { return held.number == leash.number; });
    }
    closeOwn(leash);
}

// Takes the status of a child that has ended or is about to. The host may have taken it before.
void reap(pid_t process) {
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

std::string readAll(const OwnDescriptor &descriptor) {
    std::string text;
    char part[4096];
    for (ssize_t count = 1; count != 0;) {
        count = read(descriptor.number, part, sizeof part);
        if (count > 0)
            text.append(part, static_cast<std::size_t>(count));
        else if (count < 0 && errno != EINTR)
            break;
    }
    return text;
}

std::string readFile(const std::string &file) {
    OwnDescriptor opened = ownDescriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text = opened.number < 0 ? "" : readAll(opened);
    closeOwn(opened);
    return text;
}

std::string logFile(const ProxyChild &child) {
    return child.folder + "/log";
}

void appendErrno(LogText &words, const char *what, const std::string &name) {
    append(words, "%s %s: %s", what, name.c_str(), strerrordesc_np(errno));
}

// HAProxy's reasons, out of what it printed.
void appendAlerts(LogText &words, const std::string &printed) {
    const std::string alerts = alertsIn(printed);
    append(words, "HAProxy: %.*s", kLongestWords, alerts.empty() ? "no reason given" : alerts.c_str());
}

// Whether `isDone()` becomes true in time. It is asked every few milliseconds.
template <typename Done> bool waitUntil(const Done &isDone) {
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(kStartTime);
    while (!isDone()) {
        if (Clock::now() >= end)
            return false;
        usleep(1000);
    }
    return true;
}

// 0 when no worker answers.
int processOfWorker(const ProxyChild &child) {
    std::string reply;
    return ask(workerSocket(child), "show info", reply) ? parseProcess(reply) : 0;
}

bool hasFailed(const ProxyChild &child) {
    const std::string printed = readFile(logFile(child));
    return printed.find("Loading failure") != std::string::npos || printed.find("[ALERT]") != std::string::npos;
}

} // namespace

std::string masterSocket(const ProxyChild &child) {
    return child.folder + "/master";
}

std::string workerSocket(const ProxyChild &child) {
    return child.folder + "/worker";
}

std::string configurationFile(const ProxyChild &child) {
    return child.folder + "/haproxy.cfg";
}

std::string findProxyProgram() {
    const char *named = getenv("QELXW_HAPROXY");
    if (named != nullptr)
        return access(named, X_OK) == 0 ? named : "";
    const char *path = getenv("PATH");
    std::string folders = std::string(path == nullptr ? "" : path) + ":" + kSystemFolders + ":";
    for (std::size_t begin = 0, end = 0; (end = folders.find(':', begin)) != std::string::npos; begin = end + 1) {
        std::string file = folders.substr(begin, end - begin) + "/haproxy";
        if (file.front() == '/' && end > begin && access(file.c_str(), X_OK) == 0)
            return file;
    }
    return "";
}

bool makeProxyFolder(ProxyChild &child, LogText &words) {
    char folder[] = "/tmp/qelxw-proxy-XXXXXX"; // a longer one might have no room in a socket's address
    if (mkdtemp(folder) == nullptr) {
        appendErrno(words, "cannot make", folder);
        return false;
    }
    child.folder = folder;
    return true;
}

bool writeProxyFile(const std::string &file, const std::string &text, LogText &words) {
    const std::string fresh = file + ".new";
    OwnDescriptor opened = ownDescriptor(open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    bool isWritten = opened.number >= 0;
    for (std::size_t written = 0; isWritten && written < text.size();) {
        const ssize_t count = write(opened.number, text.data() + written, text.size() - written);
        isWritten = count > 0 || errno == EINTR;
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    closeOwn(opened);
    if (!isWritten || rename(fresh.c_str(), file.c_str()) != 0) {
        appendErrno(words, "cannot write", file);
        return false;
    }
    return true;
}

bool checkConfiguration(const ProxyChild &child, const std::string &file, LogText &words) {
    Pipe output;
    if (!openPipe(output)) {
        appendErrno(words, "cannot run", child.program);
        return false;
    }
    const pid_t checker = spawnShell(kChecker, child.program, file, -1, output.writing.number);
    closeOwn(output.writing);
    const std::string printed = checker == 0 ? "" : readAll(output.reading);
    closePipe(output);
    if (checker != 0)
        reap(checker);
    if (printed == "0\n" || printed.ends_with("\n0\n"))
        return true;
    appendAlerts(words, printed);
    return false;
}

bool startProxy(ProxyChild &child, LogText &words) {
    Pipe leash;
    if (!openPipe(leash)) {
        appendErrno(words, "cannot start", child.program);
        return false;
    }
    child.minder = spawnShell(kMinder, child.program, child.folder, leash.reading.number, -1);
    closeOwn(leash.reading);
    child.leash = leash.writing;
    holdLeash(child.leash);
    const bool isUp = child.minder != 0 && waitUntil([&child] { return hasFailed(child) || isProxyAlive(child); }) &&
                      isProxyAlive(child);
    if (!isUp) {
        appendAlerts(words, readFile(logFile(child)));
        stopProxy(child);
    }
    return isUp;
}

bool isProxyAlive(const ProxyChild &child) {
    return processOfWorker(child) != 0;
}

bool beginReload(const ProxyChild &child, int &before, LogText &words) {
    before = processOfWorker(child);
    if (truncate(logFile(child).c_str(), 0) != 0) // what is in it afterwards is about this reload
        appendErrno(words, "cannot write", logFile(child));
    std::string reply;
    if (before != 0 && ask(masterSocket(child), "reload", reply))
        return true;
    appendAlerts(words, readFile(logFile(child)));
    return false;
}

Reload reloadOf(const ProxyChild &child, int before, LogText &words) {
    const int now = processOfWorker(child);
    if (now != 0 && now != before)
        return Reload::done;
    if (!hasFailed(child))
        return Reload::underWay;
    appendAlerts(words, readFile(logFile(child)));
    return Reload::failed;
}

void trimLog(const ProxyChild &child) {
    struct stat status {};
    if (stat(logFile(child).c_str(), &status) == 0 && status.st_size > kLongestLog)
        (void)!truncate(logFile(child).c_str(), 0);
}

void stopProxy(ProxyChild &child) {
    dropLeash(child.leash);
    if (child.minder != 0) {
        // The folder goes last: waiting for it needs no status, which the host may have taken.
        const bool hasEnded = waitUntil([&child] { return access(child.folder.c_str(), F_OK) != 0; });
        // Its group is HAProxy's as well. As long as it is ours to wait for, the number is no other process's.
        if (!hasEnded && waitpid(child.minder, nullptr, WNOHANG) == 0)
            kill(-child.minder, SIGKILL);
        reap(child.minder);
    }
    child.minder = 0;
}

} // namespace rk
