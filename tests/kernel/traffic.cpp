#include "traffic.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <semaphore>
#include <sstream>
#include <stdexcept>
#include <sys/file.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace rk::traffic {

namespace {

constexpr int kWaiting = 512; // connections that a server has not accepted yet
constexpr char kFreshPortFile[] = "/run/kernel_traffic_port";
constexpr uint16_t kFirstFreshPort = 10'000;
constexpr char kLost[] = "lost";

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

sockaddr_in endpoint(const std::string &address, uint16_t port) {
    sockaddr_in end{};
    end.sin_family = AF_INET;
    end.sin_port = htons(port);
    if (!address.empty() && inet_pton(AF_INET, address.c_str(), &end.sin_addr) != 1)
        throw std::runtime_error(address + " is no address");
    return end;
}

std::string textOf(const sockaddr_in &end) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &end.sin_addr, text, sizeof text);
    return text + (":" + std::to_string(ntohs(end.sin_port)));
}

int bound(int type, const std::string &address, uint16_t port) {
    const int handle = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in own = endpoint(address, port);
    if (handle == -1 || bind(handle, reinterpret_cast<const sockaddr *>(&own), sizeof own) == -1)
        fail("bind " + address + ":" + std::to_string(port));
    return handle;
}

// A port that no connection of this machine has begun from yet, also of another process. A port that is taken again
// meets what the kernel keeps of the connection that had it, and is then counted in ways of its own.
uint16_t freshPort() {
    const int handle = open(kFreshPortFile, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (handle == -1 || flock(handle, LOCK_EX) == -1)
        fail(kFreshPortFile);
    uint16_t port = kFirstFreshPort;
    if (pread(handle, &port, sizeof port, 0) < 0)
        fail(kFreshPortFile);
    const auto following = static_cast<uint16_t>(port + 1);
    if (following == 0)
        throw std::runtime_error("all ports of clients have been taken once");
    if (pwrite(handle, &following, sizeof following, 0) != sizeof following)
        fail(kFreshPortFile);
    close(handle);
    return port;
}

// Answers a datagram from the address that was asked.
void answerDatagram(int handle, const std::string &name) {
    char bytes[64];
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))];
    sockaddr_in client{};
    iovec part{bytes, sizeof bytes};
    msghdr message{};
    message.msg_name = &client;
    message.msg_namelen = sizeof client;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (recvmsg(handle, &message, 0) < 0)
        return;
    auto *head = CMSG_FIRSTHDR(&message);
    if (head == nullptr || head->cmsg_type != IP_PKTINFO)
        return;
    in_pktinfo asked{};
    std::memcpy(&asked, CMSG_DATA(head), sizeof asked);
    in_pktinfo from{};
    from.ipi_spec_dst = asked.ipi_addr;
    std::memcpy(CMSG_DATA(head), &from, sizeof from);
    std::string text = name + " " + textOf(client);
    part = {text.data(), text.size()};
    sendmsg(handle, &message, 0);
}

// A client that has connected to a server.
struct Guest {
    int handle = -1;
    sockaddr_in address{};
};

// False when the connection has ended.
bool answerGuest(const Guest &guest, const std::string &name) {
    char line[64];
    const ssize_t bytes = recv(guest.handle, line, sizeof line, 0);
    if (bytes <= 0)
        return bytes < 0 && errno == EAGAIN;
    const std::string text = name + " " + textOf(guest.address) + "\n";
    send(guest.handle, text.data(), text.size(), MSG_NOSIGNAL);
    return line[0] == '!';
}

enum class Kind : uint8_t { listener, datagrams, guest };

struct Watched {
    Kind kind = Kind::guest;
    Guest guest;
};

// What can be read may be gone again when it is looked at: nothing waits but poll.
void neverWait(int handle) {
    fcntl(handle, F_SETFL, O_NONBLOCK);
}

// What all servers of this process have taken, by the client's address.
std::mutex takenLock;
std::map<in_addr_t, Answers> takenByAddress;

void acceptGuest(int listener, const std::string &name, std::vector<Watched> &all) {
    Watched watched;
    socklen_t size = sizeof watched.guest.address;
    watched.guest.handle = accept4(listener, reinterpret_cast<sockaddr *>(&watched.guest.address), &size, SOCK_CLOEXEC);
    if (watched.guest.handle == -1)
        return;
    all.push_back(watched);
    const std::lock_guard guard(takenLock);
    ++takenByAddress[watched.guest.address.sin_addr.s_addr][name];
}

