#include "executor/availability/availability.h"

#include "executor/availability/keepalived_text.h"
#include "executor/availability/truth.h"
#include "executor/state/logs.h"
#include "executor/state/values.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <exception>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr uint32_t kTraceBit = 0x20; // of commands on high availability
constexpr Moment kSecond = 1000;
constexpr Moment kSoon = 300;   // keepalived is started anew after
constexpr Moment kLater = 5000; // when it has not lived as long as that

Moment currentMoment() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return Moment{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

// ---- keepalived

void writeBoosts(Director &director, Moment now) {
    director.boosts.resize(director.elections.elections.size(), kTakeOverBoost + 1); // which is never wanted
    for (std::size_t election = 0; election < director.boosts.size(); ++election) {
        const int boost = boostOf(director.elections, election, now);
        if (director.boosts[election] == boost)
            continue;
        // Not by a file of another name: keepalived watches this one.
        const std::string file = boostFile(director.options.folder, static_cast<int>(election));
        const std::string text = std::to_string(boost) + "\n";
        const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (opened != -1 && write(opened, text.data(), text.size()) == static_cast<ssize_t>(text.size()))
            director.boosts[election] = boost;
        if (opened != -1)
            close(opened);
    }
}

void watchDescriptor(const Director &director, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    epoll_ctl(director.watch, EPOLL_CTL_ADD, descriptor, &event);
}

void scheduleRestart(Director &director, Moment now) {
    director.restartAt = now + (now - director.startedAt < kLater ? kLater : kSoon);
}

void startElections(Director &director, Moment now, std::string &words) {
    beginElections(director.elections, now);
    director.boosts.clear();
    writeBoosts(director, now);
    director.restartAt = 0;
    director.isReloadDue = false;
    LogText mistake;
    const bool isStarted = startKeepalived(director.child, director.text, mistake);
    director.startedAt = now;
    if (isStarted) {
        watchDescriptor(director, director.child.output.number);
        return;
    }
    say(words, mistake.text);
    scheduleRestart(director, now);
}

void readNotices(Director &director) {
    char part[4096];
    ssize_t size = 0;
    while ((size = read(director.notices, part, sizeof part)) > 0)
        director.unreadNotices.append(part, static_cast<std::size_t>(size));
}

void takeNotices(Director &director, Moment now, std::string &words) {
    std::string &unread = director.unreadNotices;
    for (std::size_t end = 0; (end = unread.find('\n')) != std::string::npos; unread.erase(0, end + 1)) {
        const std::optional<Notice> notice = parseNotice(std::string_view(unread).substr(0, end));
        if (notice && director.child.minder != 0)
            hearNotice(director.elections, *notice, now, words);
    }
}

// Nobody decides any more: the addresses go at once, and another one is started.
void loseKeepalived(Director &director, Moment now, std::string &words) {
    const std::string mistake = mistakeIn(director.child.said);
    stopKeepalived(director.child);
    readNotices(director);
    takeNotices(director, now, words); // of the one that has gone: they say nothing any more
    loseElections(director.elections, words);
    say(words, "keepalived has ended (" + mistake + "), and is started anew");
    scheduleRestart(director, now);
}

void takeLogLines(Director &director, Moment now, std::string &words) {
    if (director.child.minder == 0)
        return;
    std::vector<std::string> lines;
    const bool isThere = takeOutput(director.child, lines);
    for (const std::string &line : lines) {
        if (const std::optional<Notice> notice = parseLogLine(line))
            hearNotice(director.elections, *notice, now, words);
    }
    if (!isThere)
        loseKeepalived(director, now, words);
}

// Has keepalived take another configuration, as soon as it can: it would not survive to be told while it starts.
void reloadIfDue(Director &director, Moment now, std::string &words) {
    if (!director.isReloadDue || !director.child.isReady)
        return;
    director.isReloadDue = false;
    holdElections(director.elections, now);
    writeBoosts(director, now);
    LogText mistake;
    if (!reloadKeepalived(director.child, director.text, mistake))
        say(words, mistake.text);
}

// ---- copies of connections

void stopCopies(Director &director) {
    if (!director.copying.empty())
        director.options.copies.stop();
    director.copying.clear();
}

// Over the last path, which is the same one on both directors.
void followCopies(Director &director, std::string &words) {
    const Partnership &partnership = director.partnership;
    const bool isWanted = partnership.isPaired && !partnership.paths.empty();
    const std::string interface = isWanted ? partnership.paths.back().interface : "";
    const std::string wanted = isWanted ? interface + " " + std::to_string(partnership.port) : "";
    if (wanted == director.copying || director.options.copies.start == nullptr)
        return;
    stopCopies(director);
    LogText mistake;
    const bool isCopied = !isWanted || director.options.copies.start(interface, partnership.port, mistake);
    if (!isCopied && director.copiesMistake != mistake.text)
        say(words, std::string("connections are not copied: ") + mistake.text);
    director.copiesMistake = isCopied ? "" : mistake.text;
    director.copying = wanted;
}

// ---- what passes

void askReachTargets(Director &director, std::string &words) {
    Reachability &reachability = director.reachability;
    for (ReachState &target : reachability.targets) {
        const uint8_t before = target.status;
        if (!judgeTarget(target) || (before == kReachUnknown && target.status == kReachable))
            continue;
        say(words, "reach target " + dottedText(target.address) +
                       (target.status == kReachable ? " answers again"
                                                    : " does not answer: this director's priority is lowered"));
    }
    askTargets(reachability);
    director.elections.unreachable = unreachableTargets(reachability);
}

void describeAnew(Director &director, ExecutorState &state, Moment now, std::string &words);

void passSecond(Director &director, ExecutorState &state, Moment now, std::string &words) {
    director.secondAt = now + kSecond;
    askReachTargets(director, words);
    if (director.isStale)
        describeAnew(director, state, now, words);
}

// Sets the timer to whatever is due next.
void setTimer(const Director &director) {
    Moment next = director.secondAt;
    for (const Moment each : {nextMoment(director.elections), director.restartAt}) {
        if (each != 0 && each < next)
            next = each;
    }
    itimerspec when{};
    if (director.partnership.isPaired) {
        next = std::max<Moment>(next, 1);
        when.it_value = {next / 1000, next % 1000 * 1'000'000};
    }
    timerfd_settime(director.timer, TFD_TIMER_ABSTIME, &when, nullptr);
}

// What is to be true after whatever has happened.
void settle(Director &director, ExecutorState &state, Moment now, std::string &words) {
    passTime(director.elections, now, words);
    reloadIfDue(director, now, words);
    if (director.child.minder != 0)
        writeBoosts(director, now);
    settleAddresses(director.addresses, director.partnership, director.elections, words);
    if (takeAnnouncements(director.elections, now))
        announceAll(director.addresses, director.partnership, director.elections);
    writeTruth(state.executor, director.partnership, director.elections, director.reachability);
    setTimer(director);
    tellAvailability(state, words);
}

// ---- following the commands

// Has keepalived do what the partnership says now. The configuration has been found good.
void followKeepalived(Director &director, std::string text, Moment now, std::string &words) {
    const bool isWanted = director.partnership.isPaired && !director.partnership.paths.empty();
    const bool isOther = director.text != text;
    director.text = std::move(text);
    if (!isWanted) {
        stopKeepalived(director.child);
        director.restartAt = 0;
    } else if (director.child.minder == 0) {
        startElections(director, now, words);
    } else if (isOther) {
        director.isReloadDue = true;
    }
}

void takeOn(Director &director, Partnership partnership, std::string text, const HaStatusRecord &record, Moment now,
            std::string &words) {
    director.partnership = std::move(partnership);
    if (director.partnership.isPaired) {
        describeTargets(director.reachability, record);
        describeElections(director.elections, director.partnership);
    } else {
        director.reachability.targets.clear();
        director.elections = Elections{};
    }
    director.isStale = false;
    if (director.secondAt == 0)
        director.secondAt = now;
    followKeepalived(director, std::move(text), now, words);
    followCopies(director, words);
}

std::string textFor(const Director &director, const Partnership &partnership) {
    return partnership.isPaired && !partnership.paths.empty() ? keepalivedText(partnership, director.options.folder)
                                                              : "";
}

// Once for each: the addresses that have no place.
void tellPlaceless(Director &director, const Partnership &partnership, const std::string &placeless,
                   std::string &words) {
    if (!partnership.isPaired || placeless == director.placeless)
        return;
    director.placeless = placeless;
    if (!placeless.empty())
        say(words, placeless);
}

// Clusters or servers are others than before.
void describeAnew(Director &director, ExecutorState &state, Moment now, std::string &words) {
    Partnership partnership;
    LogText mistake;
    if (!describePartnership(state.executor, listMachineAddresses(), director.options.partnership, partnership,
                             mistake)) {
        director.isStale = false; // an address of a heartbeat has gone; keepalived tells what comes of it
        return;
    }
    std::string text = textFor(director, partnership);
    tellPlaceless(director, partnership, mistake.text, words);
    takeOn(director, std::move(partnership), std::move(text), state.executor.highAvailability, now, words);
}

bool follow(void *own, ExecutorState &state, Command command, const HaBefore &before, LogText &words) {
    Director &director = *static_cast<Director *>(own);
    Executor &executor = state.executor;
    Partnership partnership;
    LogText said;
    if (!describePartnership(executor, listMachineAddresses(), director.options.partnership, partnership, said)) {
        append(words, "%s", said.text);
        return false;
    }
    std::string text = textFor(director, partnership);
    if (!text.empty() && text != director.text && !checkKeepalived(director.child, text, words))
        return false;
    const Moment now = currentMoment();
    std::string told;
    if (command == Command::takeOver && !orderTakeOver(director.elections, now, told)) {
        append(words, "%s", told.c_str());
        return false;
    }
    const bool wasPaired = director.partnership.isPaired;
    tellPlaceless(director, partnership, said.text, told);
    takeOn(director, std::move(partnership), std::move(text), executor.highAvailability, now, told);
    if (wasPaired && !director.partnership.isPaired)
        say(told, "there is no partner any more: the addresses stay as they are");
    if (director.partnership.isPaired) {
        // What the command made of the state was by the configuration alone.
        executor.highAvailability.state = before.record.state;
        executor.highAvailability.substate = before.record.substate;
        for (auto [counters, formerly] : {std::pair(&executor.counters.primary, &before.counters.primary),
                                          std::pair(&executor.counters.backup, &before.counters.backup)}) {
            counters->counters[kCountStateChanges] = formerly->counters[kCountStateChanges];
            counters->counters[kCountSubstateChanges] = formerly->counters[kCountSubstateChanges];
        }
    }
    settle(director, state, now, told);
    return true;
}

void note(void *own, ExecutorState &state, bool isUrgent) {
    Director &director = *static_cast<Director *>(own);
    director.isStale = true;
    if (!isUrgent || (!director.partnership.isPaired && director.addresses.put.empty()))
        return;
    try {
        std::string words;
        const Moment now = currentMoment();
        describeAnew(director, state, now, words);
        settle(director, state, now, words);
    } catch (const std::exception &) {
        director.isStale = true; // memory ran out: the next second does it
    }
}

bool openFolder(Director &director, LogText &words) {
    const std::string &folder = director.options.folder;
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        appendErrno(words, "cannot make", folder);
        return false;
    }
    director.lock = open((folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (director.lock == -1) {
        appendErrno(words, "cannot write in", folder);
        return false;
    }
    if (flock(director.lock, LOCK_EX | LOCK_NB) != 0) {
        append(words, "another process has %s", folder.c_str());
        return false;
    }
    return true;
}

// A keepalived without the program that acts on what it says, and addresses that nobody would remove.
void putAwayLeftOvers(Director &director, std::string &words) {
    const bool wasRunning = endLeftOver(director.child);
    const std::size_t count = removeLeftOvers(director.addresses, words);
    if (count != 0)
        say(words, countOf(count) + " of an earlier run removed");
    if (wasRunning)
        say(words, "keepalived of an earlier run ended");
}

void closeAll(Director &director) {
    closeAddressTalk(director.addresses.talk);
    closeReachability(director.reachability);
    for (int *descriptor : {&director.notices, &director.timer, &director.watch, &director.lock}) {
        if (*descriptor != -1)
            close(*descriptor);
        *descriptor = -1;
    }
}

bool openAll(Director &director, std::string &words) {
    LogText mistake;
    director.child.program = findKeepalived();
    director.child.folder = director.options.folder;
    director.addresses.folder = director.options.folder;
    if (director.child.program.empty()) {
        words = "there is no keepalived (Debian's package keepalived)";
        return false;
    }
    const bool isOpen = openAddressTalk(director.addresses.talk, mistake) &&
                        openReachability(director.reachability, mistake) && openFolder(director, mistake);
    if (isOpen) {
        putAwayLeftOvers(director, words);
        director.notices = prepareKeepalived(director.child, mistake);
    }
    if (!isOpen || director.notices == -1) {
        words = mistake.text;
        return false;
    }
    director.timer = timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK);
    director.watch = epoll_create1(EPOLL_CLOEXEC);
    if (director.timer == -1 || director.watch == -1) {
        words = std::string("no events can be awaited: ") + strerrordesc_np(errno);
        return false;
    }
    return true;
}

} // namespace

