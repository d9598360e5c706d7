#include "executor/forwarding/kernel/connection_table.h"

#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <netinet/in.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr std::size_t kReadBytes = 65536;
constexpr int kPacketsLine = 2; // behind two lines of headings
constexpr int kPacketsColumn = 1;

struct StateRow {
    std::string_view name;
    KernelState state;
};
constexpr StateRow kStates[] = {
    {"ESTABLISHED", KernelState::established},
    {"SYN_SENT", KernelState::synSent},
    {"SYN_RECV", KernelState::synReceived},
    {"FIN_WAIT", KernelState::finWait},
    {"TIME_WAIT", KernelState::timeWait},
    {"CLOSE", KernelState::close},
    {"CLOSE_WAIT", KernelState::closeWait},
    {"LAST_ACK", KernelState::lastAck},
    {"LISTEN", KernelState::listen},
    {"SYNACK", KernelState::synAcknowledged},
    {"UDP", KernelState::udp},
};

struct TransportRow {
    std::string_view name;
    uint16_t transport;
};
constexpr TransportRow kTransports[] = {{"TCP", IPPROTO_TCP}, {"UDP", IPPROTO_UDP}, {"IP", IPPROTO_IP}};

// Takes the first line off `text`, without its end.
std::string_view takeLine(std::string_view &text) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

// Takes the first word off `line`; empty when there is none.
std::string_view takeWord(std::string_view &line) {
    const std::size_t begin = line.find_first_not_of(' ');
    if (begin == std::string_view::npos)
        return {};
    line.remove_prefix(begin);
    const std::string_view word = line.substr(0, line.find(' '));
    line.remove_prefix(word.size());
    return word;
}

// Takes a number that fills the next word of `line`.
template <typename Number> bool takeNumber(std::string_view &line, int base, Number &number) {
    const std::string_view word = takeWord(line);
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number, base);
    return !word.empty() && error == std::errc() && end == word.data() + word.size();
}

bool takeTransport(std::string_view &line, uint16_t &transport) {
    const std::string_view word = takeWord(line);
    for (const TransportRow &row : kTransports)
        if (row.name == word) {
            transport = row.transport;
            return true;
        }
    return false;
}

KernelState takeState(std::string_view &line) {
    const std::string_view word = takeWord(line);
    for (const StateRow &row : kStates)
        if (row.name == word)
            return row.state;
    return KernelState::other;
}

bool parseConnection(std::string_view line, KernelConnection &connection) {
    if (!takeTransport(line, connection.transport) || !takeNumber(line, 16, connection.clientAddress) ||
        !takeNumber(line, 16, connection.clientPort) || !takeNumber(line, 16, connection.clusterAddress) ||
        !takeNumber(line, 16, connection.clusterPort) || !takeNumber(line, 16, connection.serverAddress) ||
        !takeNumber(line, 16, connection.serverPort))
        return false;
    connection.state = takeState(line);
    return takeNumber(line, 10, connection.expires);
}

} // namespace

std::vector<KernelConnection> parseConnections(std::string_view text) {
    std::vector<KernelConnection> connections;
    while (!text.empty()) {
        KernelConnection connection;
        if (parseConnection(takeLine(text), connection))
            connections.push_back(connection);
    }
    return connections;
}

uint64_t parsePackets(std::string_view text) {
    for (int line = 0; line < kPacketsLine; ++line)
        takeLine(text);
    std::string_view line = takeLine(text);
    for (int column = 0; column < kPacketsColumn; ++column)
        takeWord(line);
    uint64_t packets = 0;
    return takeNumber(line, 16, packets) ? packets : 0;
}

bool readWhole(const std::string &path, std::string &text) {
    text.clear();
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1)
        return false;
    ssize_t bytes = 0;
    std::size_t size = 0;
    do {
        text.resize(size + kReadBytes);
        bytes = read(file, text.data() + size, kReadBytes);
        size += bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
    } while (bytes > 0);
    text.resize(size);
    close(file);
    return bytes == 0;
}

} // namespace rk
