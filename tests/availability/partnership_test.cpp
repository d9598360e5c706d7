// From the records to the partnership. Numbers of roles and strategies are the client's, so they are written out.
#include "directors.h"

namespace rk {
namespace {

constexpr uint8_t kPrimary = 0;
constexpr uint8_t kBackup = 1;
constexpr uint8_t kBoth = 2;

std::string refusalOf(const Executor &executor, const std::vector<MachineAddress> &machine) {
    Partnership partnership;
    LogText words;
    return describePartnership(executor, machine, {}, partnership, words) ? "" : words.text;
}

std::vector<std::string> pathsOf(const Partnership &partnership) {
    std::vector<std::string> paths;
    for (const PartnerPath &path : partnership.paths)
        paths.push_back(dotted(path.local) + " to " + dotted(path.remote) + " by " + path.interface);
    return paths;
}

std::vector<std::string> addressesOf(const Partnership &partnership) {
    std::vector<std::string> addresses;
    for (const MovingAddress &each : partnership.addresses)
        addresses.push_back(dotted(each.address) + " on " + each.interface + " by " + std::to_string(each.election));
    return addresses;
}

using Texts = std::vector<std::string>;

TEST(Partnership, withoutABackupThereIsNone) {
    Executor executor;
    addHeartbeat(executor, "10.1.0.1", "10.1.0.2");
    const Partnership partnership = partnershipOf(executor, machineOf(1));
    EXPECT_FALSE(partnership.isPaired);
    EXPECT_TRUE(partnership.paths.empty());
    EXPECT_TRUE(partnership.elections.empty());
    addCluster(executor, 1, "10.1.0.50");
    EXPECT_EQ(addressesOf(partnershipOf(executor, machineOf(1))), (Texts{"10.1.0.50 on eth0 by 0"}))
        << "those of a partnership that is over are still known";
}

TEST(Partnership, roleTellsThePriorityAndStrategyWhetherItStays) {
    EXPECT_EQ(partnershipOf(pairedExecutor(kPrimary), machineOf(1)).elections[0].priority, 110);
    EXPECT_EQ(partnershipOf(pairedExecutor(kBackup), machineOf(1)).elections[0].priority, 100);
    EXPECT_FALSE(partnershipOf(pairedExecutor(kPrimary, 0), machineOf(1)).isManual);
    EXPECT_TRUE(partnershipOf(pairedExecutor(kPrimary, 1), machineOf(1)).isManual);
}

TEST(Partnership, bothRolesAreTwoElectionsWithCrossedPriorities) {
    const Partnership lower = partnershipOf(directorWithTwoPaths(1, kBoth), machineOf(1));
    const Partnership higher = partnershipOf(directorWithTwoPaths(2, kBoth), machineOf(2));
    ASSERT_EQ(lower.elections.size(), 2U);
    ASSERT_EQ(higher.elections.size(), 2U);
    EXPECT_EQ(lower.elections[0].priority, 110);
    EXPECT_EQ(lower.elections[1].priority, 100);
    EXPECT_EQ(higher.elections[0].priority, 100);
    EXPECT_EQ(higher.elections[1].priority, 110);
    for (const int election : {0, 1})
        EXPECT_EQ(lower.elections[static_cast<std::size_t>(election)].identifiers,
                  higher.elections[static_cast<std::size_t>(election)].identifiers);
}

TEST(Partnership, bothDirectorsNumberTheirPathsAlike) {
    const Partnership one = partnershipOf(directorWithTwoPaths(1, kPrimary), machineOf(1));
    const Partnership other = partnershipOf(directorWithTwoPaths(2, kBackup), machineOf(2));
    EXPECT_EQ(pathsOf(one), (Texts{"10.1.0.1 to 10.1.0.2 by eth0", "10.3.0.1 to 10.3.0.2 by eth2"}));
    EXPECT_EQ(pathsOf(other), (Texts{"10.1.0.2 to 10.1.0.1 by eth0", "10.3.0.2 to 10.3.0.1 by eth2"}));
    EXPECT_EQ(one.elections[0].identifiers, other.elections[0].identifiers);
    EXPECT_EQ(one.pathPlaces, (std::vector<int>{1, 0})) << "where the record has them";
}

// Commands come to one director after the other: a path that only one of them has as yet must not silence another.
TEST(Partnership, aPathHasItsNumberWhateverOthersThereAre) {
    Executor executor = pairedExecutor(kPrimary);
    addHeartbeat(executor, "10.3.0.1", "10.3.0.2");
    const Partnership alone = partnershipOf(executor, machineOf(1));
    const Partnership both = partnershipOf(directorWithTwoPaths(1, kPrimary), machineOf(1));
    EXPECT_EQ(alone.elections[0].identifiers[0], both.elections[0].identifiers[1]);
}

TEST(Partnership, numbersDependOnThePortAndAreNeverTheSameTwice) {
    Executor executor = pairedExecutor(kBoth);
    std::vector<MachineAddress> machine;
    for (int path = 0; path < 32; ++path) {
        // Pairs whose octets have the same sum would come to the same number.
        const std::string network = "10." + std::to_string(path) + "." + std::to_string(100 - path) + ".";
        addHeartbeat(executor, (network + "1").c_str(), (network + "2").c_str());
        machine.push_back({address((network + "1").c_str()), 24, "eth" + std::to_string(path)});
    }
    std::set<int> numbers;
    for (const ElectionPlan &election : partnershipOf(executor, machine).elections) {
        for (const uint8_t number : election.identifiers) {
            EXPECT_NE(number, 0);
            numbers.insert(number);
        }
    }
    EXPECT_EQ(numbers.size(), 64U);
    Executor otherPort = directorWithTwoPaths(1, kPrimary);
    otherPort.highAvailability.port = 9001;
    EXPECT_NE(partnershipOf(otherPort, machineOf(1)).elections[0].identifiers,
              partnershipOf(directorWithTwoPaths(1, kPrimary), machineOf(1)).elections[0].identifiers);
}

TEST(Partnership, aHeartbeatThatIsNotOnThisMachineIsRefusedAlsoBeforeTheBackup) {
    Executor executor = pairedExecutor(kPrimary);
    addHeartbeat(executor, "10.9.0.1", "10.9.0.2");
    EXPECT_EQ(refusalOf(executor, machineOf(1)), "no interface of this machine has 10.9.0.1");
    executor.highAvailability.mode = 0;
    EXPECT_EQ(refusalOf(executor, machineOf(1)), "no interface of this machine has 10.9.0.1");
}

TEST(Partnership, aHeartbeatOnTheLoopbackInterfaceIsRefused) {
    Executor executor = pairedExecutor(kPrimary);
    addHeartbeat(executor, "127.0.0.1", "10.1.0.2");
    EXPECT_EQ(refusalOf(executor, machineOf(1)), "127.0.0.1 is no address that a partner could hear");
}

TEST(Partnership, aNameThatKeepalivedWouldReadOtherwiseIsRefused) {
    Executor executor = pairedExecutor(kPrimary);
    addHeartbeat(executor, "10.1.0.1", "10.1.0.2");
    for (const char *name : {"et#h", "et!h", "@eth", "et\"h", "et{h"})
        EXPECT_NE(refusalOf(executor, {{address("10.1.0.1"), 24, name}}), "") << name;
}

TEST(Partnership, addressesGoWhereTheirNetworkIs) {
    Executor executor = pairedExecutor(kPrimary);
    addCluster(executor, 1, "10.1.0.50");
    addCluster(executor, 2, "10.2.0.50");
    addCluster(executor, 3, "192.0.2.1");
    PartnershipOptions options;
    options.extraAddresses.push_back({address("10.2.0.254"), {}});
    Partnership partnership;
    LogText words;
    ASSERT_TRUE(describePartnership(executor, machineOf(1), options, partnership, words));
    EXPECT_EQ(addressesOf(partnership),
              (Texts{"10.1.0.50 on eth0 by 0", "10.2.0.50 on eth1 by 0", "10.2.0.254 on eth1 by 0"}));
    EXPECT_STREQ(words.text, "192.0.2.1 is put up nowhere: no interface is in its network (--address-interface)");

    options.addressInterface = "eth2";
    EXPECT_EQ(addressesOf(partnershipOf(executor, machineOf(1), options))[2], "192.0.2.1 on eth2 by 0");
}

TEST(Partnership, theSmallestNetworkCountsAndNoAddressThatMoves) {
    const std::vector<MachineAddress> machine = {{address("10.0.0.1"), 8, "wide"},
                                                 {address("10.1.0.1"), 24, "narrow"},
                                                 {address("10.1.0.50"), 32, "moved"},
                                                 {address("127.0.0.1"), 8, "lo"}};
    EXPECT_EQ(interfaceFor(machine, address("10.1.0.50")), "narrow");
    EXPECT_EQ(interfaceFor(machine, address("10.2.0.50")), "wide");
    EXPECT_EQ(interfaceFor(machine, address("127.0.0.5")), "");
    EXPECT_EQ(interfaceFor(machine, address("192.0.2.1")), "");
}

TEST(Partnership, withBothRolesAClusterGoesByItsPrimaryHost) {
    for (const int director : {1, 2}) {
        Executor executor = directorWithTwoPaths(director, kBoth);
        executor.settings.nfa = address(director == 1 ? "10.1.0.1" : "10.1.0.2");
        addCluster(executor, 1, "10.1.0.50", "10.1.0.1");
        addCluster(executor, 2, "10.1.0.51", "10.1.0.2");
        addCluster(executor, 3, "10.1.0.52", "10.3.0.2"); // by another address of the same director
        addCluster(executor, 4, "10.1.0.53");
        PartnershipOptions options;
        options.extraAddresses.push_back({address("10.2.0.254"), address("10.1.0.2")});
        EXPECT_EQ(addressesOf(partnershipOf(executor, machineOf(director), options)),
                  (Texts{"10.1.0.50 on eth0 by 0", "10.1.0.51 on eth0 by 1", "10.1.0.52 on eth0 by 1",
                         "10.1.0.53 on eth0 by 0", "10.2.0.254 on eth1 by 1"}))
            << director;
    }
}

TEST(Partnership, interfacesOfClustersAndServersAreWatched) {
    Executor executor = pairedExecutor(kPrimary);
    addCluster(executor, 1, "10.1.0.50", "0.0.0.0", "10.2.0.11");
    EXPECT_EQ(partnershipOf(executor, machineOf(1)).watchedInterfaces, (Texts{"eth0", "eth1"}));
    addCluster(executor, 2, "10.1.0.51", "0.0.0.0", "192.0.2.1"); // behind a router
    EXPECT_EQ(partnershipOf(executor, machineOf(1)).watchedInterfaces, (Texts{"eth0", "eth1"}));
}

} // namespace
} // namespace rk
