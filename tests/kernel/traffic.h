// Clients and servers of the guest's network, as threads of one process: starting programs is slow in an emulated
// machine.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace rk::traffic {

// Takes the calling thread into a network namespace by its name. Throws std::runtime_error.
void enterNamespace(const std::string &name);

// A thread in the namespace `name` that answers at these TCP and UDP ports of every address until the process ends:
// - a line "?": its own name, the client's address and port as it sees them, and closes the connection
// - a line "!": the same, and keeps the connection
// - a datagram: the same
// Returns when it listens.
void serve(const std::string &name, const std::vector<uint16_t> &ports);

struct Request {
    std::string address; // of the cluster
    uint16_t port = 80;
    std::vector<std::string> clients; // addresses that ask in turn; none: any
    uint16_t firstClientPort = 0;     // ports that are asked from in turn; 0: fresh ones
    uint16_t lastClientPort = 0;
    int typeOfService = 0;
    int milliseconds = 15'000; // to wait for an answer: an emulated machine may stand still for a while
    std::string from = "c";    // the namespace; empty: the director
};

// Who answered how often; what went wrong stands under "lost", "refused" or "reset".
using Answers = std::map<std::string, int>;

// Asks `count` times, one after the other, each with a connection of its own.
Answers ask(const Request &request, int count);

// The same with datagrams, each from a socket of its own, or all from one.
Answers askByDatagram(const Request &request, int count, bool isOneSocket = false);

// Whether client and server have ended all connections that these clients have begun.
bool haveEnded(const Request &request);

// How many connections from these addresses each server of this process has taken so far.
Answers takenFrom(const std::vector<std::string> &clients);

// What the server said to one request: "s1 10.1.0.2:40000".
std::string answerTo(const Request &request);

// Connections that stay open.
struct Held {
    std::vector<int> sockets;
};
Held hold(const Request &request, int count);

// Begins to connect, and waits for nothing.
Held begin(const Request &request, int count);

// Asks once over each connection.
Answers askHeld(const Held &held);
void letGo(Held &held);

// "s1=1 s2=2 s3=3"
std::string textOf(const Answers &answers);

} // namespace rk::traffic
