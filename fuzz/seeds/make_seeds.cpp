// Writes the corpora that fuzzing begins with: make_seeds FOLDER
//
// An input begins as ordinary and ends as ordinary when its bytes end, so one byte is a seed of each method or command:
// its number. To that come calls with what is drawn from a fixed sequence, and replies made of the commands' records
// with all their counts and texts filled.
#include "fuzz/harness/executor_requests.h"
#include "rk/command_block.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace {

using Bytes = std::vector<uint8_t>;

std::filesystem::path folder;

void write(const std::string &target, const std::string &name, const Bytes &bytes) {
    std::filesystem::create_directories(folder / target);
    std::ofstream file(folder / target / name, std::ios::binary);
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file) {
        fprintf(stderr, "make_seeds: cannot write %s/%s\n", target.c_str(), name.c_str());
        exit(1);
    }
}

Bytes operator+(Bytes left, const Bytes &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes bytesOf(const std::string &text) {
    return {text.begin(), text.end()};
}

// --- Texts -----------------------------------------------------------------------------------------------------------

void makeAddresses() {
    const std::string texts[] = {"10.0.0.5",        "1.2.3",     "10.1",       "1",        "0x0A.1.2.3", "012.1.1.1",
                                 "09.1.1.1",        "0x",        "1..2",       ".1",       "1.",         "1.2.3.4.5",
                                 "256.1.1.1",       "1.2.3.256", "1.16777216", "1.2.3.4x", "",           "0x1F",
                                 "255.255.255.255", "007",       "-5",         "::a::b",   "web",        "AB",
                                 "balancer.example"};
    int number = 0;
    for (const std::string &text : texts) {
        // Whether there are parts, the word, the rotation and the delimiter stand behind the text.
        write("addresses", "text" + std::to_string(number++), bytesOf(text) + Bytes{0, 10, 0, 0, 1, 3, ':'});
    }
    write("addresses", "parts", Bytes{0, 1, 0, 9, 0, 6, 2, 0x80} + Bytes{10, 0, 0, 1, 3, ':'});
    write("addresses", "long-identifier", Bytes(70, 'q') + Bytes{0, 255, 255, 255, 255, 40, '.'});
}

void makeReportTexts() {
    const std::string lists[] = {"a", "a,b", ",,a,,b", "a,", ",", "one,two,three"};
    int number = 0;
    for (const std::string &list : lists) {
        const Bytes head = {0, static_cast<uint8_t>(list.size())}; // the separator, and the list
        const Bytes line = {0, 3, 'x', 'y', 'z', 10};              // memory, a line of three characters, its report
        write("report_text", "list" + std::to_string(number++),
              head + bytesOf(list) + line + Bytes{9, 5, 'h', 'e', 'l', 'l', 'o', 0, 200, 255, 40, 0});
    }
    write("report_text", "short-of-memory", Bytes{0, 1, 'a', 0xFF, 0, 0, 3, 200, 9, 0, 0xFF, 2, 'o', 'k', 0});
}

// --- Calls of native methods -----------------------------------------------------------------------------------------

struct Family {
    const char *name;
    uint8_t methods;
};

constexpr Family kFamilies[] = {{"aliasing", 8},    {"clusters", 7}, {"diagnostics", 17},
                                {"life_cycle", 22}, {"ports", 7},    {"executor_settings", 4},
                                {"rules", 10},      {"servers", 14}, {"high_availability", 10}};

// The first byte of a reply, which an input has at its end, and what it chooses.
constexpr uint8_t kRefusal = 0x50;
constexpr uint8_t kPatchedEcho = 0xC8;
constexpr uint8_t kPatchAnywhere = 0x81; // any bytes, at a place of 16 bits
constexpr std::size_t kLongestPatch = 255;

// A reply whose body begins with these bytes, which six patches at most bring. Replies are read from the back.
Bytes replyOf(const Bytes &body) {
    const std::size_t patches = std::min<std::size_t>(6, (body.size() + kLongestPatch - 1) / kLongestPatch);
    Bytes reply = {kPatchedEcho, static_cast<uint8_t>(patches - 1)};
    for (std::size_t patch = 0; patch < patches; ++patch) {
        const std::size_t begin = patch * kLongestPatch;
        const std::size_t length = std::min(kLongestPatch, body.size() - begin);
        reply = reply + Bytes{kPatchAnywhere, static_cast<uint8_t>(begin), static_cast<uint8_t>(begin >> 8),
                              static_cast<uint8_t>(length)};
        reply.insert(reply.end(), body.begin() + static_cast<std::ptrdiff_t>(begin),
                     body.begin() + static_cast<std::ptrdiff_t>(begin + length));
    }
    std::reverse(reply.begin(), reply.end());
    return reply;
}

void makeCalls() {
    std::mt19937 sequence(1);
    for (const Family &family : kFamilies) {
        for (uint8_t method = 0; method < family.methods; ++method) {
            const std::string name = std::to_string(method);
            const Bytes ordinary = {0, method};
            write(family.name, name + "-ordinary", ordinary);
            write(family.name, name + "-refused", ordinary + Bytes{0, 0, 4, kRefusal});
            Bytes any = ordinary;
            for (int i = 0; i < 48; ++i) {
                const auto drawn = static_cast<uint8_t>(sequence());
                any.push_back(sequence() % 3 == 0 ? drawn : 0);
            }
            write(family.name, name + "-any", any);
        }
        write(family.name, "kernel", {0xC0, 0});
        write(family.name, "no-device", {0xFF, 0});
    }
}

// The reply of a family's method, by the number that its table gives it: the first bytes of a record.
template <typename Record>
void writeReply(const char *family, uint8_t method, const char *name, const Record &record,
                std::size_t most = sizeof(Record)) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
    const Bytes body(bytes + sizeof(rk::CommandHeader), bytes + most);
    write(family, std::string("reply-") + name, Bytes{0, method} + Bytes(40, 0) + replyOf(body));
}

