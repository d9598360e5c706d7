// qelxwd without its device, for network namespaces on a machine that has no such device: high availability as there,
// and commands that come as words.
//   director serve NAME SOCKET [OPTION OF qelxwd...]
//       until SIGTERM; answers "NAME" to each datagram at UDP port 7777
//   director ask SOCKET COMMAND [WORD...]
//       one command; prints what became of it
//   director who ADDRESS
//       who answers at port 7777 of the address, or "nobody"
//   director stream ADDRESS SECONDS
//       asks every 20 ms; prints "asked N unanswered N longest MILLISECONDS"
//   director forge SOURCE DESTINATION IDENTIFIER PRIORITY ADDRESS COUNT
//       adverts that somebody else makes up, 20 a second
//   director drain, director announce
//       as qelxwd does with these options
#include "executor/commands/commands.h"
#include "executor/commands/perform_command.h"
#include "executor/fronts/device_availability.h"
#include "executor/fronts/device_forwarding.h"
#include "executor/fronts/device_options.h"
#include "executor/state/logs.h"
#include "forged_adverts.h"

#include <algorithm>
#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <poll.h>
#include <sstream>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace rk {
namespace {

constexpr uint16_t kNamePort = 7777;

NetworkAddress address(const std::string &text) {
    in_addr parsed{};
    inet_pton(AF_INET, text.c_str(), &parsed);
    return {parsed.s_addr};
}

template <typename Record> std::string perform(ExecutorState &state, Record &record) {
    record.header.length = sizeof record;
    performCommand(state, &record.header);
    return "result " + std::to_string(record.header.result) + " reason " + std::to_string(record.header.reason);
}

// The words of an HA command become its words in the record: addresses as such, all else as numbers.
std::string performControl(ExecutorState &state, Command command, std::istringstream &words) {
    HaControlRecord record{};
    record.header.command = command;
    std::string word;
    for (uint32_t *field : {&record.first, &record.second, &record.third}) {
        if (!(words >> word))
            break;
        *field = word.find('.') == std::string::npos ? static_cast<uint32_t>(std::stoul(word)) : address(word).word;
    }
    if (command == Command::deleteBackup)
        record.header.length = sizeof(CommandHeader);
    else
        record.header.length = sizeof record;
    performCommand(state, &record.header);
    return "result " + std::to_string(record.header.result) + " reason " + std::to_string(record.header.reason);
}

std::string performCluster(ExecutorState &state, Command command, std::istringstream &words) {
    ClusterRecord record{};
    record.header.command = command;
    std::string dotted;
    std::string primaryHost;
    words >> record.clusterKey >> dotted >> primaryHost;
    record.address = address(dotted);
    record.setAddress = 1;
    record.primaryHost = address(primaryHost);
    record.setPrimaryHost = 1;
    std::snprintf(record.clusterId, sizeof record.clusterId, "c%u", record.clusterKey);
    return perform(state, record);
}

// Port 80 of a cluster.
std::string performPort(ExecutorState &state, uint32_t clusterKey, int32_t method) {
    PortRecord port{};
    port.header.command = Command::addPort;
    port.clusterKey = clusterKey;
    port.port = toNetworkPort(80);
    port.method = static_cast<decltype(port.method)>(method);
    port.setMethod = 1;
    return perform(state, port);
}

// The last number of its address.
uint32_t serverKeyOf(const std::string &dotted) {
    return ntohl(address(dotted).word) & 0xFF;
}

std::string performServer(ExecutorState &state, Command command, uint32_t clusterKey, std::istringstream &words) {
    ServerRecord server{};
    server.header.command = command;
    server.clusterKey = clusterKey;
    server.port = toNetworkPort(80);
    std::string dotted;
    words >> dotted >> server.weight;
    server.setWeight = server.weight != 0 ? 1 : 0;
    server.serverKey = serverKeyOf(dotted);
    std::snprintf(server.serverId, sizeof server.serverId, "%s", dotted.c_str());
    return perform(state, server);
}

std::string performMark(ExecutorState &state, Command command, uint32_t clusterKey, std::istringstream &words) {
    ServerCommandRecord record{};
    record.header.command = command;
    record.clusterKey = clusterKey;
    record.port = toNetworkPort(80);
    record.numberOfServers = 1;
    std::string dotted;
    words >> dotted;
    record.serverKey = serverKeyOf(dotted);
    return perform(state, record);
}

// Of a cluster: "port METHOD", or a server by its address and weight; "server" adds a port with it.
std::string performTraffic(ExecutorState &state, const std::string &word, std::istringstream &words) {
    uint32_t clusterKey = 0;
    words >> clusterKey;
    if (word == "port") {
        int32_t method = 0;
        words >> method;
        return performPort(state, clusterKey, method);
    }
    if (word == "put")
        return performServer(state, Command::addServer, clusterKey, words);
    if (word == "down" || word == "up")
        return performMark(state, word == "down" ? Command::markServerDown : Command::markServerUp, clusterKey, words);
    const std::string said = performPort(state, clusterKey, kMethodTranslation);
    return said + ", server: " + performServer(state, Command::addServer, clusterKey, words);
}

std::string performStatus(ExecutorState &state) {
    HaStatusRecord record{};
    record.header.command = Command::readHighAvailability;
    perform(state, record);
    std::ostringstream text;
    text << "mode " << record.mode << " role " << int{record.role} << " strategy " << int{record.strategy} << " state "
         << int{record.state} << " substate " << int{record.substate} << " peer " << int{record.peer} << " heartbeats";
    for (int index = 0; index < record.heartbeatCount; ++index)
        text << ' ' << int{record.heartbeats[index].status};
    text << " reach";
    for (int index = 0; index < record.reachCount; ++index)
        text << ' ' << int{record.reachTargets[index].localStatus};
    return text.str();
}

struct WordRow {
    const char *word;
    Command command;
};
constexpr WordRow kControls[] = {
    {"backup", Command::addBackup},         {"nobackup", Command::deleteBackup},
    {"heartbeat", Command::addHeartbeat},   {"noheartbeat", Command::deleteHeartbeat},
    {"reach", Command::addReachTarget},     {"noreach", Command::deleteReachTarget},
    {"change", Command::changeReachTarget}, {"takeover", Command::takeOver},
};

std::string answer(ExecutorState &state, const std::string &line) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    for (const WordRow &row : kControls) {
        if (word == row.word)
            return performControl(state, row.command, words);
    }
    if (word == "cluster")
        return performCluster(state, Command::addCluster, words);
    if (word == "nocluster")
        return performCluster(state, Command::removeCluster, words);
    for (const char *known : {"server", "port", "put", "down", "up"})
        if (word == known)
            return performTraffic(state, word, words);
    return word == "status" ? performStatus(state) : "no such word";
}

