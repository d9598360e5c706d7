// An executor that answers with anything: counts that cannot be, texts without an end, noise. No native method reads
// what does not belong to the reply, or writes where nobody asked it to.
#include "faults/world.h"
#include "harness/system_calls.h"

#include "library/channel/channel.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <set>
#include <string_view>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define RK_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RK_ADDRESS_SANITIZER
#endif
#endif

#ifdef RK_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

namespace {

using faults::Mode;
using faults::Scenario;

constexpr std::size_t kHeader = 16;
constexpr std::size_t kElements = 3000; // as many as any reply has

// What the executor makes of the block's body.
using Fill = std::function<void(uint8_t *body, std::size_t size, int32_t command)>;

// In the shared block nothing behind a reply may be looked at: the address sanitizer watches it until the next command.
void guardBehind(const uint8_t *block, uint32_t length) {
    if (block == ucb.bytes && length < sizeof(ucb))
        ASAN_POISON_MEMORY_REGION(ucb.bytes + length, sizeof(ucb) - length);
}

// Answers every command of the registry.
void answerAll(const Fill &fill) {
    for (int32_t command = 1; command <= 86; ++command)
        executor::answer(command, [=](uint8_t *block, uint32_t length) {
            fill(block + kHeader, length - kHeader, command);
            guardBehind(block, length);
            return 0;
        });
}

// Calls a native method in a world where the executor answers so. Its result; nothing may be left, and only plain words
// reach the shell.
std::string answered(const Scenario &scenario, const Fill &fill) {
    faults::beginWorld(Mode::kernel, kElements);
    answerAll(fill);
    calls::onIoctl([](void *block) {
        ASAN_UNPOISON_MEMORY_REGION(&ucb, sizeof(ucb));
        executor::perform(static_cast<uint8_t *>(block));
        return 0;
    });
    fake_java::beginCalls();
    calls::countAllocations();
    const faults::Result result = scenario.call();
    ASAN_UNPOISON_MEMORY_REGION(&ucb, sizeof(ucb));
    faults::expectNothingLeft(scenario, result);
    EXPECT_EQ(fake_java::takeException(), "") << scenario.native;
    for (const std::string &command : calls::commands())
        EXPECT_EQ(command.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:_- /"),
                  std::string::npos)
            << command;
    calls::reset();
    return result.text;
}

const Scenario &scenarioOf(std::string_view native, std::string_view way) {
    for (const Scenario &scenario : faults::scenarios())
        if (scenario.native == native && scenario.way.rfind(way, 0) == 0)
            return scenario;
    ADD_FAILURE() << "no scenario of " << native << ' ' << way;
    return faults::scenarios().front();
}

// One dump prints its warning on standard output every time.
struct HostileRepliesTest : testing::Test {
    void SetUp() override {
        fflush(stdout);
        terminal = dup(STDOUT_FILENO);
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }

    void TearDown() override {
        fflush(stdout);
        dup2(terminal, STDOUT_FILENO);
        close(terminal);
    }

