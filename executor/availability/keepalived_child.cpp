#include "executor/availability/keepalived_child.h"

#include "executor/availability/keepalived_text.h"
#include "executor/availability/keepalived_words.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr int kEndTime = 5000; // milliseconds that an end may take
constexpr std::size_t kLongestSaid = 4000;
constexpr std::string_view kReady = ": Startup complete";
constexpr char kRunFolder[] = "/run/keepalived"; // which it wants, whatever it is told of its files

// What the minder does: `$1` is keepalived, `$2` the folder. It tells keepalived's number, and ends by the leash alone.
// Whoever reads what keepalived says finds its end when keepalived has gone, as the minder does not hold that pipe.
constexpr char kMinder[] = R"(cd /
"$1" -n -l -D -f "$2/keepalived.conf" -p "$2/keepalived.pid" -r "$2/vrrp.pid" -b "$2/bfd.pid" -c "$2/checkers.pid" 2>&1 &
keepalived=$!
echo "$keepalived"
exec >/dev/null
trap : HUP INT QUIT TERM
cat
kill "$keepalived"
wait "$keepalived")";

// What a check does: it prints the exit status.
constexpr char kChecker[] = R"("$1" -t -f "$2" 2>&1; echo "$?")";

std::string configurationFile(const KeepalivedChild &child) {
    return child.folder + "/keepalived.conf";
}

// The process of a file of keepalived's, if it is one of keepalived's that has this folder.
pid_t processOf(const KeepalivedChild &child, const char *file) {
    const pid_t process = processIn(readFile(child.folder + "/" + file));
    if (process <= 1)
        return 0;
    const std::string command = readFile("/proc/" + std::to_string(process) + "/cmdline");
    return command.find(configurationFile(child)) == std::string::npos ? 0 : process;
}

// Whether `isDone()` becomes true in time. It is asked every few milliseconds.
template <typename Done> bool waitUntil(const Done &isDone) {
    for (int waited = 0; waited < kEndTime; waited += 2) {
        if (isDone())
            return true;
        usleep(2000);
    }
    return isDone();
}

} // namespace

std::string findKeepalived() {
    return findProgram("QELXW_KEEPALIVED", "keepalived");
}

int prepareKeepalived(KeepalivedChild &child, LogText &words) {
    mkdir(kRunFolder, 0755); // when it cannot be made, it may be there, or is not missed
    if (mkdir(child.folder.c_str(), 0700) != 0 && errno != EEXIST) {
        appendErrno(words, "cannot make", child.folder);
        return -1;
    }
    const std::string notices = noticesFile(child.folder);
    unlink(notices.c_str());
    // For reading and writing: it does not end when keepalived does.
    const int opened = mkfifo(notices.c_str(), 0600) != 0 ? -1 : open(notices.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (opened == -1)
        appendErrno(words, "cannot make", notices);
    return opened;
}

bool endLeftOver(const KeepalivedChild &child) {
    bool isFound = false;
    for (const char *file : {"keepalived.pid", "vrrp.pid", "bfd.pid"}) {
        const pid_t process = processOf(child, file);
        if (process == 0)
            continue;
        isFound = true;
        kill(process, SIGTERM);
        const bool hasEnded = waitUntil([&child, file, process] { return processOf(child, file) != process; });
        if (!hasEnded)
            kill(process, SIGKILL);
    }
    return isFound;
}

bool checkKeepalived(const KeepalivedChild &child, const std::string &text, LogText &words) {
    const std::string file = child.folder + "/next.conf";
    std::string printed;
    if (!writeFile(file, text, words))
        return false;
    if (!runShell(kChecker, child.program, file, printed)) {
        appendErrno(words, "cannot run", child.program);
        return false;
    }
    if (isAccepted(printed))
        return true;
    printed.resize(printed.size() < 2 ? 0 : printed.find_last_of('\n', printed.size() - 2) + 1); // without the status
    append(words, "keepalived: %s", mistakeIn(printed).c_str());
    return false;
}

bool startKeepalived(KeepalivedChild &child, const std::string &text, LogText &words) {
    Pipe leash;
    Pipe output;
    if (!writeFile(configurationFile(child), text, words))
        return false;
    if (!openPipe(leash) || !openPipe(output)) {
        closePipe(leash);
        appendErrno(words, "cannot start", child.program);
        return false;
    }
    // An election must not wait for a log that nobody reads just now.
    for (const int end : {output.reading.number, output.writing.number})
        fcntl(end, F_SETFL, O_NONBLOCK);
    child.minder = spawnShell(kMinder, child.program, child.folder, leash.reading.number, output.writing.number);
    if (child.minder == 0)
        appendErrno(words, "cannot start", child.program);
    closeOwn(leash.reading);
    closeOwn(output.writing);
    child.leash = leash.writing;
    child.output = output.reading;
    child.process = 0;
    child.isReady = false;
    child.unread.clear();
    child.said.clear();
    if (child.minder == 0)
        stopKeepalived(child);
    return child.minder != 0;
}

bool reloadKeepalived(const KeepalivedChild &child, const std::string &text, LogText &words) {
    if (!writeFile(configurationFile(child), text, words))
        return false;
    if (child.process != 0 && child.isReady && kill(child.process, SIGHUP) == 0)
        return true;
    append(words, "keepalived is not there to be told");
    return false;
}

bool takeOutput(KeepalivedChild &child, std::vector<std::string> &lines) {
    char part[4096];
    ssize_t size = 0;
    while ((size = read(child.output.number, part, sizeof part)) > 0)
        child.unread.append(part, static_cast<std::size_t>(size));
    const bool hasGone = size == 0 || (errno != EAGAIN && errno != EINTR);
    for (std::size_t end = 0; (end = child.unread.find('\n')) != std::string::npos; child.unread.erase(0, end + 1)) {
        std::string line = child.unread.substr(0, end);
        if (child.process == 0) {
            child.process = processIn(line);
            if (child.process != 0)
                continue;
        }
        child.isReady = child.isReady || line.ends_with(kReady);
        child.said += line + '\n';
        lines.push_back(std::move(line));
    }
    if (child.said.size() > kLongestSaid)
        child.said.erase(0, child.said.size() - kLongestSaid);
    return !hasGone;
}

void stopKeepalived(KeepalivedChild &child) {
    closeOwn(child.leash);
    if (child.minder != 0) {
        const bool hasEnded = waitUntil([&child] { return waitpid(child.minder, nullptr, WNOHANG) != 0; });
        if (!hasEnded) {
            kill(-child.minder, SIGKILL); // its group is keepalived's as well
            reap(child.minder);
        }
    }
    closeOwn(child.output);
    child.minder = 0;
    child.process = 0;
}

} // namespace rk
