// Namespaces of the test program's own, so that what it does to the machine stays inside.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <unistd.h>

namespace namespaces {

inline bool write(const char *file, const std::string &text) {
    const int descriptor = open(file, O_WRONLY);
    const bool written =
        descriptor != -1 && ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(descriptor);
    return written;
}

// Moves the program into new namespaces of these kinds (CLONE_NEWNET, ...); a user who may not have them is root in a
// user namespace first. Returns why not, empty when all went well. Only before there are threads.
inline std::string enter(int kinds) {
    if (unshare(kinds) == 0)
        return "";
    const auto user = static_cast<unsigned>(geteuid());
    const auto group = static_cast<unsigned>(getegid());
    if (unshare(kinds | CLONE_NEWUSER) != 0)
        return std::string("no namespaces here: ") + strerror(errno);
    if (!write("/proc/self/setgroups", "deny") || !write("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") ||
        !write("/proc/self/gid_map", "0 " + std::to_string(group) + " 1"))
        return std::string("no user in the namespace: ") + strerror(errno);
    return "";
}

// Enters them when the program starts, before the Java VM does: environments are set up in the order in which they are
// registered.
struct Environment : testing::Environment {
    explicit Environment(int kindsWanted) : kinds(kindsWanted) {}

    void SetUp() override {
        refusal = enter(kinds);
    }

    int kinds;
    std::string refusal; // why there are none; empty when there are
};

// What a command prints, both streams.
inline std::string outputOf(const std::string &command) {
    FILE *stream = popen((command + " 2>&1").c_str(), "r");
    std::string output;
    char buffer[4096];
    for (std::size_t read = 0; (read = fread(buffer, 1, sizeof(buffer), stream)) > 0;)
        output.append(buffer, read);
    pclose(stream);
    return output;
}

} // namespace namespaces
