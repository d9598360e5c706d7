// Whole configurations: exported, compared, applied.
#include "console_process.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <random>

namespace rk {
namespace {

constexpr char kLeftOut[] =
    "Without what no executor tells: executor set --cookie-expire-interval, rule set --hash-id, rule server add "
    "--argument, attack set, ha timers, log filter.",
               kStates[] = "Without what is a state: affinities, connections, counters, statuses of high availability.";
const std::string kHead =
    std::string("# A configuration: 'config apply' and 'source' take it.\n# ") + kLeftOut + "\n# " + kStates + "\n";

void write(const std::string &path, const std::string &text) {
    std::ofstream(path) << text;
}

// --- Random configurations -------------------------------------------------------------------------------------------

using Random = std::mt19937;

int below(Random &random, int bound) {
    return std::uniform_int_distribution<int>(0, bound - 1)(random);
}

bool oneIn(Random &random, int chances) {
    return below(random, chances) == 0;
}

// Each option of a table comes with a chance of one in three; its value is made of the template's `%`.
struct RandomOption {
    const char *text;
    int values; // a number below this, from `lowest` on
    int lowest;
};

std::string optionsOf(Random &random, const std::vector<RandomOption> &options) {
    std::string text;
    for (const RandomOption &option : options) {
        if (!oneIn(random, 3))
            continue;
        std::string value = option.text;
        for (std::size_t at = value.find('%'); at != std::string::npos; at = value.find('%'))
            value.replace(at, 1, std::to_string(option.lowest + below(random, option.values)));
        text += " " + value;
    }
    return text;
}

const std::vector<RandomOption> kPortDefaults = {
    {"--default-max-servers %", 50, 10}, {"--default-stale-timeout %", 1000, 0}, {"--default-sticky-time %", 100, 0},
    {"--default-affinity-type %", 9, 0}, {"--default-weight-bound %", 90, 5},    {"--default-port-type %", 3, 0},
    {"--default-replicate %", 256, 0},
};
const std::vector<RandomOption> kExecutor = {
    {"--nfa 10.9.0.%", 200, 1},
    {"--trace-level %", 3, 0},
    {"--ha-timeout %", 100, 0},
    {"--ha-sync-timeout %", 100, 0},
    {"--client-gateway 10.8.0.%", 200, 1},
    {"--v6-client-gateway fe80::%", 9, 1},
    {"--max-clusters %", 100, 10},
    {"--wide-port %", 65536, 0},
    {"--shared-bandwidth %", 5000, 0},
    {"--config-file 'a file %'", 9, 0},
    {"--default-max-ports %", 20, 10},
};
const std::vector<RandomOption> kCluster = {
    {"--primary-host 10.7.0.%", 200, 1}, {"--nat-address 10.6.0.%", 200, 1}, {"--max-ports %", 30, 10},
    {"--proportions %,%,0,0", 100, 0},   {"--shared-bandwidth %", 10000, 0},
};
const std::vector<RandomOption> kPort = {
    {"--max-servers %", 100, 10}, {"--stale-timeout %", 1000, 0}, {"--sticky-time %", 100, 0},
    {"--sticky-bits %", 33, 0},   {"--weight-bound %", 80, 21},   {"--type %", 3, 0},
    {"--method %", 3, 1},         {"--protocol %", 3, 0},         {"--replicate %", 256, 0},
    {"--max-half-open %", 99, 0}, {"--send-reset on", 1, 0},
};
const std::vector<RandomOption> kServer = {
    {"--weight %", 6, 0},
    {"--fixed-weight on", 1, 0},
    {"--return-address 10.5.0.%", 200, 1},
    {"--collocated on", 1, 0},
    {"--sticky on", 1, 0},
    {"--quiesced on", 1, 0},
    {"--advisor-request 'GET /% \"x\" \\'", 9, 0},
    {"--advisor-response \"it's % \\\"quoted\\\" \\\\\"", 9, 0},
    {"--cookie-value=-%", 100, 1},
    {"--clone-id '#%'", 100, 0},
    {"--max-cps %", 100, 0},
    {"--listener 10.4.0.%,map-port=%,protocol=%,key-ring=/keys", 200, 1},
};
const std::vector<RandomOption> kRule = {
    {"--share-level %", 9, 0},   {"--pattern '/images/% *'", 9, 0}, {"--evaluate %", 100, 0},
    {"--affinity %", 127, 0},    {"--sticky-time %", 100, 0},       {"--cookie-name JSESSION%", 9, 0},
    {"--config-source %", 9, 0},
};

std::string randomRange(Random &random, int type) {
    const int begin = below(random, 100), end = begin + below(random, 100);
    if (type == 1)
        return " --begin 10.3.0." + std::to_string(begin) + " --end 10.3.0." + std::to_string(end);
    return oneIn(random, 2) ? "" : " --begin " + std::to_string(begin) + " --end " + std::to_string(end);
}

std::string randomServices(Random &random) {
    if (oneIn(random, 2))
        return "";
    std::string bits;
    for (int i = 0; i < 8; ++i)
        bits += "01x"[below(random, 3)];
    return " --service " + bits;
}

std::string randomRules(Random &random, const std::string &port, const std::vector<std::string> &servers) {
    std::string text;
    std::vector<int> priorities{1, 2, 3, 4, 5, 60, 70};
    std::shuffle(priorities.begin(), priorities.end(), random);
    for (int rule = 0; rule < 6; ++rule) {
        if (!oneIn(random, 2))
            continue;
        const std::string name = " " + port + " 'rule " + std::to_string(rule) + "'";
        const int type = below(random, 10);
        text += "rule add" + name + " --type " + std::to_string(type) + randomRange(random, type) + " --priority " +
                std::to_string(priorities[static_cast<std::size_t>(rule)]) + (type == 7 ? randomServices(random) : "") +
                optionsOf(random, kRule) + "\n";
        for (const std::string &server : servers)
            if (oneIn(random, 3))
                text.append("rule server add").append(name).append(" ").append(server).append("\n");
    }
    return text;
}

std::string randomPort(Random &random, const std::string &port) {
    std::string text = "port add " + port + optionsOf(random, kPort) + "\n";
    std::vector<std::string> servers;
    for (int server = 0; server < 6; ++server) {
        if (oneIn(random, 2))
            continue;
        servers.push_back("server" + std::to_string(server));
        text += "server add " + port + " " + servers.back() + optionsOf(random, kServer) + "\n";
        if (oneIn(random, 4))
            text += "server down " + port + " " + servers.back() + "\n";
    }
    return text + randomRules(random, port, servers);
}

std::string randomHighAvailability(Random &random) {
    std::string text;
    if (!oneIn(random, 3))
        text += "ha backup add " + std::to_string(below(random, 3)) + " " + std::to_string(below(random, 2)) + " " +
                std::to_string(1 + below(random, 3)) + "\n";
    // Pairs of few addresses: some heartbeats have an end in common with one that stays.
    for (const char *local : {"10.1.0.1", "10.1.0.2"})
        for (const char *partner : {"10.1.0.3", "10.1.0.4"})
            if (oneIn(random, 2))
                text.append("ha heartbeat add ").append(local).append(" ").append(partner).append("\n");
    for (int target = 1; target < 5; ++target)
        if (oneIn(random, 2))
            text += "ha reach add 10.2.0." + std::to_string(target) +
                    (oneIn(random, 2) ? " 255.255.255.0 " : " 255.0.0.0 ") + std::to_string(below(random, 3)) + "\n";
    if (oneIn(random, 2))
        text += "icmp set " + std::string(oneIn(random, 2) ? "on" : "off") + " 10.2.1." +
                std::to_string(below(random, 3)) + "\n";
    return text;
}

std::string randomConfiguration(Random &random) {
    std::string text = "executor set --fin-timeout " + std::to_string(below(random, 100)) +
                       optionsOf(random, kExecutor) + optionsOf(random, kPortDefaults) + "\n";
    std::vector<int> addresses{1, 2, 3, 4, 5};
    std::shuffle(addresses.begin(), addresses.end(), random);
    for (int cluster = 0; cluster < 4; ++cluster) {
        if (oneIn(random, 3))
            continue;
        const std::string name = cluster == 0 ? "'my shop'" : "shop" + std::to_string(cluster);
        text += "cluster add " + name + " --address 10.0.0." +
                std::to_string(addresses[static_cast<std::size_t>(cluster)]) + optionsOf(random, kCluster) +
                optionsOf(random, kPortDefaults) + "\n";
        std::vector<int> ports;
        for (const int port : {80, 443, 8080})
            if (!oneIn(random, 3))
                ports.push_back(port);
        for (const int port : ports)
            text += randomPort(random, name + " " + std::to_string(port));
        if (ports.size() > 1 && oneIn(random, 2))
            text += "port set " + name + " " + std::to_string(ports[0]) + " --cross-port " + std::to_string(ports[1]) +
                    "\n";
    }
    return text + randomHighAvailability(random);
}

// --- Tests -----------------------------------------------------------------------------------------------------------

// As a script and as a document. One console plays all rounds: the executor that it has lives as long as it does.
TEST(Config, RandomConfigurationsComeBackAsTheyWere) {
    constexpr int kRounds = 15;
    constexpr unsigned kSeed = 20261;
    Random random(kSeed);
    const std::string folder = makeFolder() + "/";
    write(folder + "empty", "");
    std::string script;
    for (int round = 0; round < kRounds; ++round) {
        const std::string name = folder + std::to_string(round);
        write(name + ".rk", randomConfiguration(random));
        script += "source " + name + ".rk\nconfig export " + name + ".first\nconfig apply " + folder + "empty\n";
        script += "config apply " + name + ".first\nconfig export " + name + ".second\nconfig export --json " + name +
                  ".json\nconfig apply " + folder + "empty\nconfig apply " + name + ".json\nconfig export " + name +
                  ".third\nconfig apply " + folder + "empty\n";
    }
    const ConsoleRun run = runScript(script);
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    for (int round = 0; round < kRounds; ++round) {
        const std::string name = folder + std::to_string(round);
        const std::string first = readFile(name + ".first");
        EXPECT_GT(first.size(), kHead.size());
        EXPECT_EQ(first, readFile(name + ".second")) << readFile(name + ".rk");
        EXPECT_EQ(first, readFile(name + ".third")) << readFile(name + ".json");
    }
}

// From any configuration to any other one; and where the way ends in a refusal, back.
TEST(Config, OnlyADifferenceIsSentAndARefusalLeavesWhatWas) {
    constexpr int kRounds = 15;
    constexpr unsigned kSeed = 4711;
    Random random(kSeed);
    const std::string folder = makeFolder() + "/";
    std::string script;
    for (int round = 0; round < kRounds; ++round) {
        const std::string name = folder + std::to_string(round), before = folder + std::to_string(round - 1);
        const std::string wanted = randomConfiguration(random);
        write(name, wanted);
        // The executor takes no weight above the bound of the port.
        write(name + ".refused", wanted + "cluster add last --address 10.0.0.99\nport add last 80 --weight-bound 20\n"
                                          "server add last 80 one --weight 21\n");
        if (round > 0)
            script += "! config apply " + name + ".refused\nconfig diff " + before + "\n";
        script += "config apply " + name + "\nconfig diff " + name + "\n";
    }
    const ConsoleRun run = runScript(script, {"--echo"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    std::size_t compared = 0;
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        if (lines[i].starts_with("> config diff ")) {
            EXPECT_EQ(lines[i + 1], "nothing differs") << lines[i];
            ++compared;
        }
    }
    EXPECT_EQ(compared, 2U * kRounds - 1);
    const std::vector<std::string> refusals = linesOf(run.err);
    ASSERT_EQ(refusals.size(), std::size_t{kRounds - 1}) << run.err;
    for (const std::string &line : refusals)
        EXPECT_TRUE(line.find("server last 80 one: the weight") != std::string::npos && line.ends_with(" undone"))
            << line;
}

TEST(Config, ExportIsAScriptInAnOrderThatWorks) {
    const std::string farm = "executor set --max-clusters 200 --default-sticky-time 30\n"
                             "cluster add shop --address 10.0.0.10\n"
                             "port add shop 80 --weight-bound 50 --method nat --protocol http\n"
                             "server add shop 80 web1 --listener 10.0.0.101,map-port=8080 --listener 10.0.0.102"
                             " --connect-timeout 3 --weight 5\n"
                             "server add shop 80 web2 --cookie-value \"it's \\\"x\\\"\"\n"
                             "server down shop 80 web2\n"
                             "rule add shop 80 inner --type address --begin 10.0.0.0 --end 10.0.0.255 --priority 2\n"
                             "rule server add shop 80 inner web2\n"
                             "port add shop 443\n"
                             "port set shop 80 --cross-port 443\n"
                             "ha backup add 1 0 12345\nha heartbeat add 10.1.0.2 10.1.0.3\n"
                             "ha heartbeat add 10.3.0.2 10.3.0.3\nha reach add 10.1.0.100 255.255.255.0 7\n"
                             "icmp set on 10.1.0.9\n";
    const ConsoleRun run = runScript(farm + "config export\nconfig export --json\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find(kHead + farm), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\n{\"left-out\":[\"" + std::string(kLeftOut) + "\",\"" + kStates +
                           "\"],\"max-clusters\":200,\"default-sticky-time\":30,\"clusters\":[{\"cluster\":\"shop\","
                           "\"address\":\"10.0.0.10\",\"ports\":[{\"port\":80,\"weight-bound\":50,\"method\":\"nat\","
                           "\"protocol\":\"http\",\"cross-port\":443,\"servers\":[{\"server\":\"web1\",\"listener\":["
                           "\"10.0.0.101,map-port=8080\",\"10.0.0.102\"],\"connect-timeout\":3,\"weight\":5},"
                           "{\"server\":\"web2\",\"cookie-value\":\"it's \\\"x\\\"\",\"down\":true}],\"rules\":["
                           "{\"rule\":\"inner\",\"type\":\"address\",\"begin\":\"10.0.0.0\",\"end\":\"10.0.0.255\","
                           "\"priority\":2,\"servers\":[\"web2\"]}]},{\"port\":443,\"servers\":[],\"rules\":[]}]}],"
                           "\"backup\":{\"role\":1,\"strategy\":0,\"port\":12345},"
                           "\"heartbeats\":[{\"local\":\"10.1.0.2\",\"partner\":\"10.1.0.3\"},"
                           "{\"local\":\"10.3.0.2\",\"partner\":\"10.3.0.3\"}],"
                           "\"reach-targets\":[{\"address\":\"10.1.0.100\",\"mask\":\"255.255.255.0\",\"type\":7}],"
                           "\"icmp\":{\"response\":\"on\",\"address\":\"10.1.0.9\"}}\n"),
              std::string::npos)
        << run.out;
}

// What is new comes before what goes, weights change together, and bounds let both be there in between.
TEST(Config, ApplyKeepsTraffic) {
    const std::string folder = makeFolder(), wanted = folder + "/wanted", log = folder + "/log";
    write(wanted, "executor set --trace-level 2\ncluster add shop --address 10.0.0.10\nport add shop 80 --max-servers "
                  "2 --weight-bound 4\n"
                  "server add shop 80 two --weight 4\nserver add shop 80 three --weight 3\n");
    const ConsoleRun run = runScript("cluster add shop --address 10.0.0.10\nport add shop 80 --max-servers 2\n"
                                     "server add shop 80 one\nserver add shop 80 two --weight 20\n"
                                     "config diff " +
                                         wanted + "\nlog level 2\nconfig apply " + wanted +
                                         " --dry-run\n"
                                         "log tail\nconfig apply " +
                                         wanted + "\nserver list shop 80\n",
                                     {"--log", log, "--keep-going"});
    ASSERT_EQ(run.exitStatus, 4) << run.err;
    EXPECT_EQ(run.err, "line 5: config diff: what was compared differs\n");
    const std::string steps = "change port shop 80: max-servers 2 -> 3\nadd server shop 80 three: weight 3\n"
                              "change weights of port shop 80: two 20 -> 4\nremove server shop 80 one\n"
                              "change port shop 80: max-servers 3 -> 2, weight-bound 20 -> 4\n";
    std::size_t told = 0;
    for (std::size_t at = run.out.find(steps); at != std::string::npos; at = run.out.find(steps, at + 1))
        ++told;
    EXPECT_EQ(told, 3U) << run.out;
    EXPECT_TRUE(run.out.ends_with("two\nthree\n")) << run.out;
    EXPECT_EQ(linesWith(readFile(log), " removeServer ").size(), 1U)
        << "the dry run or the comparison changed something";
    EXPECT_EQ(linesWith(readFile(log), " writeServerWeights ").size(), 1U);
}

// A script with its line, a document in JSON with its place.
TEST(Config, FileThatIsNoConfigurationIsRefusedWithItsPlace) {
    const std::string file = makeFolder() + "/farm";
    struct Row {
        const char *text;
        const char *reason;
    };
    const Row rows[] = {
        {"\nlog tail\n", "line 2: 'log tail' configures nothing: "},
        {"cluster add shop\n", "line 1: Missing required option: '--address=ADDRESS'"},
        {"port add shop 80\n", "line 1: there is no cluster 'shop' before this"},
        {"cluster add a --address 10.0.0.1\ncluster add A --address 10.0.0.2\n",
         "line 2: there is a cluster 'A' already"},
        {"cluster add a --address 10.0.0.1 --max-ports many\n", "line 1: --max-ports: 'many' is not a number"},
        {"cluster add 'a\n", "line 1: a quote is not closed: 'a"},
        {"server down --address 10.0.0.1\n", "line 1: a configuration names each object"},
        {"cluster add a --help\n", "line 1: 'cluster add' with a wish for help configures nothing"},
        {"ha reach change 0 1 1\n", "line 1: 'ha reach change' configures nothing: "},
        {"ha heartbeat add 10.0.0.300 10.0.0.1\n", "line 1: local: '10.0.0.300' is not an IPv4 address"},
        {"ha heartbeat add 10.0.0.1 10.0.0.2\nha heartbeat add 10.0.0.1 10.0.0.2\n",
         "line 2: there is 'ha heartbeat add 10.0.0.1 10.0.0.2' already"},
        {"ha backup add 0 0 1\nha backup add 1 0 1\n", "line 2: there is 'ha backup add 1 0 1' already, or another"},
        {"ha reach add 10.0.0.1 255.0.0.0 1\nha backup add 0 0 1\nha backup delete\nha reach delete 10.0.0.1\n",
         "line 4: there is no such one before this"},
        {"{\"clusters\": [\n{\"cluster\": }]}", "no JSON: it is malformed at line 2 column 13, in clusters[0].cluster"},
        {"{\"clusters\": [", "no JSON: the document has no end"},
        {"{} {}", "no JSON: it is malformed at line 1 column 5"},
        {"{'clusters': []}", "no JSON: it is malformed at line 1 column 3"},
        {"[]", "a configuration in JSON is an object"},
        {"{\"clusters\": {}}", "clusters is no array"},
        {"{\"clusters\": [5]}", "clusters[0] is no object"},
        {"{\"clusters\": [], \"clusters\": []}", "$.clusters is there twice"},
        {"{\"nfa\": null}", "$.nfa is null: a setting that has no value is left out"},
        {"{\"max-clusters\": \"many\"}", "the document: --max-clusters: 'many' is not a number"},
        {"{\"nfa\": [\"10.0.0.1\"]}", "the document: 'nfa' is no text, number or truth value"},
        {"{\"help\": \"me\"}", "the document: there is no setting 'help'"},
        {"{\"clusters\": [{\"address\": \"10.0.0.1\"}]}", "clusters[0]: there is no value 'cluster'"},
        {"{\"clusters\": [{\"cluster\": \"a\"}]}", "clusters[0]: Missing required option: '--address=ADDRESS'"},
        {"{\"clusters\": [{\"cluster\": \"a\", \"address\": \"10.0.0.1\", \"ports\": [{\"port\": 80,"
         " \"servers\": [{\"server\": \"s\", \"wait\": 5}]}]}]}",
         "clusters[0].ports[0].servers[0]: there is no setting 'wait'"},
        {"{\"clusters\": [{\"cluster\": \"a\", \"address\": \"10.0.0.1\", \"ports\": [{\"port\": 80,"
         " \"servers\": [{\"server\": \"s\", \"down\": \"maybe\"}]}]}]}",
         "clusters[0].ports[0].servers[0].down: is neither true nor false"},
        {"{\"clusters\": [{\"cluster\": \"a\", \"address\": \"10.0.0.1\", \"ports\": [{\"port\": 80,"
         " \"rules\": [{\"rule\": \"r\", \"type\": \"always\", \"servers\": [\"s\"]}]}]}]}",
         "clusters[0].ports[0].rules[0].servers: there is no server 's' before this"},
        {"{\"heartbeats\": [{\"local\": \"10.0.0.1\"}]}", "heartbeats[0]: there is no value 'partner'"},
        {"{\"backup\": {\"role\": 1, \"strategy\": 0, \"port\": 70000}}", "backup: port: 70000 is outside 0 to 65535"},
        {"{\"backup\": {\"role\": 1, \"strategy\": 0, \"port\": 7, \"mode\": 1}}",
         "backup: there is no setting 'mode'"},
    };
    std::string script;
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        write(file + std::to_string(i), rows[i].text);
        script += "config apply " + file + std::to_string(i) + "\n";
    }
    write(file, R"({"left-out": )" + std::string(100'000, '['));
    const ConsoleRun run =
        runScript(script + "config apply " + file + "\nconfig diff /no/such\ncluster list --json\n", {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.out, "[]\n");
    const std::vector<std::string> lines = linesOf(run.err);
    ASSERT_EQ(lines.size(), std::size(rows) + 2) << run.err;
    for (std::size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(lines[i].find("line " + std::to_string(i + 1) + ": config apply: " + file + std::to_string(i) + ": " +
                                rows[i].reason),
                  0U)
            << lines[i];
    EXPECT_TRUE(lines[std::size(rows)].ends_with(": a configuration is not that deep"));
    EXPECT_TRUE(lines.back().ends_with(": config diff: /no/such: cannot be read: there is no such file"))
        << lines.back();
}

// What is between two partners: as little as can be changes, and one step is one change, back and forth.
TEST(Config, HighAvailabilityChangesByWhatDiffers) {
    const std::string folder = makeFolder(), wanted = folder + "/wanted", other = folder + "/other";
    const std::string before = "ha backup add 0 1 9000\nha heartbeat add 10.1.0.1 10.1.0.2\n"
                               "ha heartbeat add 10.3.0.1 10.1.0.2\nha reach add 10.1.0.100 255.255.255.0 1\n"
                               "ha reach add 10.1.0.101 255.255.255.0 1\nha reach add 10.1.0.102 255.255.255.0 1\n"
                               "ha reach change 2 1 2\n";
    // A heartbeat goes that has both its ends in common with others, a target's type and another one's mask change.
    write(wanted,
          "ha backup add 0 1 9000\nha heartbeat add 10.3.0.1 10.1.0.2\nha heartbeat add 10.1.0.1 10.1.0.3\n"
          "ha reach add 10.1.0.101 255.0.0.0 1\nha reach add 10.1.0.102 255.255.255.0 5\nattack set 1 2 3 4 5 6 "
          "7 8\n");
    write(other, "ha backup add 1 0 9000\nha heartbeat add 10.1.0.2 10.1.0.1\nicmp set on 10.1.0.9\n");
    const ConsoleRun run = runScript(
        before + "config apply " + wanted + "\nconfig export\nha status --json\nconfig apply " + other +
            "\nconfig export\nconfig apply --keep-ha " + wanted + "\nconfig diff --keep-ha " + folder + "/none\n",
        {"--keep-going"});
    EXPECT_EQ(linesOf(run.err).size(), 1U) << run.err;
    EXPECT_NE(run.err.find("/none: cannot be read"), std::string::npos) << run.err;
    const std::string steps = "remove ha reach 10.1.0.101 255.255.255.0 1\nadd ha reach 10.1.0.101 255.0.0.0 1\n"
                              "change ha reach 10.1.0.102: type 1 -> 5\nadd ha heartbeat 10.1.0.1 10.1.0.3\n"
                              "remove ha heartbeat 10.1.0.1 10.1.0.2\nremove ha reach 10.1.0.100 255.255.255.0 1\n"
                              "set attack protection: 1 2 3 4 5 6 7 8\n";
    EXPECT_NE(run.out.find(steps + kHead + "ha backup add 0 1 9000\n"), std::string::npos) << run.out;
    for (const char *line : {"\nha heartbeat add 10.3.0.1 10.1.0.2\n", "\nha heartbeat add 10.1.0.1 10.1.0.3\n",
                             "\nha reach add 10.1.0.102 255.255.255.0 5\n"})
        EXPECT_EQ(linesWith(run.out, std::string(line).substr(1, std::string(line).size() - 2)).size(), 1U)
            << line << run.out;
    // The status that the executor has of a target stays.
    EXPECT_NE(run.out.find(R"("haAddress":"10.1.0.102","haMask":"255.255.255.0","haType":5,"haAddress_status":2,)"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("remove ha backup 0 1 9000\nadd ha backup 1 0 9000\nadd ha heartbeat 10.1.0.2 10.1.0.1\n"
                           "change icmp: off 0.0.0.0 -> on 10.1.0.9\n" +
                           kHead +
                           "ha backup add 1 0 9000\nha heartbeat add 10.1.0.2 10.1.0.1\nicmp set on 10.1.0.9\n"
                           "change icmp: on 10.1.0.9 -> off 0.0.0.0\nset attack protection: 1 2 3 4 5 6 7 8\n"),
              std::string::npos)
        << run.out;
}

// There are 32 reach targets at most: where there is no room for what comes beside what goes, that goes first. And a
// backup that the executor refuses, of which the library says nothing, leaves what was.
TEST(Config, HighAvailabilityIsExchangedAsAWholeOrStays) {
    const std::string folder = makeFolder(), exchanged = folder + "/exchanged", refused = folder + "/refused";
    const std::string pair = "ha backup add 0 1 9000\nha heartbeat add 10.1.0.1 10.1.0.2\n";
    std::string before = pair, after = pair;
    for (int target = 1; target <= 33; ++target) {
        const std::string line = "ha reach add 10.2.0." + std::to_string(target) + " 255.255.255.0 1\n";
        before += target <= 32 ? line : "";
        after += target >= 2 ? line : "";
    }
    write(exchanged, after);
    write(refused,
          "cluster add shop --address 10.0.0.10\nha heartbeat add 10.1.0.5 10.1.0.6\nha backup add 7 0 9000\n");
    const ConsoleRun run = runScript(before + "config apply " + exchanged + "\nconfig export\n! config apply " +
                                     refused + "\nconfig export\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("remove ha reach 10.2.0.1 255.255.255.0 1\nadd ha reach 10.2.0.33 255.255.255.0 1\n" +
                           kHead + after + kHead),
              std::string::npos)
        << run.out;
    // A cluster, a heartbeat, 32 targets and the backup went or came before.
    EXPECT_NE(run.err.find("ha backup 7 0 9000: the executor refused it; the 35 steps before it were undone"),
              std::string::npos)
        << run.err;
    std::vector<std::string> left = linesOf(run.out.substr(run.out.rfind(kHead) + kHead.size())), had = linesOf(after);
    std::sort(left.begin(), left.end());
    std::sort(had.begin(), had.end());
    EXPECT_EQ(left, had);
}

// A difference has an exit status of its own: 1 is that the executor could not be asked.
TEST(Config, ComparisonAnswersByItsExitStatus) {
    const std::string file = makeFolder() + "/farm";
    write(file, "cluster add shop --address 10.0.0.10\n");
    const ConsoleRun differs = runCommand({"config", "diff", file});
    EXPECT_EQ(differs.exitStatus, 4);
    EXPECT_EQ(differs.out, "add cluster shop: address 10.0.0.10\n");
    EXPECT_EQ(differs.err, "");
    const ConsoleRun rows = runScript("config apply " + file + " --dry-run\nconfig apply " + file + "\nconfig diff " +
                                          file + "\nsystem user stop\n! config diff " + file + "\n",
                                      {});
    EXPECT_EQ(rows.exitStatus, 0) << rows.err;
}

TEST(Config, NamesWithOneKeyAreRefusedBeforeAnythingIsSent) {
    const std::string file = makeFolder() + "/farm";
    write(file, "cluster add shop --address 10.0.0.10\nport add shop 80\nserver add shop 80 10.0.0.103\n"
                "server add shop 80 10.0.0.120\n");
    const ConsoleRun run = runScript("! config apply " + file + "\ncluster list --json\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "[]\n");
    EXPECT_NE(run.err.find("server shop 80 10.0.0.120: '10.0.0.103' has the same key "), std::string::npos) << run.err;
}

TEST(Config, ServerOfTheSameKeyTakesThePlaceOfOneThatGoes) {
    const std::string file = makeFolder() + "/farm";
    const std::string farm = "cluster add shop --address 10.0.0.10\nport add shop 80\nserver add shop 80 ";
    write(file, farm + "10.0.0.120\n");
    const ConsoleRun run = runScript(farm + "10.0.0.103\nconfig apply " + file + "\nserver list shop 80\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_TRUE(run.out.ends_with("10.0.0.120\n")) << run.out;
}

TEST(Config, FileThatCannotBeWrittenIsNamed) {
    const ConsoleRun run = runScript("! config export /no/such/folder/farm\n");
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.err,
              "line 1: config export: the file /no/such/folder/farm cannot be written: there is no such file\n");
}

TEST(Source, RunsAFileAndNamesItsLines) {
    const std::string folder = makeFolder(), inner = folder + "/inner", outer = folder + "/outer";
    write(inner, "cluster add shop --address 10.0.0.10\n\ncluster add shop --address 10.0.0.11\ncluster list\n");
    write(outer, "source " + inner + "\n");
    const ConsoleRun run = runScript("source " + outer + "\ncluster list\n", {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.err, inner + ", line 3: cluster add: status -4: the cluster exists already\n");
    EXPECT_EQ(run.out, "ok\nshop\nshop\n");

    const ConsoleRun stopped = runScript("source " + outer + "\ncluster list\n");
    EXPECT_EQ(stopped.exitStatus, 1);
    EXPECT_EQ(stopped.out, "ok\n");
}

TEST(Source, FileThatRunsItselfEnds) {
    const std::string file = makeFolder() + "/again";
    write(file, "source " + file + "\n");
    const ConsoleRun run = runScript("source " + file + "\n");
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_NE(run.err.find("more than 16 times"), std::string::npos) << run.err;
    EXPECT_EQ(linesOf(run.err).size(), 1U) << run.err;
}

TEST(Bulk, PatternsAndAddressesSelectObjects) {
    const ConsoleRun run =
        runScript("cluster add shop --address 10.0.0.10\ncluster add mail --address 10.0.0.11\n"
                  "port add shop 80\nport add mail 25\n"
                  "server add shop 80 web1\nserver add shop 80 web2\nserver add shop 80 db1\n"
                  "server add mail 25 10.0.0.101\n"
                  "server set shop 80 b1 --listener 10.0.0.101 --json\n"
                  "server set shop 80 'WEB*' --weight 5\nserver set '*' '*' '?b1' --weight 6 --json\n"
                  "server set shop 80 web2 --listener 10.0.0.101\n"
                  "server down --address 10.0.0.101\nserver list shop 80 --long\n"
                  "server down --address 10.0.0.102\nserver down shop 80 --address 10.0.0.101\n"
                  "server set shop 80 'x*' --weight 5\nserver set shop 80 'w*' --weight 50\n"
                  "server set shop '*' --weight 5\nserver up shop 80\n"
                  "server set shop 80 'w*' --yes\nport remove '*' '*'\nport list shop --json\n",
                  {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_NE(run.out.find("ok: 2 servers\n{\"status\":0,\"count\":1}\nok\nok: 2 servers\n"
                           "IDENTIFIER  LISTENERS     WEIGHT  FIXED WEIGHT  STICKY  QUIESCED\n"
                           "web1        -             5       off           off     off\n"
                           "web2        10.0.0.101:0  0       off           off     off\n"
                           "db1         -             6       off           off     off\n"),
              std::string::npos)
        << run.out;
    EXPECT_TRUE(run.out.ends_with("ok: 2 ports\n[]\n")) << run.out;
    EXPECT_EQ(
        linesOf(run.err),
        (std::vector<std::string>{
            "{\"status\":-19,\"meaning\":\"the server does not exist\",\"command\":\"server set\",\"line\":9}",
            "line 15: server down: no server has the address 10.0.0.102",
            "line 16: server down: --address stands instead of names",
            "line 17: server set: no server matches 'x*'",
            "line 18: server set: status -20: server shop 80 web1: the weight is negative, or above the weight bound"
            " of the port; 0 of 2 were done before it",
            "line 19: server set: Missing required parameter: 'SERVER'",
            "line 20: server up: Missing required parameter: 'SERVER'",
            "line 21: server set: there is nothing to change: give an option",
        }));
}

} // namespace
} // namespace rk