void makeReplies() {
    rk::HaStatusRecord status = {};
    status.heartbeatCount = rk::kHeartbeats;
    status.reachCount = rk::kReachTargets;
    writeReply("high_availability", 0, "full", status);
    status.heartbeatCount = status.reachCount = UINT16_MAX;
    writeReply("high_availability", 0, "too-many", status);

    rk::ExecutorSettingsRecord settings = {};
    memset(settings.configFileName, 'c', sizeof(settings.configFileName)); // no terminator
    memset(settings.pluginConfigFileName, 'p', sizeof(settings.pluginConfigFileName));
    writeReply("executor_settings", 1, "texts-without-end", settings);

    rk::ClusterRecord cluster = {};
    memset(cluster.clusterId, 'c', sizeof(cluster.clusterId));
    writeReply("clusters", 3, "text-without-end", cluster);

    rk::RuleRecord rule = {};
    rule.ruleType = rk::kRuleTypeService;
    rule.serviceBitsClear = 0x80;
    rule.serviceBitsSet = 0x40;
    memset(rule.pattern, 'p', sizeof(rule.pattern));
    writeReply("rules", 3, "service", rule);

    static rk::ConnectionListRecord connections = {};
    connections.count = 3;
    connections.now = 100;
    for (int i = 0; i < 3; ++i)
        connections.entries[i].currentTcpState = connections.entries[i].previousTcpState = static_cast<uint8_t>(11 + i);
    writeReply("diagnostics", 7, "connections", connections, offsetof(rk::ConnectionListRecord, entries[3]));
    connections.count = rk::kConnections + 1;
    writeReply("diagnostics", 7, "too-many-connections", connections, offsetof(rk::ConnectionListRecord, entries));
    static rk::HalfOpenRecord halfOpen = {};
    halfOpen.count = INT32_MAX;
    writeReply("diagnostics", 11, "too-many-half-open", halfOpen, offsetof(rk::HalfOpenRecord, entries));
}

// --- Commands --------------------------------------------------------------------------------------------------------

constexpr std::size_t kSettingsAtATime = 4;

// A machine with three interfaces, which is read from the back.
const Bytes kMachine = Bytes(13, 0) + Bytes{3};

// Each command behind those that make what it is about: a cluster, a port, a server, a rule, a backup.
void makeCommands() {
    const auto &rows = fuzz::allCommands();
    const auto ordinary = [](std::size_t index) { // no settings; of keys and addresses the first
        Bytes request = Bytes{static_cast<uint8_t>(index)} + Bytes(1024, 0);
        fuzz::Input input = {request.data(), request.data() + request.size()};
        fuzz::drawRequest({&input, fuzz::Side::front});
        request.resize(static_cast<std::size_t>(input.begin - request.data()));
        return request;
    };
    const auto requestOf = [&rows, &ordinary](rk::Command command) {
        const auto found =
            std::find_if(rows.begin(), rows.end(), [command](const auto *row) { return row->command == command; });
        return ordinary(static_cast<std::size_t>(found - rows.begin()));
    };
    Bytes configuration;
    for (const rk::Command command : {rk::Command::addCluster, rk::Command::addPort, rk::Command::addServer,
                                      rk::Command::addRule, rk::Command::addBackup})
        configuration = configuration + requestOf(command);
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const Bytes request = ordinary(index);
        write("entry", rows[index]->name, configuration + request + kMachine);
        // The bytes of the settings stand before those of patches and length. A few at a time get a flag of 1 and the
        // value 2: all together would be refused.
        const std::size_t settings = rows[index]->settings.size();
        for (std::size_t first = 0; first < settings; first += kSettingsAtATime) {
            Bytes changing = request;
            const auto begin = changing.end() - 2 - static_cast<std::ptrdiff_t>(settings - first);
            std::fill_n(begin, std::min(kSettingsAtATime, settings - first), 5);
            write("entry", rows[index]->name + ("-changing" + std::to_string(first)),
                  configuration + changing + kMachine);
        }
    }
    for (const rk::Command command : {rk::Command::addCluster, rk::Command::listClusters, rk::Command::readLogTail,
                                      rk::Command::serverDirectedAffinity}) {
        const std::string name = rk::findCommand(command)->name;
        write("device", name, Bytes{0} + requestOf(command) + Bytes{0} + kMachine);
        write("device", name + "-changing",
              Bytes{0} + requestOf(command) + Bytes{0xC0, 0x80, 12, 16, 0x80, 0, 1} + kMachine);
        write("device", name + "-odd", Bytes{0xE0} + requestOf(command) + Bytes{0x80, 200, 0, 0} + kMachine);
    }
}

} // namespace

int main(int count, char **arguments) {
    if (count != 2) {
        fputs("usage: make_seeds FOLDER\n", stderr);
        return 2;
    }
    folder = arguments[1];
    makeAddresses();
    makeReportTexts();
    makeCalls();
    makeReplies();
    makeCommands();
    return 0;
}
