// The guest's traffic for scripts:
//   traffic serve PORT...                  answers at these ports in the namespaces s1 to s3, until it is ended
//   traffic ask COUNT CLUSTER PORT CLIENT...    asks from these addresses in turn; says who answered how often
#include "traffic.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <unistd.h>

namespace {

uint16_t portIn(const char *text) {
    return static_cast<uint16_t>(std::atoi(text));
}

[[noreturn]] void serve(int count, char **ports) {
    std::vector<uint16_t> numbers;
    for (int index = 0; index < count; ++index)
        numbers.push_back(portIn(ports[index]));
    for (const char *name : {"s1", "s2", "s3"})
        rk::traffic::serve(name, numbers);
    std::puts("serving");
    std::fflush(stdout);
    for (;;)
        pause();
}

int ask(int count, char **arguments) {
    rk::traffic::Request request;
    request.address = arguments[1];
    request.port = portIn(arguments[2]);
    request.clients.assign(arguments + 3, arguments + count);
    std::puts(rk::traffic::textOf(rk::traffic::ask(request, std::atoi(arguments[0]))).c_str());
    return 0;
}

} // namespace

int main(int count, char **arguments) {
    try {
        const std::string what = count > 1 ? arguments[1] : "";
        if (what == "serve" && count > 2)
            serve(count - 2, arguments + 2);
        if (what == "ask" && count > 5)
            return ask(count - 2, arguments + 2);
        std::fputs("usage: traffic serve PORT... | ask COUNT CLUSTER PORT CLIENT...\n", stderr);
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "traffic: %s\n", problem.what());
    }
    return 2;
}
