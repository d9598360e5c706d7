// The trace log.
#include "executor/state/trace_log.h"
#include "executor_client.h"
#include "rk/ha_records.h"
#include "rk/interface_records.h"

#include <algorithm>
#include <regex>

namespace rk {
namespace {

constexpr std::size_t kLongestReply = 64016 - 16 - 1;

// The text of a reply that is zero behind it.
std::string readLog(Command command, int32_t size) {
    auto block = std::make_unique<SharedBlock>(request<SharedBlock>(command));
    block->log.size = size;
    EXPECT_EQ(send(*block), 0);
    const auto *text = reinterpret_cast<const char *>(block->bytes + sizeof(CommandHeader));
    const std::size_t length = strnlen(text, kWireBytes - sizeof(CommandHeader));
    EXPECT_LE(length, kLongestReply);
    auto expected = std::make_unique<SharedBlock>(emptyRecord<SharedBlock>(command));
    std::memcpy(expected->bytes + sizeof(CommandHeader), text, length);
    expectReply(*expected, *block);
    return {text, length};
}

std::string head(int32_t size = 64016) {
    return readLog(Command::readLogHead, size);
}

std::string tail(int32_t size = 64016) {
    return readLog(Command::readLogTail, size);
}

// The lines of a log without their times, which are to look like ones.
std::vector<std::string> linesIn(const std::string &log) {
    static const std::regex timed("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ (.*)");
    std::vector<std::string> lines;
    std::size_t begin = 0;
    while (begin < log.size()) {
        const std::size_t end = log.find('\n', begin);
        EXPECT_NE(end, std::string::npos);
        const std::string line = log.substr(begin, end - begin);
        std::smatch parts;
        EXPECT_TRUE(std::regex_match(line, parts, timed)) << line;
        lines.push_back(parts[1]);
        begin = end + 1;
    }
    return lines;
}

void clearLog() {
    auto record = request<ShortRecord>(Command::clearLog);
    ASSERT_EQ(send(record), 0);
}

// As a client does it: nothing but the value and its flag is written.
void setLevel(int32_t level) {
    auto record = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    record.traceLevel = level;
    record.setTraceLevel = 1;
    ASSERT_EQ(send(record), 0);
}

void setFilter(int32_t filter) {
    auto record = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    record.logFilter = filter;
    record.setLogFilter = 1;
    ASSERT_EQ(send(record), 0);
}

// A command that changes something, one that reads, and one that is refused.
void act() {
    addTestCluster();
    executorReport();
    ClusterRecord again = newCluster(kCluster, "web", "10.1.0.1");
    EXPECT_EQ(send(again), kClusterExists);
}

using Lines = std::vector<std::string>;

const std::string kAdded = "addCluster cluster=web(0x000000c4) result=0";
const std::string kReported = "readExecutorReport result=0";
const std::string kRefused = "addCluster cluster=web(0x000000c4) result=-1 reason=-8 (cluster exists already)";

class Trace : public ExecutorTest {};

TEST_F(Trace, beginsWithTheStart) {
    EXPECT_EQ(linesIn(head()), Lines{"executor started"});
    act();
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    EXPECT_EQ(linesIn(head()), Lines{"executor started"});
}

TEST_F(Trace, keepsRefusalsAtFirst) {
    clearLog();
    act();
    EXPECT_EQ(linesIn(head()), Lines{kRefused});
}

TEST_F(Trace, keepsWhatItsLevelTells) {
    struct Case {
        int32_t level;
        Lines lines;
    };
    for (const Case &item : std::initializer_list<Case>{
             {0, {}},
             {1, {kRefused}},
             {2, {kAdded, kRefused}},
             {3, {kAdded, kReported, kRefused}},
             {2147483647, {kAdded, kReported, kRefused}},
         }) {
        SCOPED_TRACE(item.level);
        setLevel(item.level);
        clearLog();
        act();
        EXPECT_EQ(linesIn(head()), item.lines);
        EXPECT_EQ(linesIn(tail()), item.lines);
        ClusterRecord removal = clusterRequest(Command::removeCluster, kCluster);
        ASSERT_EQ(send(removal), 0);
    }
}

TEST_F(Trace, isNotChangedByReadingIt) {
    setLevel(3);
    clearLog();
    executorReport();
    head();
    tail();
    EXPECT_EQ(linesIn(head()), Lines{kReported});
    clearLog();
    EXPECT_EQ(head(), "");
    EXPECT_EQ(tail(), "");
}

TEST_F(Trace, tellsOfTheChangeOfItsLevel) {
    clearLog();
    setLevel(2);
    setLevel(1);
    EXPECT_EQ(linesIn(head()), Lines{"writeExecutorSettings result=0"});
}

TEST_F(Trace, keepsWhatItsFilterTells) {
    addTestCluster();
    addTestPort();
    addTestServer(1, "one");
    addTestRule("any");
    struct Case {
        int32_t filter;
        Lines names;
    };
    for (const Case &item : std::initializer_list<Case>{
             {0x1, {"readExecutorReport"}},
             {0x2, {"readClusterReport"}},
             {0x4, {"readPortReport"}},
             {0x8, {"readServerReport", "readServerWeights"}},
             {0x10, {"readRuleReport", "listRuleServers"}},
             {0x20, {"readHighAvailability"}},
             {0x40, {"readInterfaces"}},
             {0x80, {"readConnections"}},
             {0x100, {"readAffinities"}},
             {0x200, {"debugDump"}},
             {0x400, {"readIcmp"}},
             {0x800, {}},
             {0x5, {"readExecutorReport", "readPortReport"}},
             {static_cast<int32_t>(0x80000002), {"readClusterReport"}},
             {0,
              {"readExecutorReport", "readClusterReport", "readPortReport", "readServerReport", "readServerWeights",
               "readRuleReport", "listRuleServers", "readHighAvailability", "readInterfaces", "readConnections",
               "readAffinities", "debugDump", "readIcmp"}},
         }) {
        SCOPED_TRACE(item.filter);
        setLevel(3);
        setFilter(item.filter);
        clearLog();
        executorReport();
        clusterReport(kCluster);
        portReport();
        serverReport(1);
        WeightsRequest weights = weightsRequest(Command::readServerWeights, 1);
        EXPECT_EQ(send(weights), 0);
        ruleReport("any");
        ServerListRequest members = ruleServerListRequest("any", 1);
        EXPECT_EQ(send(members), 0);
        auto ha = request<HaStatusRecord>(Command::readHighAvailability);
        EXPECT_EQ(send(ha), 0);
        auto interfaces = request<InterfaceListRecord>(Command::readInterfaces);
        EXPECT_EQ(send(interfaces), 0);
        auto connections = std::make_unique<SharedBlock>(request<SharedBlock>(Command::readConnections));
        EXPECT_EQ(send(*connections), 0);
        AffinityBlock affinities = affinityRequest(Command::readAffinities);
        EXPECT_EQ(send(affinities), 0);
        auto debug = request<DebugRequestRecord>(Command::debugDump);
        debug.subCommand = 0;
        EXPECT_EQ(send(debug), 0);
        auto icmp = request<IcmpRecord>(Command::readIcmp);
        EXPECT_EQ(send(icmp), 0);
        Lines names;
        for (const std::string &line : linesIn(head()))
            names.push_back(line.substr(0, line.find(' ')));
        EXPECT_EQ(names, item.names);
    }
}

TEST_F(Trace, filtersRefusalsAsWell) {
    auto unknown = request<HeaderRecord>(Command{38});
    setFilter(0x2);
    clearLog();
    act();
    EXPECT_EQ(send(unknown), kUnknownCommand);
    EXPECT_EQ(linesIn(head()), Lines{kRefused});
    setFilter(0x1); // an unknown command is the executor's
    clearLog();
    EXPECT_EQ(send(unknown), kUnknownCommand);
    auto tooShort = request<HeaderRecord>(Command::addCluster);
    EXPECT_EQ(send(tooShort), kWrongLength);
    EXPECT_EQ(linesIn(head()), Lines{"unknownCommand command=38 result=-1 reason=-101 (unknown command)"});
}

TEST_F(Trace, headAndTailGiveAsMuchAsIsAskedFor) {
    act();
    const std::string log = head();
    ASSERT_GT(log.size(), 100U);
    EXPECT_EQ(tail(), log);
    const auto size = static_cast<int32_t>(log.size());
    for (const int32_t asked : {1, 2, 50, size - 1, size, size + 1, size + 2, 64000, 64016, 65536, 2147483647}) {
        SCOPED_TRACE(asked);
        const std::size_t length = std::min(log.size(), static_cast<std::size_t>(asked) - 1);
        EXPECT_EQ(head(asked), log.substr(0, length));
        EXPECT_EQ(tail(asked), log.substr(log.size() - length));
    }
    for (const int32_t asked : {0, -1, -2147483647 - 1}) {
        EXPECT_EQ(head(asked), "") << asked;
        EXPECT_EQ(tail(asked), "") << asked;
    }
}

TEST_F(Trace, keepsTheNewestWholeLines) {
    clearLog();
    // Keys that tell the lines apart: 00000001, 00000002 and so on.
    constexpr uint32_t kLines = 5000;
    for (uint32_t key = 1; key <= kLines; ++key) {
        ClusterRecord removal = clusterRequest(Command::removeCluster, key);
        ASSERT_EQ(send(removal), kUnknownCluster);
    }
    const std::string newest = tail();
    const std::string oldest = head();
    EXPECT_EQ(newest.size(), kLongestReply);
    EXPECT_EQ(oldest.size(), kLongestReply);
    const auto keyIn = [](const std::string &text, std::size_t at) {
        return std::stoul(text.substr(text.find("cluster=(0x", at) + 11, 8), nullptr, 16);
    };
    // The newest line is the last, the oldest begins the log, and none is missing between the two.
    EXPECT_EQ(keyIn(newest, newest.rfind("removeCluster")), kLines);
    EXPECT_EQ(oldest.substr(10, 1), "T");
    const std::size_t lineLength = oldest.find('\n') + 1;
    const std::size_t kept = 2 * kLongestReply / lineLength;
    EXPECT_EQ(keyIn(oldest, 0), kLines - kept + 1);
    EXPECT_EQ(keyIn(oldest, lineLength), kLines - kept + 2);
}

TEST_F(Trace, dropsNoMoreLinesThanItMust) {
    const auto log = std::make_unique<TraceLog>();
    constexpr std::size_t kLineLength = 78; // with its end; the log holds a whole number of such lines
    constexpr std::size_t kLines = sizeof log->text / kLineLength;
    static_assert(kLines * kLineLength == sizeof log->text);
    for (std::size_t index = 0; index < kLines; ++index)
        addLine(*log, std::string(kLineLength - 1, 'a'));
    EXPECT_EQ(log->length, sizeof log->text);
    addLine(*log, std::string(kLineLength - 1, 'b'));
    EXPECT_EQ(log->length, sizeof log->text);
    EXPECT_EQ(textOf(*log).substr(log->length - kLineLength), std::string(kLineLength - 1, 'b') + "\n");
    addLine(*log, "c"); // takes the place of one line, though it is short
    EXPECT_EQ(log->length, sizeof log->text - kLineLength + 2);
    addLine(*log, "d"); // and what is left is room for others
    EXPECT_EQ(log->length, sizeof log->text - kLineLength + 4);
}

TEST_F(Trace, isTheSameWithALogFile) {
    clearLog();
    ASSERT_EQ(EXC_UsrExecutorSetLog("/dev/null"), 1);
    act();
    EXPECT_EQ(linesIn(head()), Lines{kRefused});
    ASSERT_EQ(EXC_UsrExecutorSetLog(""), 1);
}

} // namespace
} // namespace rk
