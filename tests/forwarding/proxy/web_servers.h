// Small web servers on loopback, and clients that ask them. Each answers with its name.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace rk {

struct WebServer {
    std::string name;
    std::string address;
    int port = 0;
    int listener = -1;
    int waker = -1;                // readable: the server is to end
    std::atomic<int> requests{0};  // that it answered
    std::set<std::string> clients; // addresses that connected; to be looked at after an answer
    std::thread thread;
};

// Null when it cannot listen there.
std::unique_ptr<WebServer> startWebServer(const std::string &name, const std::string &address, int port);
void stopWebServer(WebServer &server);

struct Client {
    std::string from = "127.0.0.1"; // its address
    int fromPort = 0;               // 0: any
    std::string path = "/";
    std::string headers; // each with its line end
};

// A connection that is open until it is closed; -1 when it is refused.
int openConnection(const std::string &address, int port, const Client &client = {});

// Asks over an open connection. Returns the server's name, or the empty text when there is no answer; `header` gets
// what stands before it.
std::string askServer(int connection, const Client &client = {}, std::string *header = nullptr);

// A request on a connection of its own.
std::string request(const std::string &address, int port, const Client &client = {}, std::string *header = nullptr);

// How often each server answered; the empty name stands for requests without an answer.
using Shares = std::map<std::string, int>;
Shares requests(int count, const std::string &address, int port, const Client &client = {});

} // namespace rk