void tellAvailability(ExecutorState &state, const std::string &words) {
    // Places are told at the lowest level: whoever looks after a night finds them.
    if (words.empty())
        return;
    LogText line;
    appendTime(line);
    append(line, " high availability: ");
    appendName(line, words);
    writeLine(state, line, isTraced(state, kTraceRefusals, kTraceBit));
}

bool openAvailability(Director &director, const AvailabilityOptions &options, std::string &words) {
    director.options = options;
    words.clear();
    if (!openAll(director, words)) {
        closeAll(director);
        return false;
    }
    for (const int descriptor :
         {director.notices, director.timer, director.addresses.talk.changes, director.reachability.socket})
        watchDescriptor(director, descriptor);
    director.agent = {&director, follow, note};
    return true;
}

void beginAvailability(Director &director, ExecutorState &state) {
    state.availability = &director.agent;
}

void serveAvailability(Director &director, ExecutorState &state) {
    try {
        std::string words;
        uint64_t ticks = 0;
        const Moment now = currentMoment();
        readNotices(director); // before the log, which has the reasons of all that is read then
        takeLogLines(director, now, words);
        takeNotices(director, now, words);
        takeChanges(director.addresses.talk);
        takeAnswers(director.reachability);
        if (read(director.timer, &ticks, sizeof ticks) == sizeof ticks && now >= director.secondAt)
            passSecond(director, state, now, words);
        if (director.restartAt != 0 && now >= director.restartAt)
            startElections(director, now, words);
        settle(director, state, now, words);
    } catch (const std::exception &) {
        // Memory ran out: what is left is done when the timer runs out again.
    }
}

void endAvailability(Director &director, ExecutorState &state) {
    state.availability = nullptr;
    stopKeepalived(director.child);
    std::string words;
    const std::size_t count = removeAll(director.addresses, words);
    if (count != 0)
        say(words, "ended: " + countOf(count) + " removed");
    tellAvailability(state, words);
    stopCopies(director);
    closeAll(director);
}

} // namespace rk
