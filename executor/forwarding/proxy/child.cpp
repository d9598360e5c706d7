#include "executor/forwarding/proxy/child.h"

#include "executor/forwarding/proxy/replies.h"
#include "executor/forwarding/proxy/talk.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

namespace rk {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStartTime = 10000; // milliseconds that a start, a reload or an end may take
constexpr int kLongestWords = 400;
constexpr off_t kLongestLog = 1 << 20;

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

std::string logFile(const ProxyChild &child) {
    return child.folder + "/log";
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
    return findProgram("QELXW_HAPROXY", "haproxy");
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

bool checkConfiguration(const ProxyChild &child, const std::string &file, LogText &words) {
    std::string printed;
    if (!runShell(kChecker, child.program, file, printed)) {
        appendErrno(words, "cannot run", child.program);
        return false;
    }
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
