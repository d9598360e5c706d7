#include "web_servers.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr int kPatience = 5000; // milliseconds that a client waits for an answer

sockaddr_in socketAddress(const std::string &address, int port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, address.c_str(), &result.sin_addr);
    return result;
}

// Reads what there is, and answers each request in it. False when the client has closed.
bool serve(WebServer &server, int connection, std::string &unread) {
    char part[4096];
    const ssize_t count = recv(connection, part, sizeof part, 0);
    if (count <= 0)
        return false;
    unread.append(part, static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = unread.find("\r\n\r\n")) != std::string::npos;) {
        unread.erase(0, end + 4);
        ++server.requests;
        const std::string reply =
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(server.name.size()) + "\r\n\r\n" + server.name;
        if (send(connection, reply.data(), reply.size(), MSG_NOSIGNAL) < 0)
            return false;
    }
    return true;
}

void run(WebServer &server) {
    std::vector<pollfd> watched{{server.waker, POLLIN, 0}, {server.listener, POLLIN, 0}};
    std::map<int, std::string> unread;
    while (watched[0].revents == 0) {
        if (poll(watched.data(), watched.size(), -1) < 0)
            continue;
        for (std::size_t index = watched.size(); index-- > 2;) {
            if (watched[index].revents == 0 || serve(server, watched[index].fd, unread[watched[index].fd]))
                continue;
            close(watched[index].fd);
            unread.erase(watched[index].fd);
            watched.erase(watched.begin() + static_cast<std::ptrdiff_t>(index));
        }
        if (watched[1].revents != 0) {
            sockaddr_in client{};
            socklen_t length = sizeof client;
            const int connection =
                accept4(server.listener, reinterpret_cast<sockaddr *>(&client), &length, SOCK_CLOEXEC);
            if (connection >= 0) {
                char address[INET_ADDRSTRLEN] = "";
                inet_ntop(AF_INET, &client.sin_addr, address, sizeof address);
                server.clients.insert(address);
                watched.push_back({connection, POLLIN, 0});
            }
        }
    }
    for (std::size_t index = 1; index < watched.size(); ++index)
        close(watched[index].fd);
}

} // namespace

std::unique_ptr<WebServer> startWebServer(const std::string &name, const std::string &address, int port) {
    auto server = std::make_unique<WebServer>();
    server->name = name;
    server->address = address;
    server->port = port;
    server->listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(server->listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const sockaddr_in own = socketAddress(address, port);
    if (bind(server->listener, reinterpret_cast<const sockaddr *>(&own), sizeof own) != 0 ||
        listen(server->listener, 1024) != 0) {
        close(server->listener);
        return nullptr;
    }
    server->waker = eventfd(0, EFD_CLOEXEC);
    server->thread = std::thread(run, std::ref(*server));
    return server;
}

void stopWebServer(WebServer &server) {
    if (!server.thread.joinable())
        return;
    eventfd_write(server.waker, 1);
    server.thread.join();
    close(server.waker);
}

int openConnection(const std::string &address, int port, const Client &client) {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(connection, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const timeval patience{kPatience / 1000, 0};
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    const sockaddr_in from = socketAddress(client.from, client.fromPort);
    const sockaddr_in to = socketAddress(address, port);
    if (bind(connection, reinterpret_cast<const sockaddr *>(&from), sizeof from) == 0 &&
        connect(connection, reinterpret_cast<const sockaddr *>(&to), sizeof to) == 0)
        return connection;
    close(connection);
    return -1;
}

std::string askServer(int connection, const Client &client, std::string *header) {
    const std::string text = "GET " + client.path + " HTTP/1.1\r\nHost: farm\r\n" + client.headers + "\r\n";
    if (send(connection, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
        return "";
    std::string reply;
    std::size_t end = std::string::npos;
    for (std::size_t length = 0; end == std::string::npos || reply.size() < end + 4 + length;) {
        char part[4096];
        const ssize_t count = recv(connection, part, sizeof part, 0);
        if (count <= 0)
            return "";
        reply.append(part, static_cast<std::size_t>(count));
        end = reply.find("\r\n\r\n");
        const char *named = end == std::string::npos ? nullptr : strcasestr(reply.c_str(), "content-length:");
        length = named == nullptr ? 0 : std::strtoul(named + sizeof "content-length:" - 1, nullptr, 10);
    }
    if (header != nullptr)
        *header = reply.substr(0, end);
    return reply.compare(0, 12, "HTTP/1.1 200") == 0 ? reply.substr(end + 4) : "";
}

std::string request(const std::string &address, int port, const Client &client, std::string *header) {
    const int connection = openConnection(address, port, client);
    if (connection < 0)
        return "";
    std::string name = askServer(connection, client, header);
    close(connection);
    return name;
}

Shares requests(int count, const std::string &address, int port, const Client &client) {
    Shares shares;
    for (int index = 0; index < count; ++index)
        ++shares[request(address, port, client)];
    return shares;
}

} // namespace rk
