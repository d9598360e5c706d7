#include "executor/forwarding/proxy/talk.h"

#include "executor/forwarding/proxy/replies.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace rk {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kLongestReply = std::size_t{256} << 20; // far above what 10,000 servers take
constexpr std::string_view kPrompt = "\n> ";                  // behind each reply on a connection that stays open

Clock::time_point after(int milliseconds) {
    return Clock::now() + std::chrono::milliseconds(milliseconds);
}

OwnDescriptor openSocket(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    OwnDescriptor opened;
    if (path.size() >= sizeof address.sun_path)
        return opened;
    std::memcpy(address.sun_path, path.data(), path.size());
    opened = ownDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // A Unix socket is connected at once, or not at all.
    if (opened.number >= 0 && connect(opened.number, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        closeOwn(opened);
    return opened;
}

// Whether the socket is ready for `events` before the time is over.
bool waitFor(const OwnDescriptor &descriptor, short events, Clock::time_point end) {
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0 || !isOurs(descriptor))
            return false;
        pollfd watched{descriptor.number, events, 0};
        const int ready = poll(&watched, 1, static_cast<int>(left));
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}

bool sendAll(const OwnDescriptor &descriptor, std::string_view text, Clock::time_point end) {
    while (!text.empty()) {
        if (!waitFor(descriptor, POLLOUT, end))
            return false;
        // The signal for a closed socket would be the host's.
        const ssize_t sent = send(descriptor.number, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent > 0)
            text.remove_prefix(static_cast<std::size_t>(sent));
        else if (errno != EAGAIN && errno != EINTR)
            return false;
    }
    return true;
}

// Appends what comes next; nothing when the other end has closed. False when that takes too long.
bool receive(const OwnDescriptor &descriptor, std::string &reply, Clock::time_point end) {
    for (;;) {
        if (reply.size() > kLongestReply || !waitFor(descriptor, POLLIN, end))
            return false;
        char part[16384];
        const ssize_t received = recv(descriptor.number, part, sizeof part, 0);
        if (received >= 0) {
            reply.append(part, static_cast<std::size_t>(received));
            return true;
        }
        if (errno != EAGAIN && errno != EINTR)
            return false;
    }
}

// Whether as many replies come as there are commands.
bool receiveReplies(const OwnDescriptor &socket, std::ptrdiff_t left, std::string &replies, Clock::time_point end) {
    for (std::size_t seen = 0; left > 0;) {
        const std::size_t before = replies.size();
        if (!receive(socket, replies, end) || replies.size() == before)
            return false;
        for (std::size_t prompt = 0; (prompt = replies.find(kPrompt, seen)) != std::string::npos; --left) {
            replies.erase(prompt + 1, kPrompt.size() - 1);
            seen = prompt + 1;
        }
        seen = std::max(seen, replies.size() - std::min(replies.size(), kPrompt.size() - 1));
    }
    return true;
}

// Also in a process that was forked off, which may have it open as well.
void endConnection(const OwnDescriptor &socket) {
    if (isOurs(socket))
        shutdown(socket.number, SHUT_RDWR);
}

} // namespace

bool ask(const std::string &socketPath, std::string_view command, std::string &reply, int milliseconds) {
    const Clock::time_point end = after(milliseconds);
    reply.clear();
    OwnDescriptor descriptor = openSocket(socketPath);
    bool isAnswered =
        sendAll(descriptor, std::string(command) + "\n", end) && shutdown(descriptor.number, SHUT_WR) == 0;
    for (bool isClosed = false; isAnswered && !isClosed;) {
        const std::size_t before = reply.size();
        isAnswered = receive(descriptor, reply, end);
        isClosed = reply.size() == before;
    }
    closeOwn(descriptor);
    return isAnswered;
}

bool holdWorker(const std::string &socketPath, HeldWorker &worker) {
    worker.socket = openSocket(socketPath);
    std::string reply;
    if (askHeld(worker, "prompt", reply) && askHeld(worker, "show info", reply))
        worker.process = parseProcess(reply);
    if (worker.process <= 0)
        releaseWorker(worker);
    return worker.process > 0;
}

bool askHeld(const HeldWorker &worker, std::string_view commands, std::string &replies, int milliseconds) {
    const Clock::time_point end = after(milliseconds);
    replies.clear();
    if (sendAll(worker.socket, std::string(commands) + "\n", end) &&
        receiveReplies(worker.socket, 1 + std::count(commands.begin(), commands.end(), '\n'), replies, end))
        return true;
    endConnection(worker.socket); // what comes late would be taken for the reply to something else
    return false;
}

void releaseWorker(HeldWorker &worker) {
    endConnection(worker.socket);
    closeOwn(worker.socket);
    worker.process = 0;
}

} // namespace rk