void answerForEver(const std::string &name, std::vector<Watched> all) {
    for (;;) {
        std::vector<pollfd> wanted;
        for (const Watched &watched : all)
            wanted.push_back({watched.guest.handle, POLLIN, 0});
        if (poll(wanted.data(), wanted.size(), -1) < 0)
            continue;
        for (std::size_t index = wanted.size(); index > 0; --index) {
            if (wanted[index - 1].revents == 0)
                continue;
            const Watched watched = all[index - 1];
            if (watched.kind == Kind::listener)
                acceptGuest(watched.guest.handle, name, all);
            else if (watched.kind == Kind::datagrams)
                answerDatagram(watched.guest.handle, name);
            else if (!answerGuest(watched.guest, name)) {
                close(watched.guest.handle);
                all.erase(all.begin() + static_cast<std::ptrdiff_t>(index) - 1);
            }
        }
    }
}

void setPatience(int handle, int milliseconds) {
    const timeval time{milliseconds / 1000, milliseconds % 1000 * 1000};
    setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
    setsockopt(handle, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

std::string wordFor(int error) {
    if (error == ECONNREFUSED || error == EHOSTUNREACH)
        return "refused";
    return error == ECONNRESET || error == EPIPE ? "reset" : kLost;
}

std::string clientOf(const Request &request, int index) {
    return request.clients.empty() ? "" : request.clients[static_cast<std::size_t>(index) % request.clients.size()];
}

uint16_t clientPortOf(const Request &request, int index) {
    if (request.firstClientPort == 0)
        return freshPort();
    return static_cast<uint16_t>(request.firstClientPort +
                                 index % (request.lastClientPort - request.firstClientPort + 1));
}

// What the director knows of the connection from a port of a client: its line in the kernel's table.
std::string knownOf(uint16_t clientPort) {
    char entry[16] = "";
    std::snprintf(entry, sizeof entry, " %04X ", static_cast<unsigned int>(clientPort));
    std::ifstream table("/proc/1/net/ip_vs_conn");
    for (std::string line; std::getline(table, line);)
        if (line.find(entry) != std::string::npos)
            return line;
    return "not known any more";
}

// For the log, as a connection that is lost is seldom expected.
void tellOfLost(int handle, const char *what) {
    sockaddr_in own{};
    socklen_t size = sizeof own;
    getsockname(handle, reinterpret_cast<sockaddr *>(&own), &size);
    std::fprintf(stderr, "%s to %s; in the director's table: %s\n", what, textOf(own).c_str(),
                 knownOf(ntohs(own.sin_port)).c_str());
}

// A socket that is connected, or -1 and errno.
int connected(const Request &request, int type, int index) {
    const int handle = bound(type, clientOf(request, index), clientPortOf(request, index));
    setPatience(handle, request.milliseconds);
    if (request.typeOfService != 0)
        setsockopt(handle, IPPROTO_IP, IP_TOS, &request.typeOfService, sizeof request.typeOfService);
    const sockaddr_in cluster = endpoint(request.address, request.port);
    if (connect(handle, reinterpret_cast<const sockaddr *>(&cluster), sizeof cluster) == 0)
        return handle;
    const int error = errno;
    if (wordFor(error) == kLost)
        tellOfLost(handle, "no connection");
    close(handle);
    errno = error;
    return -1;
}

// What comes back for `line`, or what went wrong.
std::string exchanged(int handle, const char *line) {
    char bytes[128];
    errno = 0;
    if (send(handle, line, 2, MSG_NOSIGNAL) < 0)
        return wordFor(errno);
    const ssize_t size = recv(handle, bytes, sizeof bytes, 0);
    if (size == 0)
        return "closed";
    return size < 0 ? wordFor(errno) : std::string(bytes, static_cast<std::size_t>(size));
}

std::string answerTo(const Request &request, int index) {
    const int handle = connected(request, SOCK_STREAM, index);
    if (handle == -1)
        return wordFor(errno);
    const std::string answer = exchanged(handle, "?\n");
    if (answer == kLost)
        tellOfLost(handle, "no answer");
    close(handle);
    return answer;
}

std::string firstWord(const std::string &answer) {
    return answer.substr(0, answer.find_first_of(" \n"));
}

// Runs `work` in a thread of its own in the request's namespace.
template <typename Work> auto within(const Request &request, Work work) {
    decltype(work()) result;
    std::thread([&] {
        if (!request.from.empty())
            enterNamespace(request.from);
        result = work();
    }).join();
    return result;
}

} // namespace

void enterNamespace(const std::string &name) {
    const int handle = open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC);
    if (handle == -1 || setns(handle, CLONE_NEWNET) == -1)
        fail("namespace " + name);
    close(handle);
}