int openLocal(const char *path) {
    const int opened = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un own{};
    own.sun_family = AF_UNIX;
    std::snprintf(own.sun_path, sizeof own.sun_path, "%s", path);
    unlink(path);
    const bool isBound = bind(opened, reinterpret_cast<sockaddr *>(&own), sizeof own) == 0;
    chmod(path, 0777); // whoever asks may be another user
    return isBound ? opened : -1;
}

void answerLocal(ExecutorState &state, int local) {
    char line[1000];
    sockaddr_un from{};
    socklen_t size = sizeof from;
    const ssize_t count = recvfrom(local, line, sizeof line, 0, reinterpret_cast<sockaddr *>(&from), &size);
    const std::string said = answer(state, std::string(line, static_cast<std::size_t>(std::max<ssize_t>(count, 0))));
    sendto(local, said.data(), said.size(), 0, reinterpret_cast<sockaddr *>(&from), size);
}

// Answers from the address that was asked.
void answerName(int named, const char *name) {
    char question[100];
    char control[100];
    sockaddr_in from{};
    iovec part{question, sizeof question};
    msghdr message{};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t size = recvmsg(named, &message, 0);
    if (size < 0)
        return;
    std::string said = name + (" " + std::string(question, static_cast<std::size_t>(size)));
    part = {said.data(), said.size()};
    sendmsg(named, &message, 0);
}

