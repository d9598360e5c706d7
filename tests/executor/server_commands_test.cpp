// The servers of a port.
#include "executor_client.h"

namespace rk {
namespace {

constexpr uint32_t kServer = 0xFFFFFF01; // a key may have any bits

void setTwoListeners(ServerRecord &record) {
    record.numberOfListeners = 2;
    for (ListenerEntry &listener : record.listeners) {
        listener = {};
        listener.address = address("10.3.0.1");
        listener.mapPort = port(8080);
        listener.protocol = kProtocolTls;
        listener.connectTimeout = 15;
        listener.waitForComplete = 1;
        setText(listener.keyRing, "keys.kdb");
        setText(listener.stashFile, std::string(255, 's'));
    }
    record.listeners[1].address = address("10.3.0.2");
}

const std::vector<SettingCase<ServerRecord>> kSettings = {
    {"listeners", &ServerRecord::setListeners, setTwoListeners},
    {"weight", &ServerRecord::setWeight, [](ServerRecord &r) { r.weight = 20; }},
    {"fixedWeight", &ServerRecord::setFixedWeight, [](ServerRecord &r) { r.fixedWeight = -1; }},
    {"routerAddress", &ServerRecord::setRouterAddress,
     [](ServerRecord &r) {
         r.routerAddress = address("10.9.0.1");
         r.routerAddressPresent = 1;
         r.remote = 1;
     }},
    {"returnAddress", &ServerRecord::setReturnAddress, [](ServerRecord &r) { r.returnAddress = address("10.9.0.2"); }},
    {"sticky", &ServerRecord::setSticky, [](ServerRecord &r) { r.sticky = -1; }},
    {"quiesced", &ServerRecord::setQuiesced, [](ServerRecord &r) { r.quiesced = 1; }},
    {"advisorRequest", &ServerRecord::setAdvisorRequest,
     [](ServerRecord &r) { setText(r.advisorRequest, "HEAD / HTTP/1.0"); }},
    {"advisorResponse", &ServerRecord::setAdvisorResponse,
     [](ServerRecord &r) { setText(r.advisorResponse, std::string(255, 'r')); }},
    {"cpsMaximum", &ServerRecord::setCpsMaximum, [](ServerRecord &r) { r.cpsMaximum = 2147483647; }},
    {"cookieValue", &ServerRecord::setCookieValue,
     [](ServerRecord &r) { setText(r.cookieValue, std::string(99, 'c')); }},
    {"cloneId", &ServerRecord::setCloneId, [](ServerRecord &r) { setText(r.cloneId, std::string(105, 'i')); }},
};

template <std::size_t size> void setTextWithoutEnd(char (&field)[size]) {
    std::memset(field, 'x', size);
}

const std::vector<RefusalCase<ServerRecord>> kRefusals = {
    {"three listeners", &ServerRecord::setListeners,
     [](ServerRecord &r) {
         setTwoListeners(r);
         r.numberOfListeners = 3;
     },
     kOutOfRange},
    {"keyRing without end", &ServerRecord::setListeners,
     [](ServerRecord &r) {
         setTwoListeners(r);
         setTextWithoutEnd(r.listeners[1].keyRing);
     },
     kOutOfRange},
    {"stashFile without end", &ServerRecord::setListeners,
     [](ServerRecord &r) {
         setTwoListeners(r);
         setTextWithoutEnd(r.listeners[0].stashFile);
     },
     kOutOfRange},
    {"weight -1", &ServerRecord::setWeight, [](ServerRecord &r) { r.weight = -1; }, kWeight},
    {"weight above the bound", &ServerRecord::setWeight, [](ServerRecord &r) { r.weight = 21; }, kWeight},
    {"advisorRequest without end", &ServerRecord::setAdvisorRequest,
     [](ServerRecord &r) { setTextWithoutEnd(r.advisorRequest); }, kOutOfRange},
    {"advisorResponse without end", &ServerRecord::setAdvisorResponse,
     [](ServerRecord &r) { setTextWithoutEnd(r.advisorResponse); }, kOutOfRange},
    {"cookieValue without end", &ServerRecord::setCookieValue,
     [](ServerRecord &r) { setTextWithoutEnd(r.cookieValue); }, kOutOfRange},
    {"cloneId without end", &ServerRecord::setCloneId, [](ServerRecord &r) { setTextWithoutEnd(r.cloneId); },
     kOutOfRange},
    {"cpsMaximum", &ServerRecord::setCpsMaximum, [](ServerRecord &r) { r.cpsMaximum = -1; }, kCpsMaximum},
};

const SettingCase<ServerRecord> kGood = {"sticky", &ServerRecord::setSticky, [](ServerRecord &r) { r.sticky = 1; }};

// What a server has that was added with no flag to a port with default settings.
ServerRecord defaultsOf(uint32_t key, const char *id) {
    ServerRecord expected{};
    expected.header.command = Command::readServerSettings;
    expected.clusterKey = kCluster;
    expected.port = port(kPort);
    expected.serverKey = key;
    setText(expected.serverId, id);
    expected.weight = 10;
    return expected;
}

int32_t remove(uint32_t key) {
    ServerRecord record = serverRequest(Command::removeServer, key);
    return send(record);
}

int32_t mark(Command command, uint32_t key) {
    ServerCommandRecord record = serverCommand(command, key);
    return send(record);
}

int32_t setWeight(uint32_t key, int16_t weight) {
    ServerRecord record = serverRequest(Command::writeServerSettings, key);
    record.setWeight = 1;
    record.weight = weight;
    return send(record);
}

class ServerCommands : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        addTestCluster();
        addTestPort();
    }
};

