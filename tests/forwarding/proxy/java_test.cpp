// HAProxy below a Java VM: the farms that every engine forwards, as the console configures them, and a VM that has
// threads and programs of its own.
#include "executor/forwarding/proxy/child.h"
#include "proxy/proxy_farm.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace rk {

namespace {

// A program that reads lines and writes lines.
struct Program {
    pid_t process = 0;
    int input = -1; // of the program
    FILE *output = nullptr;
};

Program start(const std::vector<std::string> &command) {
    int in[2];
    int out[2];
    EXPECT_EQ(pipe2(in, O_CLOEXEC) | pipe2(out, O_CLOEXEC), 0);
    std::vector<char *> arguments;
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    Program program;
    program.process = fork();
    if (program.process == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(out[1], STDERR_FILENO);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    program.input = in[1];
    program.output = fdopen(out[0], "r");
    return program;
}

// Writes a line and reads until `last` comes. Returns what came before.
std::string exchange(const Program &program, const std::string &line, const std::string &last) {
    const std::string text = line + "\n";
    EXPECT_EQ(write(program.input, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    std::string said;
    char part[4096];
    while (fgets(part, sizeof part, program.output) != nullptr) {
        if (part == last + "\n")
            return said;
        said += part;
    }
    ADD_FAILURE() << "the program has ended: " << said;
    return said;
}

std::set<int> openFiles(int process) {
    std::set<int> files;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd"))
        files.insert(std::atoi(entry.path().filename().c_str()));
    return files;
}

// Ends it as nothing can be ended in order, and expects that nothing is left behind.
void killAndLook(Program &program) {
    const std::vector<int> processes = proxyProcesses(program.process);
    EXPECT_GE(processes.size(), 3U); // the shell, HAProxy and its workers
    kill(program.process, SIGKILL);
    waitpid(program.process, nullptr, 0);
    close(program.input);
    fclose(program.output);
    for (const int process : processes)
        EXPECT_TRUE(comesTrue([process] { return kill(process, 0) != 0; })) << process;
}

// --- Farms -----------------------------------------------------------------------------------------------------------

// What the words of the list stand for here.
std::string wordHere(const std::string &word) {
    const std::map<std::string, std::string> words = {
        {"@cluster", ownAddress(10)}, {"@one", serverAddress(1)},   {"@two", serverAddress(2)},
        {"@three", serverAddress(3)}, {"@first", "8080"},           {"@second", "8443"},
        {"@mapped", "8081"},          {"@client", ownAddress(130)}, {"@near", ownAddress(140)},
        {"@other", ownAddress(150)},  {"@begin", ownAddress(160)},  {"@end", ownAddress(170)},
    };
    const std::size_t at = word.find('@');
    if (at == std::string::npos)
        return word;
    const std::size_t end = std::min(word.find_first_of(",=", at), word.size());
    return word.substr(0, at) + words.at(word.substr(at, end - at)) + wordHere(word.substr(end));
}

std::vector<std::string> wordsHere(const std::string &line) {
    std::vector<std::string> words;
    std::istringstream text(line);
    for (std::string word; text >> word;)
        words.push_back(wordHere(word));
    return words;
}

// ask COUNT PORT CLIENT... = SERVER=SHARE...
void askAsTold(const std::vector<std::string> &words) {
    const auto equals = std::find(words.begin(), words.end(), "=");
    ASSERT_LT(equals - words.begin(), static_cast<std::ptrdiff_t>(words.size() - 1));
    const std::vector<std::string> clients(words.begin() + 3, equals);
    Shares shares;
    for (std::size_t index = 0; index < std::stoul(words[1]); ++index) {
        Client client;
        client.from = clients[index % clients.size()];
        ++shares[request(ownAddress(10), std::stoi(words[2]), client)];
    }
    Shares expected;
    for (auto word = equals + 1; word != words.end(); ++word) {
        const std::size_t end = word->find('=');
        const std::string name = word->substr(0, end) == "one" ? shares.begin()->first : word->substr(0, end);
        expected[name] = std::stoi(word->substr(end + 1));
    }
    EXPECT_FALSE(shares.contains("")) << shares[""] << " lost";
    EXPECT_TRUE(areNear(shares, expected));
}

class ProxyJava : public testing::Test {
protected:
    void SetUp() override {
        if (findProxyProgram().empty())
            GTEST_SKIP() << "without HAProxy (Debian's package haproxy)";
        for (uint32_t key = 1; key <= 3; ++key) {
            for (const int port : {kServerPort, 8443})
                servers.push_back(startWebServer("s" + std::to_string(key), serverAddress(key), port));
            ASSERT_NE(servers.back(), nullptr);
        }
    }

    void TearDown() override {
        for (auto &server : servers)
            stopWebServer(*server);
        EXPECT_EQ(proxyProcesses(getpid()), std::vector<int>{}) << "HAProxy is left behind";
    }

    std::vector<std::unique_ptr<WebServer>> servers;
};

TEST_F(ProxyJava, farmsHaveTheSharesThatEveryEngineGivesThem) {
    Program console =
        start({CONSOLE_LAUNCHER, "--user", "--forward", "proxy", "--echo", "--keep-going", "--script", "-"});
    std::ifstream list(FARMS);
    int asked = 0;
    for (std::string line; std::getline(list, line);) {
        SCOPED_TRACE(line);
        if (line.empty() || line[0] == '#')
            continue;
        const std::vector<std::string> words = wordsHere(line);
        if (words[0] == "ask") {
            ASSERT_NO_FATAL_FAILURE(askAsTold(words));
            ++asked;
            continue;
        }
        std::string command;
        for (const std::string &word : words)
            command += word + " ";
        const std::string said = exchange(console, command + "\n# done", "# done");
        for (const char *refusal : {": status ", "Try: ", "Unknown "})
            EXPECT_EQ(said.find(refusal), std::string::npos) << said;
    }
    EXPECT_GT(asked, 15);
    killAndLook(console);
}

// --- A VM with threads and programs of its own -----------------------------------------------------------------------

TEST_F(ProxyJava, aMachineWithThreadsAndProgramsIsNotHurt) {
    Program host = start({JAVA, "-cp", MODULE_JAR, "-Djava.library.path=" LIBRARIES, HOST_SOURCE, ownAddress(10),
                          std::to_string(kServicePort), serverAddress(1), serverAddress(2), serverAddress(3),
                          std::to_string(kServerPort)});
    const std::string started = exchange(host, "", "ready");
    EXPECT_TRUE(areNear(requests(30, ownAddress(10), kServicePort), Shares{{"s1", 10}, {"s2", 10}, {"s3", 10}}));
    exchange(host, "weights 0 1 2", "done");
    EXPECT_TRUE(areNear(requests(30, ownAddress(10), kServicePort), Shares{{"s2", 10}, {"s3", 20}}));

    // Programs that the VM has started live on, with nothing of HAProxy's.
    std::vector<int> programs;
    std::istringstream processes(started);
    for (int process = 0; processes >> process;)
        programs.push_back(process);
    EXPECT_EQ(programs.size(), 3U);
    for (const int process : programs)
        EXPECT_EQ(openFiles(process), (std::set<int>{0, 1, 2}));
    killAndLook(host);
    for (const int process : programs) {
        EXPECT_EQ(kill(process, 0), 0);
        kill(process, SIGKILL);
    }
}

} // namespace

} // namespace rk