    int terminal = -1;
};

// --- Counts ----------------------------------------------------------------------------------------------------------

// How a count of a reply is used: a block is sized by it, entries are read by it, or it is only handed on.
enum class Use { sizes, reads };

// A count in the reply to a command, and how many entries it may tell of.
struct Count {
    const char *native;
    const char *way; // what its arguments begin with
    int32_t command;
    std::size_t offset;
    std::size_t bytes;
    uint32_t room;
    Use use;
};

const Count kCounts[] = {
    {"getClustersListNative", "", 3, 220, 4, 3, Use::sizes},
    {"getClustersListNative", "", 6, 16, 4, 3, Use::reads},
    {"getPortsListNative", "", 9, 24, 4, 3, Use::sizes},
    {"getPortsListNative", "", 12, 20, 4, 3, Use::reads},
    {"getServersListNative", "", 15, 36, 4, 3, Use::sizes},
    {"getServersListNative", "", 31, 44, 4, 3, Use::reads},
    {"getRulesListNative", "", 15, 40, 4, 3, Use::sizes},
    {"getRulesListNative", "", 20, 24, 4, 3, Use::reads},
    {"getRuleServersListNative", "", 26, 44, 4, 3, Use::reads},
    {"getServerWeightsNative", "", 17, 24, 4, 3, Use::reads},
    {"setServerWeightsNative", "", 16, 24, 4, 3, Use::reads},
    {"getServerStatusNative", "", 56, 116, 2, 2, Use::reads},
    {"getHAInfoNative", "", 47, 32, 2, 32, Use::reads},
    {"getHAInfoNative", "", 47, 680, 2, 32, Use::reads},
    {"setInterfacesNative", "", 54, 16, 4, 100, Use::reads},
    {"configureAddressNative", "", 54, 16, 4, 100, Use::reads},
    {"configureAddressNative", "object({{\"ConfigInfoProvided", 54, 16, 4, 100, Use::reads},
    {"getAddressConfigureInfoNative", "", 54, 16, 4, 100, Use::reads},
    {"getConnectionInfoNative", "", 39, 16, 4, 1599, Use::reads},
    {"getAffinityInfoNative", "", 52, 44, 4, 1999, Use::reads},
    {"serverDirectedAffinityNative", "", 59, 44, 4, 1999, Use::reads},
    {"getHalfOpenInfoNative", "", 67, 16, 4, 5333, Use::reads},
    {"getAttackingAddrsNative", "", 68, 24, 4, 7996, Use::reads},
    {"xmiscNative", "1,", 55, 16, 4, 33, Use::reads},
    {"xmiscNative", "10,", 84, 16, 4, 129, Use::reads},
    {"xmiscNative", "11,", 85, 16, 4, 256, Use::reads},
    {"xmiscNative", "12,", 86, 16, 4, 256, Use::reads},
    {"xmiscNative", "43,", 65, 24, 4, 1228, Use::reads},  // clusters
    {"xmiscNative", "43,", 65, 92, 4, 1774, Use::reads},  // ports of the first
    {"xmiscNative", "43,", 65, 144, 4, 3194, Use::reads}, // servers of its first
};

// The counts that tell how many entries there are, when another one is looked at.
constexpr uint32_t kEntries = 3;

void giveCount(uint8_t *body, const Count &count, uint32_t value) {
    const auto half = static_cast<uint16_t>(value);
    if (count.bytes == sizeof(half))
        memcpy(body + count.offset - kHeader, &half, sizeof(half));
    else
        memcpy(body + count.offset - kHeader, &value, sizeof(value));
}

// A body of one byte throughout, with sane counts but for this one.
Fill bodyWith(uint8_t background, const Count &hostile, uint32_t value) {
    return [=](uint8_t *body, std::size_t size, int32_t command) {
        memset(body, background, size);
        for (const Count &count : kCounts)
            if (count.command == command && strcmp(count.native, hostile.native) == 0)
                giveCount(body, count, count.bytes == 2 ? 2 : kEntries);
        if (command == hostile.command)
            giveCount(body, hostile, value);
    };
}

// What a count may be: within the room a count like any other; beyond it, and below zero, no block has that size.
std::string expectedFor(const Scenario &scenario, const Count &count, uint32_t value) {
    const bool sane = value <= count.room + 1;
    return count.use == Use::sizes && !sane ? "-28" : scenario.outcome.result;
}

TEST_F(HostileRepliesTest, CountsThatCannotBe) {
    for (const Count &count : kCounts)
        for (const uint32_t value :
             {0u, 1u, count.room, count.room + 1, 0x7FFFu, 0xFFFFu, 0x7FFFFFFFu, 0x80000000u, ~0u})
            for (const uint8_t background : {uint8_t{0}, uint8_t{0x41}, uint8_t{0xFF}}) {
                if (count.use == Use::sizes && (value == 0x7FFF || value == 0xFFFF))
                    continue; // a number like any other
                SCOPED_TRACE(std::string(count.native) + " of " + std::to_string(count.command) + " at " +
                             std::to_string(count.offset) + ": " + std::to_string(value));
                const Scenario &scenario = scenarioOf(count.native, count.way);
                const std::string result = answered(scenario, bodyWith(background, count, value));
                // Interfaces that are not the machine's give other statuses; they are looked at with noise.
                if (count.command != 54) {
                    EXPECT_EQ(result, expectedFor(scenario, count, value));
                }
            }
}

// --- Texts and noise -------------------------------------------------------------------------------------------------

// The ways that ask the executor something.
std::vector<const Scenario *> asking() {
    std::vector<const Scenario *> all;
    for (const Scenario &scenario : faults::scenarios())
        if (!scenario.outcome.commands.empty())
            all.push_back(&scenario);
    return all;
}

// Lists are as long as their reports say; a block of gigabytes would be made for a number of noise.
void limitSizes(uint8_t *body, int32_t command) {
    constexpr int32_t kMost = 1000;
    for (const Count &count : kCounts) {
        int32_t value = 0;
        if (count.command != command || count.use != Use::sizes)
            continue;
        memcpy(&value, body + count.offset - kHeader, sizeof(value));
        if (value > kMost)
            giveCount(body, count, static_cast<uint32_t>(value % kMost));
    }
}

// What a method may say when the executor succeeds, but with nonsense.
bool isSane(const Scenario &scenario, const std::string &result) {
    const std::set<std::string> sane = {"0", "-28", "-62", "-63", scenario.outcome.result};
    return sane.count(result) != 0;
}

void expectSane(const Scenario &scenario, const Fill &fill) {
    const std::string result = answered(scenario, fill);
    EXPECT_TRUE(isSane(scenario, result)) << scenario.native << "(" << scenario.way << "): " << result;
}

TEST_F(HostileRepliesTest, TextsWithoutEnd) {
    for (const Scenario *scenario : asking())
        for (const uint8_t byte : {uint8_t{0x41}, uint8_t{0xC3}, uint8_t{0xFF}})
            expectSane(*scenario, [=](uint8_t *body, std::size_t size, int32_t command) {
                memset(body, byte, size);
                limitSizes(body, command);
            });
}

// Numbers that follow one another without a pattern, the same in every run.
struct Noise {
    uint64_t state;
};

uint64_t next(Noise &noise) {
    noise.state += 0x9E3779B97F4A7C15;
    uint64_t mixed = noise.state;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
}

// Noise of three kinds: any words; small words, which pass for counts; letters with ends among them.
void fillWithNoise(uint8_t *body, std::size_t size, uint64_t seed) {
    Noise noise = {seed};
    constexpr uint64_t kSmallWords = 0x0000003F0000003F;
    constexpr uint64_t kLetters = 0x5F5F5F5F5F5F5F5F;
    for (std::size_t i = 0; i < size; i += sizeof(uint64_t)) {
        uint64_t value = next(noise);
        if (seed % 3 == 1)
            value &= kSmallWords;
        else if (seed % 3 == 2)
            value = (value & 0xF) == 0 ? value & 0x1F1F1F1F001F1F1F : (value & kLetters) | 0x4040404040404040;
        memcpy(body + i, &value, std::min(sizeof(value), size - i));
    }
}

TEST_F(HostileRepliesTest, Noise) {
    constexpr uint64_t kSeeds = 200;
    for (const Scenario *scenario : asking())
        for (uint64_t seed = 0; seed < kSeeds; ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            expectSane(*scenario, [=](uint8_t *body, std::size_t size, int32_t command) {
                fillWithNoise(body, size, seed * 100 + static_cast<uint64_t>(command));
                limitSizes(body, command);
            });
        }
}

} // namespace
