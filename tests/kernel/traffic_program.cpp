// The guest's traffic for scripts:
//   traffic serve PORT...                   answers at these ports in the namespaces s1 to s3, or those named in
//                                           SERVERS, until it is ended
//   traffic ask COUNT CLUSTER PORT CLIENT...        asks from these addresses in turn; says who answered how often
//   traffic datagrams COUNT CLUSTER PORT CLIENT...  the same with datagrams
//   traffic hold COUNT CLUSTER PORT CLIENT...       connects, says so, and keeps the connections until it is ended
//   traffic begin COUNT CLUSTER PORT CLIENT...      begins to connect, says so, and waits until it is ended
//   traffic converse COUNT CLUSTER PORT             connects, says so, asks once over each connection for every line of
//                                                   its input, and says who answered how often
// TYPE_OF_SERVICE and CLIENT_PORT in the environment are those that are asked with.
#include "traffic.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <unistd.h>

namespace {

uint16_t portIn(const char *text) {
    return static_cast<uint16_t>(std::atoi(text));
}

[[noreturn]] void keep(const char *what) {
    std::puts(what);
    std::fflush(stdout);
    for (;;)
        pause();
}

[[noreturn]] void serve(int count, char **ports) {
    std::vector<uint16_t> numbers;
    for (int index = 0; index < count; ++index)
        numbers.push_back(portIn(ports[index]));
    const char *named = std::getenv("SERVERS");
    std::istringstream names(named == nullptr ? "s1 s2 s3" : named);
    for (std::string name; names >> name;)
        rk::traffic::serve(name, numbers);
    keep("serving");
}

int numberIn(const char *variable) {
    const char *text = std::getenv(variable);
    return text == nullptr ? 0 : std::atoi(text);
}

rk::traffic::Request requestIn(int count, char **arguments) {
    rk::traffic::Request request;
    request.address = arguments[1];
    request.port = portIn(arguments[2]);
    request.clients.assign(arguments + 3, arguments + count);
    request.typeOfService = numberIn("TYPE_OF_SERVICE");
    request.firstClientPort = request.lastClientPort = static_cast<uint16_t>(numberIn("CLIENT_PORT"));
    return request;
}

int talk(const std::string &what, int count, char **arguments) {
    const rk::traffic::Request request = requestIn(count, arguments);
    const int times = std::atoi(arguments[0]);
    if (what == "ask")
        std::puts(rk::traffic::textOf(rk::traffic::ask(request, times)).c_str());
    else if (what == "datagrams")
        std::puts(rk::traffic::textOf(rk::traffic::askByDatagram(request, times)).c_str());
    else if (what == "hold") {
        const rk::traffic::Held held = rk::traffic::hold(request, times);
        keep("held");
    } else if (what == "begin") {
        const rk::traffic::Held begun = rk::traffic::begin(request, times);
        keep("begun");
    } else
        return 2;
    return 0;
}

int converse(char **arguments) {
    rk::traffic::Request request;
    request.address = arguments[1];
    request.port = portIn(arguments[2]);
    rk::traffic::Held held = rk::traffic::hold(request, std::atoi(arguments[0]));
    std::puts("holding");
    std::fflush(stdout);
    for (char line[100]; std::fgets(line, sizeof line, stdin) != nullptr;) {
        std::puts(rk::traffic::textOf(rk::traffic::askHeld(held)).c_str());
        std::fflush(stdout);
    }
    rk::traffic::letGo(held);
    return 0;
}

} // namespace

int main(int count, char **arguments) {
    try {
        const std::string what = count > 1 ? arguments[1] : "";
        if (what == "serve" && count > 2)
            serve(count - 2, arguments + 2);
        if (what == "converse" && count == 5)
            return converse(arguments + 2);
        if (count > 5 && talk(what, count - 2, arguments + 2) == 0)
            return 0;
        std::fputs("usage: traffic serve PORT... | ask|datagrams|hold|begin COUNT CLUSTER PORT CLIENT... | "
                   "converse COUNT CLUSTER PORT\n",
                   stderr);
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "traffic: %s\n", problem.what());
    }
    return 2;
}
