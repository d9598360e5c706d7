// The numbers are what the client's tables map to statuses, so they are written out here.
#include "executor/state/reason_text.h"
#include "executor_client.h"

#include <set>

namespace rk {
namespace {

TEST(Reasons, numbersAreThoseThatClientsMap) {
    EXPECT_EQ(kUnknownCluster, -5);
    EXPECT_EQ(kClusterExists, -8);
    EXPECT_EQ(kClusterLimit, -9);
    EXPECT_EQ(kClusterOutOfMemory, -7);
    EXPECT_EQ(kClusterAddress, -33);

    EXPECT_EQ(kUnknownPort, -1);
    EXPECT_EQ(kPortOutOfMemory, -2);
    EXPECT_EQ(kPortExists, -3);
    EXPECT_EQ(kPortLimit, -4);
    EXPECT_EQ(kStaleTimeout, -18);
    EXPECT_EQ(kUnknownMethod, -27);
    EXPECT_EQ(kStickyBits, -52);
    EXPECT_EQ(kStickyTime, -53);
    EXPECT_EQ(kUnknownCrossPort, -54);
    EXPECT_EQ(kWeightBound, -55);
    EXPECT_EQ(kCrossPortChain, -56);
    EXPECT_EQ(kUnknownProtocol, -61);
    EXPECT_EQ(kHalfOpenLimit, -62);
    EXPECT_EQ(kUnknownPortType, -84);
    EXPECT_EQ(kPortServerLimit, -87);

    EXPECT_EQ(kUnknownServer, -11);
    EXPECT_EQ(kServerOutOfMemory, -13);
    EXPECT_EQ(kServerExists, -14);
    EXPECT_EQ(kServerLimit, -15);
    EXPECT_EQ(kWeight, -36);
    EXPECT_EQ(kCollocatedRouter, -43);
    EXPECT_EQ(kCpsMaximum, -58);

    EXPECT_EQ(kUnknownRule, -44);
    EXPECT_EQ(kRuleOutOfMemory, -45);
    EXPECT_EQ(kRuleExists, -46);
    EXPECT_EQ(kRulePriority, -47);
    EXPECT_EQ(kRuleRange, -70);

    EXPECT_EQ(kServerInRule, -48);
    EXPECT_EQ(kMembershipOutOfMemory, -49);
    EXPECT_EQ(kServerNotInRule, -51);

    EXPECT_EQ(kHeartbeatExists, -44);
    EXPECT_EQ(kHeartbeatPair, -45);

    EXPECT_EQ(kNotStarted, -100);
    EXPECT_EQ(kUnknownCommand, -101);
    EXPECT_EQ(kWrongLength, -102);
    EXPECT_EQ(kOutOfRange, -103);
    EXPECT_EQ(kOutOfMemory, -104);
    EXPECT_EQ(kNoBackup, -105);
    EXPECT_EQ(kBackupExists, -106);
    EXPECT_EQ(kUnknownHeartbeat, -107);
    EXPECT_EQ(kReachTargetExists, -108);
    EXPECT_EQ(kReachTargetLimit, -109);
    EXPECT_EQ(kUnknownReachTarget, -110);
    EXPECT_EQ(kInterfacesUnreadable, -111);
    EXPECT_EQ(kConnectionExists, -112);
    EXPECT_EQ(kUnknownConnection, -113);
    EXPECT_EQ(kUnknownAffinity, -114);
    EXPECT_EQ(kForwardingRefused, -115);
}

TEST(Reasons, eachHasWordsOfItsOwn) {
    const std::string unknown = reasonText(Command::addRule, -1000);
    std::set<std::string> texts{unknown};
    for (const int32_t reason : {kUnknownCluster,
                                 kClusterExists,
                                 kClusterLimit,
                                 kClusterOutOfMemory,
                                 kClusterAddress,
                                 kUnknownPort,
                                 kPortOutOfMemory,
                                 kPortExists,
                                 kPortLimit,
                                 kStaleTimeout,
                                 kUnknownMethod,
                                 kStickyBits,
                                 kStickyTime,
                                 kUnknownCrossPort,
                                 kWeightBound,
                                 kCrossPortChain,
                                 kUnknownProtocol,
                                 kHalfOpenLimit,
                                 kUnknownPortType,
                                 kPortServerLimit,
                                 kUnknownServer,
                                 kServerOutOfMemory,
                                 kServerExists,
                                 kServerLimit,
                                 kWeight,
                                 kCollocatedRouter,
                                 kCpsMaximum,
                                 kUnknownRule,
                                 kRuleOutOfMemory,
                                 kRuleExists,
                                 kRulePriority,
                                 kRuleRange,
                                 kServerInRule,
                                 kMembershipOutOfMemory,
                                 kServerNotInRule,
                                 kNotStarted,
                                 kUnknownCommand,
                                 kWrongLength,
                                 kOutOfRange,
                                 kOutOfMemory,
                                 kNoBackup,
                                 kBackupExists,
                                 kUnknownHeartbeat,
                                 kReachTargetExists,
                                 kReachTargetLimit,
                                 kUnknownReachTarget,
                                 kInterfacesUnreadable,
                                 kConnectionExists,
                                 kUnknownConnection,
                                 kUnknownAffinity,
                                 kForwardingRefused})
        EXPECT_TRUE(texts.insert(reasonText(Command::addRule, reason)).second) << reason;
    for (const int32_t reason : {kHeartbeatExists, kHeartbeatPair}) // other words than those of the rules' reasons
        EXPECT_TRUE(texts.insert(reasonText(Command::addHeartbeat, reason)).second) << reason;
    EXPECT_STREQ(reasonText(Command::addHeartbeat, kNotStarted), reasonText(Command::addRule, kNotStarted));
}

} // namespace
} // namespace rk