int openNames() {
    const int opened = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_port = htons(kNamePort);
    (void)!bind(opened, reinterpret_cast<sockaddr *>(&own), sizeof own);
    const int on = 1;
    setsockopt(opened, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    return opened;
}

int serve(int count, char **arguments) {
    const char *name = arguments[0];
    const int local = openLocal(arguments[1]);
    const DeviceOptions options = parseDeviceOptions(count - 1, arguments + 1);
    if (options.action != DeviceAction::serve) {
        std::fprintf(stderr, "%s: %s\n", name, options.mistake.c_str());
        return 2;
    }
    ExecutorState state;
    openLogFile(state, options.logFile.c_str());
    sigset_t caught;
    sigemptyset(&caught);
    sigaddset(&caught, SIGTERM);
    sigprocmask(SIG_BLOCK, &caught, nullptr);
    startExecutor(state);
    DeviceAvailability availability;
    DeviceForwarding forwarding;
    if (!beginDeviceAvailability(options.availability, runtimeFolder(), kernelCopies(), state, availability)) {
        std::fprintf(stderr, "%s: %s\n", name, availability.words.c_str());
        return 1;
    }
    if (!beginDeviceForwarding(options, state, forwarding)) {
        std::fprintf(stderr, "%s: %s\n", name, forwarding.words.c_str());
        return 1;
    }
    const int timer = openTicks(state);
    pollfd wanted[] = {{local, POLLIN, 0},
                       {openNames(), POLLIN, 0},
                       {availability.director.watch, POLLIN, 0},
                       {signalfd(-1, &caught, SFD_CLOEXEC), POLLIN, 0},
                       {timer, POLLIN, 0}};
    while (wanted[3].revents == 0) {
        poll(wanted, 5, -1);
        if (wanted[4].revents != 0)
            tickDevice(state, timer);
        if (wanted[2].revents != 0)
            serveDeviceAvailability(state, availability);
        if (wanted[0].revents != 0)
            answerLocal(state, local);
        if (wanted[1].revents != 0)
            answerName(wanted[1].fd, name);
    }
    endDeviceService(state, availability, forwarding);
    return 0;
}

int ask(int count, char **arguments) {
    std::string line;
    for (int index = 1; index < count; ++index)
        line += (index > 1 ? " " : "") + std::string(arguments[index]);
    const std::string own = arguments[0] + (".ask" + std::to_string(getpid()));
    const int local = openLocal(own.c_str());
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    std::snprintf(to.sun_path, sizeof to.sun_path, "%s", arguments[0]);
    const timeval patience{10, 0};
    setsockopt(local, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    char said[1000];
    ssize_t size = sendto(local, line.data(), line.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
    size = size < 0 ? size : recv(local, said, sizeof said, 0);
    unlink(own.c_str());
    if (size < 0) {
        std::puts("no answer");
        return 1;
    }
    std::printf("%.*s\n", static_cast<int>(size), said);
    return std::strncmp(said, "result -1", 9) == 0 ? 1 : 0;
}

int drainOrAnnounce(const std::string &what) {
    std::string words;
    const bool isDone = changeAnnouncement(what == "drain" ? DeviceAction::drain : DeviceAction::announce, words);
    std::puts(words.c_str());
    return isDone ? 0 : 1;
}

int forge(char **arguments) {
    const ForgedAdvert advert{arguments[0], arguments[1], static_cast<uint8_t>(std::atoi(arguments[2])),
                              static_cast<uint8_t>(std::atoi(arguments[3])), arguments[4]};
    return sendForged(advert, std::atoi(arguments[5])) ? 0 : 1;
}

double seconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

int openQuestions(const char *dotted) {
    const int opened = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(kNamePort);
    to.sin_addr.s_addr = address(dotted).word;
    (void)!connect(opened, reinterpret_cast<sockaddr *>(&to), sizeof to);
    return opened;
}

// Who answers; "nobody" when that takes longer.
std::string askName(int opened, int milliseconds) {
    static int asked = 0;
    const std::string question = std::to_string(++asked);
    (void)!send(opened, question.data(), question.size(), 0);
    const double end = seconds() + milliseconds / 1000.0;
    for (double left = milliseconds; left > 0; left = (end - seconds()) * 1000) {
        pollfd wanted{opened, POLLIN, 0};
        if (poll(&wanted, 1, static_cast<int>(left)) <= 0)
            break;
        char said[200];
        const ssize_t size = recv(opened, said, sizeof said, 0);
        const std::string whole(said, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        if (whole.ends_with(" " + question))
            return whole.substr(0, whole.find(' '));
    }
    return "nobody";
}

int stream(const char *dotted, double length) {
    const int opened = openQuestions(dotted);
    int asked = 0;
    int unanswered = 0;
    double answered = seconds();
    double longest = 0;
    const double end = answered + length;
    while (seconds() < end) {
        ++asked;
        if (askName(opened, 100) == "nobody") {
            ++unanswered;
            continue;
        }
        longest = std::max(longest, seconds() - answered);
        answered = seconds();
        usleep(20'000);
    }
    longest = std::max(longest, seconds() - answered);
    std::printf("asked %d unanswered %d longest %.0f\n", asked, unanswered, longest * 1000);
    return 0;
}

} // namespace
} // namespace rk

int main(int count, char **arguments) {
    const std::string what = count > 1 ? arguments[1] : "";
    if (what == "drain" || what == "announce")
        return rk::drainOrAnnounce(what);
    if (what == "serve" && count > 3)
        return rk::serve(count - 2, arguments + 2);
    if (what == "ask" && count > 3)
        return rk::ask(count - 2, arguments + 2);
    if (what == "who" && count > 2)
        return std::puts(rk::askName(rk::openQuestions(arguments[2]), 1000).c_str()) < 0 ? 1 : 0;
    if (what == "forge" && count > 7)
        return rk::forge(arguments + 2);
    if (what == "stream" && count > 3)
        return rk::stream(arguments[2], std::atof(arguments[3]));
    return 2;
}
