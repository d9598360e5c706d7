// The executor behind a device: the rounds of an ioctl, and qelxwd's words.
#include "executor/commands/commands.h"
#include "executor/commands/perform_command.h"
#include "executor/fronts/device_options.h"
#include "executor/fronts/device_request.h"
#include "executor_client.h"

#include <algorithm>
#include <cerrno>

namespace rk {
namespace {

constexpr uint32_t kRequest = 0x4321;
constexpr std::size_t kMostBytes = 131072;

// One round, with the bytes at an odd place of a block of just their size.
DeviceReply answer(ExecutorState &state, uint32_t request, const std::vector<uint8_t> &in, std::size_t outBytes) {
    std::vector<uint8_t> atOddPlace(in.size() + 1);
    std::copy(in.begin(), in.end(), atOddPlace.begin() + 1);
    DeviceReply reply;
    reply.error = 77; // nothing of an earlier reply is to stay
    reply.inBytes = reply.outBytes = 77;
    reply.block = {7, 7};
    answerDeviceRequest(state, request, in.empty() ? nullptr : atOddPlace.data() + 1, in.size(), outBytes, reply);
    return reply;
}

void expectRetry(const DeviceReply &reply, std::size_t inBytes, std::size_t outBytes) {
    EXPECT_EQ(reply.answer, DeviceAnswer::retry);
    EXPECT_EQ(reply.inBytes, inBytes);
    EXPECT_EQ(reply.outBytes, outBytes);
    EXPECT_TRUE(reply.block.empty());
}

void expectRefusal(const DeviceReply &reply, int error) {
    EXPECT_EQ(reply.answer, DeviceAnswer::refused);
    EXPECT_EQ(reply.error, error);
    EXPECT_TRUE(reply.block.empty());
}

// A block of `size` stale bytes whose length word is `length`.
std::vector<uint8_t> blockOf(Command command, std::size_t size, uint32_t length) {
    std::vector<uint8_t> block(size, kStaleByte);
    const CommandHeader header{command, 0, 0, length};
    std::memcpy(block.data(), &header, std::min(size, sizeof header));
    return block;
}

template <typename Record> std::vector<uint8_t> bytesOf(const Record &record) {
    const auto *begin = reinterpret_cast<const uint8_t *>(&record);
    return {begin, begin + sizeof record};
}

CommandHeader headerOf(const std::vector<uint8_t> &block) {
    CommandHeader header{};
    std::memcpy(&header, block.data(), sizeof header);
    return header;
}

std::vector<uint8_t> firstBytes(const std::vector<uint8_t> &block, std::size_t count) {
    return {block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count)};
}

// Does what the kernel does between a caller and the device. Returns the ioctl's errno value, 0 on success.
int ioctlOf(ExecutorState &state, std::vector<uint8_t> &block) {
    DeviceReply reply = answer(state, kRequest, {}, 0);
    for (int round = 0; reply.answer == DeviceAnswer::retry; ++round) {
        if (round == 3) {
            ADD_FAILURE() << "no end of rounds";
            return EIO;
        }
        if (reply.inBytes > block.size() || reply.outBytes > block.size())
            return EFAULT;
        reply = answer(state, kRequest, firstBytes(block, reply.inBytes), reply.outBytes);
    }
    if (reply.answer == DeviceAnswer::refused)
        return reply.error;
    EXPECT_LE(reply.block.size(), block.size());
    std::copy(reply.block.begin(), reply.block.end(), block.begin());
    return 0;
}

class Device : public testing::Test {
protected:
    void SetUp() override {
        startExecutor(state);
    }

