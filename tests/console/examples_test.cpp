// The examples of the console's document: each is run as it stands there.
#include "console_process.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace rk {
namespace {

constexpr char kFarm[] = "cluster add shop --address 10.0.0.10\nport add shop 80\n"
                         "server add shop 80 web1 --listener 10.0.0.101\nserver add shop 80 web2\n";

struct Examples {
    std::vector<std::string> shell;   // what begins with ./run
    std::vector<std::string> scripts; // other blocks, which are commands of the console
};

// Indented lines are examples; a blank line or another text ends a block.
Examples examplesIn(const std::string &document) {
    Examples examples;
    bool isInside = false, isFenced = false; // between fences stands what is for other programs
    for (const std::string &line : linesOf(document)) {
        const std::size_t indent = line.find_first_not_of(' ');
        isFenced ^= line.starts_with("```");
        if (isFenced || indent == std::string::npos || indent < 4 || line.find("  - ") < 5) {
            isInside = false;
        } else if (line.compare(indent, 5, "./run") == 0) {
            examples.shell.push_back(line.substr(indent));
        } else {
            if (!isInside)
                examples.scripts.emplace_back();
            examples.scripts.back() += line.substr(indent) + "\n";
            isInside = true;
        }
    }
    return examples;
}

// Runs a line of the shell in a folder, in a terminal, and presses a key that ends what goes on by itself.
int runShell(const std::string &folder, std::string line, std::string &seen) {
    const bool isPrompt = line.starts_with("./run --user ");
    const bool isServing = line.find(" serve") != std::string::npos;
    const std::size_t kernel = line.find("--kernel ");
    if (kernel != std::string::npos)
        line.replace(kernel, 9, "--user "); // there is no kernel executor here
    const std::size_t port = line.find("127.0.0.1:9200");
    if (port != std::string::npos)
        line.replace(port, 14, "127.0.0.1:0"); // others may test here too
    else if (isServing)
        line += " --listen 127.0.0.1:0";
    TerminalSession session = openShell(
        folder, line, {"TERM=xterm", "PAGER=", "XDG_STATE_HOME=" + folder, "QELXW_HAPROXY=/nonexistent/haproxy"});
    if (isServing) {
        EXPECT_TRUE(waitFor(session, "http://127.0.0.1:")) << session.seen;
        type(session, "\x03");
    } else if (line.ends_with(" top")) {
        EXPECT_TRUE(waitFor(session, "LAST RATES")) << session.seen;
        type(session, "q");
    } else if (isPrompt) {
        EXPECT_TRUE(waitFor(session, "rk-console> ")) << session.seen;
        endInput(session);
    }
    const int status = closeTerminal(session);
    seen = session.seen;
    return status;
}

TEST(Examples, OfTheShellSucceed) {
    const Examples examples = examplesIn(readFile(CONSOLE_DOCUMENT));
    const std::string folder = makeFolder();
    std::filesystem::create_directories(folder + "/java/com.qel.internet.rk.console");
    std::filesystem::copy(std::filesystem::path(DEMONSTRATION).parent_path(),
                          folder + "/java/com.qel.internet.rk.console/demo");
    std::ofstream(folder + "/farm.rk") << "cluster add shop --address 10.0.0.10\nport add shop 80\n";
    std::size_t run = 0, ofTheWholeTree = 0;
    for (const std::string &example : examples.shell) {
        const bool isOfTheWholeTree = example.starts_with("./run  ") || example.starts_with("./run --farm ");
        ofTheWholeTree += isOfTheWholeTree ? 1 : 0;
        if (isOfTheWholeTree)
            continue; // they are what ./run itself does, on the way to the console
        std::string seen;
        EXPECT_EQ(runShell(folder, example, seen), 0) << example << "\n" << seen;
        ++run;
    }
    EXPECT_EQ(ofTheWholeTree, 2U);
    EXPECT_GE(run, 12U);
}

TEST(Examples, OfCommandsSucceed) {
    const Examples examples = examplesIn(readFile(CONSOLE_DOCUMENT));
    EXPECT_GE(examples.scripts.size(), 3U);
    for (const std::string &script : examples.scripts) {
        const bool isWhole = script.find("cluster add ") != std::string::npos;
        const ConsoleRun run = runScript(isWhole ? script : kFarm + script);
        EXPECT_EQ(run.exitStatus, 0) << script << run.err;
    }
}

} // namespace
} // namespace rk