TEST_F(ServerCommands, anAddedServerHasIdentifierAndDefaults) {
    ServerRecord record = newServer(kServer, "10.3.0.1");
    const ServerRecord sent = record;
    ASSERT_EQ(send(record), 0);
    expectReply(sent, record);
    expectReply(defaultsOf(kServer, "10.3.0.1"), serverSettings(kServer));
    EXPECT_EQ(serverIds(), std::vector<std::string>{"10.3.0.1"});
}

TEST_F(ServerCommands, anIdentifierMayHave64Characters) {
    const std::string longest(64, 'i');
    addTestServer(kServer, longest.c_str());
    EXPECT_EQ(serverIds(), std::vector<std::string>{longest});
    for (const std::size_t length : {65U, 67U, 68U}) {
        ServerRecord record = newServer(2, "");
        std::memset(record.serverId, 'i', length); // 68 leave no room for an end
        if (length < sizeof record.serverId)
            record.serverId[length] = '\0';
        EXPECT_EQ(send(record), kOutOfRange) << length;
    }
    EXPECT_EQ(portReport().numberOfServers, 1);
}

TEST_F(ServerCommands, aNewWeightStaysWithinALowBound) {
    PortRecord write = portRequest(Command::writePortSettings);
    write.setWeightBound = 1;
    write.weightBound = 3;
    ASSERT_EQ(send(write), 0);
    addTestServer(kServer, "server");
    EXPECT_EQ(serverSettings(kServer).weight, 3);
    EXPECT_EQ(setWeight(kServer, 4), kWeight);
    EXPECT_EQ(setWeight(kServer, 0), 0);
}

TEST_F(ServerCommands, anAddAppliesItsFlaggedSettings) {
    for (const SettingCase<ServerRecord> &setting : kSettings) {
        SCOPED_TRACE(setting.name);
        ServerRecord record = newServer(kServer, "server");
        setting.setValue(record);
        record.*setting.flag = 1;
        ServerRecord expected = defaultsOf(kServer, "server");
        setting.setValue(expected);
        ASSERT_EQ(send(record), 0);
        EXPECT_EQ(record.*setting.flag, 1);
        expectReply(expected, serverSettings(kServer));
        ASSERT_EQ(remove(kServer), 0);
    }
}