    ExecutorState state;
};

TEST_F(Device, aCommandComesInThreeRounds) {
    const std::vector<uint8_t> block = bytesOf(newCluster(1, "web", "10.1.0.1"));
    expectRetry(answer(state, kRequest, {}, 0), 16, 0);
    expectRetry(answer(state, kRequest, firstBytes(block, 16), 0), 192, 192);
    EXPECT_EQ(state.executor.counters.commands, 0U);
    const DeviceReply reply = answer(state, kRequest, block, 192);
    EXPECT_EQ(reply.answer, DeviceAnswer::performed);
    EXPECT_EQ(state.executor.counters.commands, 1U);
    EXPECT_EQ(state.executor.clusters.byKey.count(1), 1U);
    ASSERT_EQ(reply.block.size(), 192U);
    EXPECT_EQ(headerOf(reply.block).result, 0);
}

TEST_F(Device, aCommandThatIsAHeaderComesInThreeRoundsToo) {
    const std::vector<uint8_t> block = blockOf(Command::deleteBackup, 16, 16);
    expectRetry(answer(state, kRequest, block, 0), 16, 16);
    EXPECT_EQ(state.executor.counters.commands, 0U);
    const DeviceReply reply = answer(state, kRequest, block, 16);
    EXPECT_EQ(reply.answer, DeviceAnswer::performed);
    ASSERT_EQ(reply.block.size(), 16U);
    EXPECT_EQ(headerOf(reply.block).reason, kNoBackup);
}

TEST_F(Device, aPartOfAHeaderIsBroughtAgain) {
    for (const std::size_t brought : {1U, 12U, 15U})
        expectRetry(answer(state, kRequest, blockOf(Command::deleteBackup, brought, 16), brought), 16, 0);
}

TEST_F(Device, otherRequestsAreRefusedInEveryRound) {
    const std::vector<uint8_t> block = bytesOf(newCluster(1, "web", "10.1.0.1"));
    for (const uint32_t request : {0U, 0x4320U, 0x4322U, 0x5401U, 0x14321U, 0xC0104321U, 0x80004321U, 0xFFFFFFFFU}) {
        expectRefusal(answer(state, request, {}, 0), ENOTTY);
        expectRefusal(answer(state, request, firstBytes(block, 16), 0), ENOTTY);
        expectRefusal(answer(state, request, block, block.size()), ENOTTY);
    }
    EXPECT_EQ(state.executor.counters.commands, 0U);
    EXPECT_TRUE(state.executor.clusters.byKey.empty());
}

TEST_F(Device, lengthsThatCannotBeAreRefused) {
    for (const uint32_t length : {0U, 1U, 12U, 15U, 131073U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(length);
        std::vector<uint8_t> block = blockOf(Command::readExecutorReport, kMostBytes + 16, length);
        const std::vector<uint8_t> before = block;
        EXPECT_EQ(ioctlOf(state, block), EINVAL);
        EXPECT_EQ(block, before);
        expectRefusal(answer(state, kRequest, block, block.size()), EINVAL);
    }
    EXPECT_EQ(state.executor.counters.commands, 0U);
}

// Such lengths are the executor's to judge.
TEST_F(Device, lengthsThatCanBeReachTheExecutor) {
    for (const uint32_t length : {16U, 17U, 239U, 241U, 64016U, 96048U, 131071U, 131072U}) {
        SCOPED_TRACE(length);
        std::vector<uint8_t> block = blockOf(Command::readExecutorReport, length, length);
        std::vector<uint8_t> expected = block;
        EXPECT_EQ(ioctlOf(state, block), 0);
        reinterpret_cast<CommandHeader *>(expected.data())->result = -1;
        reinterpret_cast<CommandHeader *>(expected.data())->reason = kWrongLength;
        EXPECT_EQ(block, expected);
    }
}

TEST_F(Device, aLengthThatChangesBetweenTheRoundsIsRefused) {
    for (const uint32_t length : {16U, 191U, 193U, 131072U}) {
        std::vector<uint8_t> block = bytesOf(newCluster(1, "web", "10.1.0.1"));
        reinterpret_cast<CommandHeader *>(block.data())->length = length;
        expectRefusal(answer(state, kRequest, block, 192), EINVAL);
    }
    const std::vector<uint8_t> block = bytesOf(newCluster(1, "web", "10.1.0.1"));
    for (const std::size_t room : {1U, 16U, 191U, 193U, 131072U})
        expectRefusal(answer(state, kRequest, block, room), EINVAL);
    for (const std::size_t brought : {16U, 191U, 193U, 1952U}) // while the room is right
        expectRefusal(answer(state, kRequest, blockOf(Command::addCluster, brought, 192), 192), EINVAL);
    EXPECT_EQ(state.executor.counters.commands, 0U);
}

TEST_F(Device, aRefusedCommandIsNoFailedIoctl) {
    std::vector<uint8_t> block = bytesOf(clusterRequest(Command::readClusterReport, 1));
    block.resize(sizeof(ClusterReportRecord));
    reinterpret_cast<CommandHeader *>(block.data())->length = sizeof(ClusterReportRecord);
    EXPECT_EQ(ioctlOf(state, block), 0);
    EXPECT_EQ(headerOf(block).result, -1);
    EXPECT_EQ(headerOf(block).reason, kUnknownCluster);
}

TEST_F(Device, commandsOfOneOpenerAreSeenByTheOthers) {
    std::vector<uint8_t> web = bytesOf(newCluster(1, "web", "10.1.0.1"));
    std::vector<uint8_t> mail = bytesOf(newCluster(2, "mail", "10.1.0.2"));
    // The rounds of two openers mix.
    expectRetry(answer(state, kRequest, {}, 0), 16, 0);
    expectRetry(answer(state, kRequest, {}, 0), 16, 0);
    expectRetry(answer(state, kRequest, firstBytes(web, 16), 0), 192, 192);
    expectRetry(answer(state, kRequest, firstBytes(mail, 16), 0), 192, 192);
    EXPECT_EQ(answer(state, kRequest, mail, 192).answer, DeviceAnswer::performed);
    EXPECT_EQ(answer(state, kRequest, web, 192).answer, DeviceAnswer::performed);

    auto list = listRequest<ClusterListBlock, ClusterListEntry>(Command::listClusters, 2);
    EXPECT_EQ(ioctlOf(state, list.bytes), 0);
    EXPECT_EQ(namesIn(list, &ClusterListEntry::clusterId), (std::vector<std::string>{"mail", "web"}));
}

// What comes back is, to the byte, what the executor makes of the same block without a device.
void expectSameAsWithoutDevice(ExecutorState &state, ExecutorState &twin, std::vector<uint8_t> block) {
    std::vector<uint8_t> expected = block;
    performCommand(twin, reinterpret_cast<CommandHeader *>(expected.data()));
    EXPECT_EQ(ioctlOf(state, block), 0);
    EXPECT_EQ(block, expected);
}

TEST_F(Device, blocksOfAllSizesTravelWhole) {
    ExecutorState twin;
    startExecutor(twin);
    const auto add = [&](const auto &record) { expectSameAsWithoutDevice(state, twin, bytesOf(record)); };
    add(clusterRequest(Command::removeCluster, 1)); // refused
    add(newCluster(kCluster, "web", "10.1.0.1"));
    add(portRequest(Command::addPort));
    add(newServer(1, "one"));
    AffinityBlock bind = affinityRequest(Command::serverDirectedAffinity, 3000);
    bind.block().command = 1;
    for (uint32_t index = 0; index < 3000; ++index)
        bind.entry(index) = {0x0A080001 + index, 0x0A030001, 1, 0, {}, 0, {}, 0, 0};
    ASSERT_EQ(bind.bytes.size(), 96048U);
    EXPECT_EQ(ioctlOf(state, bind.bytes), 0);
    EXPECT_EQ(bind.block().header.result, 0);
    EXPECT_EQ(bind.block().response, 0);
    EXPECT_EQ(bind.entry(2999).serverKey, 1U);
    EXPECT_EQ(state.executor.clusters.byKey.at(kCluster).ports.byKey.at(kPort).affinities.byKey.size(), 3000U);
}

// The longest lists that a device can carry: 1820 clusters, 1365 servers with their weights.
TEST_F(Device, listsEndWithTheRoomOfAnIoctl) {
    auto clusters = listRequest<ClusterListBlock, ClusterListEntry>(Command::listClusters, 1820);
    EXPECT_EQ(ioctlOf(state, clusters.bytes), 0);
    EXPECT_EQ(clusters.block().header.result, 0);
    EXPECT_EQ(clusters.block().count, 0);
    clusters = listRequest<ClusterListBlock, ClusterListEntry>(Command::listClusters, 1821);
    EXPECT_EQ(ioctlOf(state, clusters.bytes), EINVAL);

    auto weights = listRequest<ServerWeightsBlock, ServerWeightEntry>(Command::readServerWeights, 1365);
    EXPECT_EQ(ioctlOf(state, weights.bytes), 0);
    EXPECT_EQ(weights.block().header.reason, kUnknownCluster);
    weights = listRequest<ServerWeightsBlock, ServerWeightEntry>(Command::readServerWeights, 1366);
    EXPECT_EQ(ioctlOf(state, weights.bytes), EINVAL);
}

// --- The command line ------------------------------------------------------------------------------------------------

DeviceOptions parse(std::vector<std::string> texts) {
    texts.insert(texts.begin(), "qelxwd");
    std::vector<char *> arguments;
    for (std::string &text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);
    return parseDeviceOptions(static_cast<int>(texts.size()), arguments.data());
}

TEST(DeviceOptionsOf, noArgumentsAreTheLibrarysDeviceInTheBackground) {
    const DeviceOptions options = parse({});
    EXPECT_EQ(options.action, DeviceAction::serve);
    EXPECT_EQ(options.deviceName, "qelxw");
    EXPECT_FALSE(options.isForeground);
    EXPECT_EQ(options.logFile, "");
}

TEST(DeviceOptionsOf, allThatThereAre) {
    const DeviceOptions options = parse({"--foreground", "--log", "a file", "--device-name=Other-1_2.3"});
    EXPECT_EQ(options.action, DeviceAction::serve);
    EXPECT_EQ(options.deviceName, "Other-1_2.3");
    EXPECT_TRUE(options.isForeground);
    EXPECT_EQ(options.logFile, "a file");
    const DeviceOptions longest = parse({"--device-name", std::string(63, 'x')});
    EXPECT_EQ(longest.action, DeviceAction::serve);
    EXPECT_EQ(longest.deviceName, std::string(63, 'x'));
}

TEST(DeviceOptionsOf, whoForwardsAndHow) {
    EXPECT_EQ(parse({}).forward, ForwardMode::automatic);
    EXPECT_EQ(parse({}).scheduler, "wrr");
    EXPECT_FALSE(parse({}).keepsForwarding);
    EXPECT_EQ(parse({"--forward=none"}).forward, ForwardMode::none);
    EXPECT_EQ(parse({"--forward", "kernel"}).forward, ForwardMode::kernel);
    for (const char *scheduler : {"wrr", "wlc", "sh", "mh"})
        EXPECT_EQ(parse({"--scheduler", scheduler}).scheduler, scheduler);
    EXPECT_TRUE(parse({"--keep-forwarding"}).keepsForwarding);
    EXPECT_EQ(parse({"--forward=both"}).mistake, "--forward is kernel or none, not 'both'");
    EXPECT_EQ(parse({"--scheduler=rr"}).mistake, "--scheduler is wrr, wlc, sh or mh, not 'rr'");
}

TEST(DeviceOptionsOf, manyDirectors) {
    EXPECT_EQ(parse({}).announceTable, 0U);
    EXPECT_EQ(parse({"--announce-table=100", "--scheduler", "mh"}).announceTable, 100U); // in any order
    EXPECT_EQ(parse({"--scheduler=mh", "--announce-table=4294967295"}).announceTable, 4294967295U);
    EXPECT_EQ(parse({"--announce-table=100"}).mistake, "--announce-table needs --scheduler mh");
    for (const char *value : {"0", "253", "255", "4294967296", "-1", "x", "", "10x"})
        EXPECT_EQ(parse({"--scheduler=mh", "--announce-table", value}).mistake,
                  std::string("--announce-table is a number from 1 on, but for 253 to 255, not '") + value + "'");
    EXPECT_EQ(parse({"--scheduler=mh"}).availability.mode, AvailabilityMode::none);
    EXPECT_EQ(parse({"--high-availability=keepalived", "--scheduler=mh"}).mistake,
              "--scheduler mh is for directors that are all active: not with --high-availability keepalived");
    EXPECT_EQ(parse({"--scheduler=mh", "--copy-connections", "eth0.5"}).copyInterface, "eth0.5");
    EXPECT_EQ(parse({"--scheduler=mh", "--copy-connections", "eth/0"}).mistake,
              "--copy-connections needs the name of an interface, not 'eth/0'");
    EXPECT_TRUE(parse({"--copy-connections=eth0"}).mistake.starts_with("--copy-connections needs --scheduler mh"));
    EXPECT_EQ(parse({"--drain"}).action, DeviceAction::drain);
    EXPECT_EQ(parse({"--announce"}).action, DeviceAction::announce);
}

TEST(DeviceOptionsOf, whoHearsThePartner) {
    const AvailabilityChoice plain = parse({}).availability;
    EXPECT_EQ(plain.mode, AvailabilityMode::automatic);
    EXPECT_EQ(plain.partnership.advertMilliseconds, 1000);
    EXPECT_EQ(parse({"--high-availability", "keepalived"}).availability.mode, AvailabilityMode::keepalived);
    EXPECT_EQ(parse({"--high-availability", "none"}).availability.mode, AvailabilityMode::none);
    for (const auto &[value, milliseconds] : std::initializer_list<std::pair<const char *, int>>{
             {"0.01", 10}, {"0.2", 200}, {"1", 1000}, {"2.5", 2500}, {"40.95", 40950}})
        EXPECT_EQ(parse({"--advert-interval", value}).availability.partnership.advertMilliseconds, milliseconds);
    const PartnershipOptions all = parse({"--address-interface", "eth0.5", "--moving-address", "10.2.0.254",
                                          "--moving-address=10.2.0.253@10.1.0.2"})
                                       .availability.partnership;
    EXPECT_EQ(all.addressInterface, "eth0.5");
    ASSERT_EQ(all.extraAddresses.size(), 2U);
    EXPECT_EQ(toHost(all.extraAddresses[0].address), 0x0A0200FEU);
    EXPECT_EQ(all.extraAddresses[0].primaryHost.word, 0U);
    EXPECT_EQ(toHost(all.extraAddresses[1].primaryHost), 0x0A010002U);
}

TEST(DeviceOptionsOf, whatIsWrongOfAPartner) {
    for (const auto &[option, value] :
         std::initializer_list<std::pair<const char *, const char *>>{{"--high-availability", "yes"},
                                                                      {"--advert-interval", "0"},
                                                                      {"--advert-interval", "0.001"},
                                                                      {"--advert-interval", "41"},
                                                                      {"--advert-interval", "1s"},
                                                                      {"--advert-interval", ""},
                                                                      {"--advert-interval", "nan"},
                                                                      {"--advert-interval", "-1"},
                                                                      {"--address-interface", ""},
                                                                      {"--address-interface", "eth0;"},
                                                                      {"--address-interface", "sixteen-letters0"},
                                                                      {"--moving-address", "10.2.0"},
                                                                      {"--moving-address", "224.0.0.1"},
                                                                      {"--moving-address", "10.2.0.254@"},
                                                                      {"--moving-address", "10.2.0.254@x"}}) {
        const DeviceOptions options = parse({option, value});
        EXPECT_EQ(options.action, DeviceAction::refuse) << option << ' ' << value;
        EXPECT_EQ(options.mistake.find(option), 0U) << options.mistake;
        EXPECT_NE(options.mistake.find(std::string("'") + value + "'"), std::string::npos) << options.mistake;
    }
}

TEST(DeviceOptionsOf, helpAndVersionGoFirst) {
    EXPECT_EQ(parse({"--help"}).action, DeviceAction::showHelp);
    EXPECT_EQ(parse({"--version", "--nonsense"}).action, DeviceAction::showVersion);
    EXPECT_EQ(parse({"surplus", "--help"}).action, DeviceAction::showHelp);
}

struct Mistake {
    std::vector<std::string> arguments;
    std::string words;
};

TEST(DeviceOptionsOf, mistakesAreRefusedWithWords) {
    const std::string rules =
        "' is no device name: letters, digits, '-', '_' and '.', a letter or digit first, at most 63 characters";
    const std::string tooLong(64, 'x');
    const Mistake mistakes[] = {
        {{"--nonsense"}, "unknown option --nonsense"},
        {{"--foreground", "--nonsense=1", "--help"}, "unknown option --nonsense=1"},
        {{"-x"}, "unknown option -x"},
        {{"--foreground", "-xy"}, "unknown option -x"},
        {{"-f"}, "unknown option -f"},
        {{"--foreground=yes"}, "--foreground=yes: this option takes no value"},
        {{"--log"}, "--log needs a value"},
        {{"--device-name"}, "--device-name needs a value"},
        {{"--log", ""}, "--log needs the name of a file"},
        {{"surplus"}, "surplus argument: surplus"},
        {{"--foreground", "--", "--help"}, "surplus argument: --help"},
        {{"--device-name", ""}, "'" + rules},
        {{"--device-name", "a/b"}, "'a/b" + rules},
        {{"--device-name", ".."}, "'.." + rules},
        {{"--device-name", "-x"}, "'-x" + rules},
        {{"--device-name", "two words"}, "'two words" + rules},
        {{"--device-name", "line\n"}, "'line\n" + rules},
        {{"--device-name", "\xC3\xA4"}, "'\xC3\xA4" + rules},
        {{"--device-name", tooLong}, "'" + tooLong + rules},
    };
    for (const Mistake &mistake : mistakes) {
        const DeviceOptions options = parse(mistake.arguments);
        EXPECT_EQ(options.action, DeviceAction::refuse) << mistake.words;
        EXPECT_EQ(options.mistake, mistake.words);
    }
}

TEST(DeviceWords, onAChannelThatCannotBeOpened) {
    const std::string missing = "there is no /dev/cuse: load the kernel's module first (modprobe cuse)";
    const std::string noRight =
        "no right to open /dev/cuse: run as root or as the service's user, in a container with the device handed in";
    for (const int error : {ENOENT, ENODEV, ENXIO})
        EXPECT_EQ(describeChannelError(error), missing);
    for (const int error : {EACCES, EPERM})
        EXPECT_EQ(describeChannelError(error), noRight);
    EXPECT_EQ(describeChannelError(EMFILE), "cannot open /dev/cuse: Too many open files");
}

} // namespace
} // namespace rk
