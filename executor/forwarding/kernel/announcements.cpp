#include "executor/forwarding/kernel/announcements.h"

#include "executor/forwarding/kernel/connection_table.h"
#include "executor/forwarding/kernel/pool_services.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr char kRequest[] = "/drain";
constexpr char kStateFile[] = "/announcement";
constexpr useconds_t kLookAgain = 100'000;
constexpr int kLooksPerSecond = 10;

bool writeWhole(const std::string &file, const std::string &text) {
    const int handle = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (handle == -1)
        return false;
    const bool isWritten = write(handle, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(handle);
    return isWritten;
}

std::string stateIn(const std::string &folder) {
    std::string state;
    readWhole(folder + kStateFile, state);
    state.erase(state.find_last_not_of('\n') + 1);
    return state;
}

bool awaitState(const std::string &folder, AnnouncementState wanted, int seconds) {
    for (int look = 0; look < seconds * kLooksPerSecond; ++look) {
        if (stateIn(folder) == nameOf(wanted))
            return true;
        usleep(kLookAgain);
    }
    return false;
}

bool announces(const std::string &folder, std::string &words) {
    if (!stateIn(folder).empty())
        return true;
    words = "no qelxwd announces here, as one with --announce-table does (" + folder + kStateFile + ")";
    return false;
}

} // namespace

std::set<uint32_t> addressesToAnnounce(const Plan &plan, const Announcements &announcements, int64_t now) {
    std::set<uint32_t> addresses;
    if (announcements.state != AnnouncementState::announced)
        return addresses;
    for (const auto &[id, pool] : plan.pools) {
        const uint32_t address = wordOf(id.port.address);
        if (announcements.routes.contains(address) || (pool.takers > 0 && now >= announcements.settledAt))
            addresses.insert(address);
    }
    return addresses;
}

bool followDrain(Announcements &announcements, bool isDrainWanted, uint64_t packets, int64_t now) {
    const AnnouncementState before = announcements.state;
    if (packets != announcements.packets || before == AnnouncementState::announced)
        announcements.quietSince = now;
    announcements.packets = packets;
    if (!isDrainWanted)
        announcements.state = AnnouncementState::announced;
    else if (before == AnnouncementState::announced)
        announcements.state = AnnouncementState::draining;
    else if (now - announcements.quietSince >= kQuietSeconds)
        announcements.state = AnnouncementState::drained;
    return announcements.state != before;
}

const char *nameOf(AnnouncementState state) {
    constexpr const char *names[] = {"announced", "draining", "drained"};
    return names[static_cast<int>(state)];
}

bool askToDrain(const std::string &folder, int seconds, std::string &words) {
    if (!announces(folder, words))
        return false;
    if (!writeWhole(folder + kRequest, "")) {
        words = folder + kRequest + " cannot be written: " + std::strerror(errno);
        return false;
    }
    if (awaitState(folder, AnnouncementState::drained, seconds)) {
        words = "drained: nothing is announced, and no packet came for " + std::to_string(kQuietSeconds) + " seconds";
        return true;
    }
    words = stateIn(folder) == nameOf(AnnouncementState::draining)
                ? "nothing is announced any more, and packets come still after " + std::to_string(seconds) +
                      " seconds: do the routers know?"
                : "no answer within " + std::to_string(seconds) + " seconds: does qelxwd run?";
    return false;
}

bool askToAnnounce(const std::string &folder, int seconds, std::string &words) {
    if (!announces(folder, words))
        return false;
    if (unlink((folder + kRequest).c_str()) != 0 && errno != ENOENT) {
        words = folder + kRequest + " cannot be removed: " + std::strerror(errno);
        return false;
    }
    const bool isDone = awaitState(folder, AnnouncementState::announced, seconds);
    words = isDone ? "announcing again" : "no answer within " + std::to_string(seconds) + " seconds: does qelxwd run?";
    return isDone;
}

bool isDrainWanted(const std::string &folder) {
    return access((folder + kRequest).c_str(), F_OK) == 0;
}

bool tellAnnouncement(const std::string &folder, AnnouncementState state) {
    return writeWhole(folder + kStateFile, std::string(nameOf(state)) + "\n");
}

void endAnnouncement(const std::string &folder) {
    unlink((folder + kStateFile).c_str());
}

} // namespace rk