void serve(const std::string &name, const std::vector<uint16_t> &ports) {
    std::binary_semaphore isListening(0);
    std::thread([&] {
        enterNamespace(name);
        std::vector<Watched> all;
        for (const uint16_t port : ports) {
            all.push_back({Kind::listener, {bound(SOCK_STREAM, "", port), {}}});
            if (listen(all.back().guest.handle, kWaiting) == -1)
                fail("listen");
            all.push_back({Kind::datagrams, {bound(SOCK_DGRAM, "", port), {}}});
            const int on = 1;
            setsockopt(all.back().guest.handle, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
        }
        for (const Watched &watched : all) {
            neverWait(watched.guest.handle);
        }
        const std::string ownName = name;
        isListening.release();
        answerForEver(ownName, std::move(all));
    }).detach();
    isListening.acquire();
}

Answers ask(const Request &request, int count) {
    return within(request, [&] {
        Answers answers;
        for (int index = 0; index < count; ++index)
            ++answers[firstWord(answerTo(request, index))];
        return answers;
    });
}

Answers askByDatagram(const Request &request, int count, bool isOneSocket) {
    return within(request, [&] {
        Answers answers;
        int handle = -1;
        for (int index = 0; index < count; ++index) {
            if (handle == -1)
                handle = connected(request, SOCK_DGRAM, index);
            ++answers[firstWord(exchanged(handle, "?\n"))];
            if (isOneSocket)
                continue;
            close(handle);
            handle = -1;
        }
        if (handle != -1)
            close(handle);
        return answers;
    });
}

bool haveEnded(const Request &request) {
    constexpr char timeWait[] = "06";
    return within(request, [&] {
        std::ifstream table("/proc/thread-self/net/tcp");
        std::string slot;
        std::string own;
        std::string peer;
        std::string state;
        std::getline(table, slot); // the heading
        for (std::string line; std::getline(table, line);) {
            std::istringstream(line) >> slot >> own >> peer >> state;
            for (const std::string &client : request.clients) {
                char address[16] = "";
                std::snprintf(address, sizeof address, "%08X:", endpoint(client, 0).sin_addr.s_addr);
                if (own.starts_with(address) && state != timeWait)
                    return false;
            }
        }
        return true;
    });
}

Answers takenFrom(const std::vector<std::string> &clients) {
    const std::lock_guard guard(takenLock);
    Answers taken;
    for (const std::string &client : clients)
        for (const auto &[name, count] : takenByAddress[endpoint(client, 0).sin_addr.s_addr])
            taken[name] += count;
    return taken;
}

std::string answerTo(const Request &request) {
    return within(request, [&] {
        std::string answer = answerTo(request, 0);
        while (!answer.empty() && answer.back() == '\n')
            answer.pop_back();
        return answer;
    });
}

Held hold(const Request &request, int count) {
    return within(request, [&] {
        Held held;
        for (int index = 0; index < count; ++index) {
            const int handle = connected(request, SOCK_STREAM, index);
            if (handle != -1)
                held.sockets.push_back(handle);
        }
        return held;
    });
}

Held begin(const Request &request, int count) {
    return within(request, [&] {
        Held held;
        const sockaddr_in cluster = endpoint(request.address, request.port);
        for (int index = 0; index < count; ++index) {
            held.sockets.push_back(bound(SOCK_STREAM, clientOf(request, index), clientPortOf(request, index)));
            neverWait(held.sockets.back());
            connect(held.sockets.back(), reinterpret_cast<const sockaddr *>(&cluster), sizeof cluster);
        }
        return held;
    });
}

Answers askHeld(const Held &held) {
    Answers answers;
    for (const int handle : held.sockets)
        ++answers[firstWord(exchanged(handle, "!\n"))];
    return answers;
}

void letGo(Held &held) {
    for (const int handle : held.sockets)
        close(handle);
    held.sockets.clear();
}

std::string textOf(const Answers &answers) {
    std::string text;
    for (const auto &[name, count] : answers)
        text += (text.empty() ? "" : " ") + name + "=" + std::to_string(count);
    return text;
}

} // namespace rk::traffic