TEST_F(ServerCommands, anAddWithABadSettingAddsNothing) {
    for (const RefusalCase<ServerRecord> &refusal : kRefusals) {
        SCOPED_TRACE(refusal.name);
        ServerRecord record = newServer(kServer, "server");
        record.setSticky = 1;
        refusal.setValue(record);
        record.*refusal.flag = 1;
        EXPECT_EQ(send(record), refusal.reason);
        EXPECT_EQ(record.*refusal.flag, 0);
        EXPECT_EQ(record.setSticky, 0);
        EXPECT_EQ(portReport().numberOfServers, 0);
    }
}

TEST_F(ServerCommands, aKeyIsTakenOnceOnAPort) {
    addTestServer(kServer, "server");
    ServerRecord again = newServer(kServer, "other");
    EXPECT_EQ(send(again), kServerExists);
    EXPECT_EQ(serverIds(), std::vector<std::string>{"server"});
    addTestPort(443);
    ServerRecord elsewhere = newServer(kServer, "server");
    elsewhere.port = port(443);
    EXPECT_EQ(send(elsewhere), 0);
}

TEST_F(ServerCommands, theServerLimitOfThePortHolds) {
    PortRecord write = portRequest(Command::writePortSettings);
    write.setMaxServers = 1;
    write.maxServers = 1;
    ASSERT_EQ(send(write), 0);
    addTestServer(1, "one");
    ServerRecord second = newServer(2, "two");
    EXPECT_EQ(send(second), kServerLimit);
    ASSERT_EQ(remove(1), 0);
    EXPECT_EQ(send(second), 0);
}

TEST_F(ServerCommands, aFlagOfOneChangesItsSettingOnly) {
    addTestServer(kServer, "server");
    expectFlagsToGovern(kSettings, serverRequest(Command::writeServerSettings, kServer),
                        [] { return serverSettings(kServer); });
}

TEST_F(ServerCommands, aChangeIsAppliedAsAWholeOrNotAtAll) {
    addTestServer(kServer, "server");
    expectRefusals(kRefusals, kGood, serverRequest(Command::writeServerSettings, kServer),
                   [] { return serverSettings(kServer); });
}

TEST_F(ServerCommands, listenersAreKeptWithoutStaleBytes) {
    addTestServer(kServer, "server");
    ServerRecord write = serverRequest(Command::writeServerSettings, kServer);
    ListenerEntry &listener = write.listeners[0];
    write.setListeners = 1;
    write.numberOfListeners = 1;
    listener.address = address("10.3.0.7");
    listener.mapPort = port(0);
    listener.protocol = 0;
    listener.connectTimeout = listener.waitForComplete = 0;
    setText(listener.keyRing, "k");
    setText(listener.stashFile, "");
    ASSERT_EQ(send(write), 0);

    ServerRecord expected = defaultsOf(kServer, "server");
    expected.numberOfListeners = 1;
    expected.listeners[0].address = address("10.3.0.7");
    setText(expected.listeners[0].keyRing, "k");
    expectReply(expected, serverSettings(kServer));

    write.setListeners = 1;
    write.numberOfListeners = 0;
    ASSERT_EQ(send(write), 0);
    expectReply(defaultsOf(kServer, "server"), serverSettings(kServer));
}

TEST_F(ServerCommands, aServerIsRemoteWhenItsRouterAddressIsNotZero) {
    addTestServer(kServer, "server");
    ServerRecord write = serverRequest(Command::writeServerSettings, kServer);
    write.setRouterAddress = 1;
    write.routerAddress = {0};
    ASSERT_EQ(send(write), 0);
    EXPECT_EQ(serverSettings(kServer).remote, 0);
    EXPECT_EQ(serverSettings(kServer).routerAddressPresent, 1);
}

TEST_F(ServerCommands, aCollocatedServerHasNoRouter) {
    addTestServer(kServer, "server");
    ServerRecord collocate = serverRequest(Command::writeServerSettings, kServer);
    collocate.setCollocated = 1;
    collocate.collocated = 1;
    ServerRecord route = serverRequest(Command::writeServerSettings, kServer);
    route.setRouterAddress = 1;
    route.routerAddress = address("10.9.0.1");
    ServerRecord unroute = route;
    unroute.routerAddress = {0};
    ServerRecord both = route;
    both.setCollocated = 1;
    both.collocated = 1;

    EXPECT_EQ(send(both), kCollocatedRouter);
    EXPECT_EQ(both.setCollocated, 0);
    EXPECT_EQ(both.setRouterAddress, 0);
    expectReply(defaultsOf(kServer, "server"), serverSettings(kServer));
    ASSERT_EQ(send(collocate), 0);
    EXPECT_EQ(serverSettings(kServer).collocated, 1);
    ServerRecord refused = route;
    EXPECT_EQ(send(refused), kCollocatedRouter);
    EXPECT_EQ(send(unroute), 0);

    ASSERT_EQ(remove(kServer), 0);
    addTestServer(kServer, "server");
    ASSERT_EQ(send(route), 0);
    EXPECT_EQ(send(collocate), kCollocatedRouter);
}

TEST_F(ServerCommands, aServerThatIsDownHasWeightZeroUntilItIsUp) {
    addTestServer(kServer, "server");
    ASSERT_EQ(setWeight(kServer, 7), 0);
    EXPECT_EQ(serverReport(kServer).savedWeight, 0);
    for (int times = 0; times < 2; ++times) { // the second time changes nothing
        ASSERT_EQ(mark(Command::markServerDown, kServer), 0);
        EXPECT_EQ(serverSettings(kServer).weight, 0);
        EXPECT_EQ(serverReport(kServer).savedWeight, 7);
        EXPECT_EQ(portReport().serversDown, 1);
        EXPECT_EQ(portReport().highestWeight, 0);
    }
    for (int times = 0; times < 2; ++times) {
        ASSERT_EQ(mark(Command::markServerUp, kServer), 0);
        EXPECT_EQ(serverSettings(kServer).weight, 7);
        EXPECT_EQ(serverReport(kServer).savedWeight, 0);
        EXPECT_EQ(portReport().serversDown, 0);
    }
}

TEST_F(ServerCommands, aWeightSetWhileDownWaitsForTheServerToBeUp) {
    addTestServer(kServer, "server");
    ASSERT_EQ(mark(Command::markServerDown, kServer), 0);
    ASSERT_EQ(setWeight(kServer, 3), 0);
    EXPECT_EQ(serverSettings(kServer).weight, 0);
    EXPECT_EQ(serverReport(kServer).savedWeight, 3);
    EXPECT_EQ(setWeight(kServer, 21), kWeight);
    ServerRecord other = serverRequest(Command::writeServerSettings, kServer);
    other.setSticky = 1;
    ASSERT_EQ(send(other), 0);
    EXPECT_EQ(serverReport(kServer).savedWeight, 3);
    ASSERT_EQ(mark(Command::markServerUp, kServer), 0);
    EXPECT_EQ(serverSettings(kServer).weight, 3);
}

TEST_F(ServerCommands, aMarkIsForOneServer) {
    addTestServer(kServer, "server");
    for (const Command command : {Command::markServerDown, Command::markServerUp}) {
        for (const int32_t number : {0, 2, -1}) {
            ServerCommandRecord record = serverCommand(command, kServer);
            record.numberOfServers = number;
            EXPECT_EQ(send(record), kOutOfRange);
        }
    }
    EXPECT_EQ(portReport().serversDown, 0);
}

TEST_F(ServerCommands, theReportTellsWhatHappened) {
    addTestServer(kServer, "server");
    ASSERT_EQ(mark(Command::markServerDown, kServer), 0);
    ServerReportRecord rate = serverReport(kServer);
    rate.header.command = Command::setServerCps;
    rate.connectionsPerSecond = 55;
    ASSERT_EQ(send(rate), 0);
    rate.connectionsPerSecond = -1;
    EXPECT_EQ(send(rate), kOutOfRange);

    ServerReportRecord expected{};
    expected.header.command = Command::readServerReport;
    expected.clusterKey = kCluster;
    expected.port = port(kPort);
    expected.serverKey = kServer;
    expected.savedWeight = 10;
    expected.connectionsPerSecond = 55;
    expectReply(expected, serverReport(kServer));
}

TEST_F(ServerCommands, aRemovedServerIsGoneFromPortAndRules) {
    addTestServer(1, "one");
    addTestServer(2, "two");
    addTestRule("first");
    addTestRule("second");
    addTestMember("first", 1);
    addTestMember("first", 2);
    addTestMember("second", 1);
    ASSERT_EQ(remove(1), 0);
    EXPECT_EQ(remove(1), kUnknownServer);
    EXPECT_EQ(serverIds(), std::vector<std::string>{"two"});
    EXPECT_EQ(ruleServerIds("first"), std::vector<std::string>{"two"});
    EXPECT_EQ(ruleServerIds("second"), std::vector<std::string>{});
}

// Sends each server command with these keys.
void expectRefused(uint32_t clusterKey, int portNumber, uint32_t serverKey, int32_t reason) {
    for (const Command command : {Command::removeServer, Command::readServerSettings, Command::writeServerSettings}) {
        ServerRecord record = serverRequest(command, serverKey);
        record.clusterKey = clusterKey;
        record.port = port(portNumber);
        EXPECT_EQ(send(record), reason) << static_cast<int>(command);
    }
    for (const Command command : {Command::markServerDown, Command::markServerUp}) {
        ServerCommandRecord record = serverCommand(command, serverKey);
        record.clusterKey = clusterKey;
        record.port = port(portNumber);
        EXPECT_EQ(send(record), reason) << static_cast<int>(command);
    }
    for (const Command command : {Command::readServerReport, Command::setServerCps}) {
        auto record = request<ServerReportRecord>(command);
        record.clusterKey = clusterKey;
        record.port = port(portNumber);
        record.serverKey = serverKey;
        EXPECT_EQ(send(record), reason) << static_cast<int>(command);
    }
}

TEST_F(ServerCommands, unknownClustersPortsAndServersAreRefused) {
    addTestServer(kServer, "server");
    expectRefused(kCluster, kPort, kServer + 1, kUnknownServer);
    expectRefused(kCluster, kPort + 1, kServer, kUnknownPort);
    expectRefused(kCluster + 1, kPort, kServer, kUnknownCluster);

    ServerRecord addition = newServer(2, "two");
    addition.port = port(kPort + 1);
    EXPECT_EQ(send(addition), kUnknownPort);
    addition.clusterKey = kCluster + 1;
    EXPECT_EQ(send(addition), kUnknownCluster);
    ServerListRequest list = serverListRequest(1);
    list.block().port = port(kPort + 1);
    EXPECT_EQ(send(list), kUnknownPort);
    list.block().clusterKey = kCluster + 1;
    EXPECT_EQ(send(list), kUnknownCluster);
}

TEST_F(ServerCommands, theListHasTheOrderOfAddition) {
    addTestServer(9, "nine");
    addTestServer(1, "one");
    addTestServer(5, "five");
    EXPECT_EQ(serverIds(), (std::vector<std::string>{"nine", "one", "five"}));
    ASSERT_EQ(remove(9), 0);
    addTestServer(9, "nine");
    EXPECT_EQ(serverIds(), (std::vector<std::string>{"one", "five", "nine"}));
}

TEST_F(ServerCommands, theListFillsTheRoomThatThereIs) {
    addTestServer(9, "nine");
    addTestServer(1, "one");
    ServerListRequest less = serverListRequest(1);
    ServerListRequest expected = emptyReply(less, 1);
    expected.entry(0).serverKey = 9;
    setText(expected.entry(0).serverId, "nine");
    ASSERT_EQ(send(less), 0);
    expectSameBytes(expected.bytes.data(), less.bytes.data(), less.bytes.size());

    ServerListRequest more = serverListRequest(4);
    expected = emptyReply(more, 2);
    expected.entry(0).serverKey = 9;
    setText(expected.entry(0).serverId, "nine");
    expected.entry(1).serverKey = 1;
    setText(expected.entry(1).serverId, "one");
    ASSERT_EQ(send(more), 0);
    expectSameBytes(expected.bytes.data(), more.bytes.data(), more.bytes.size());
}

} // namespace
} // namespace rk
