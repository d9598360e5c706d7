// Half-open connections, attacking addresses, attack-protection parameters, and the ICMP response.
#include "harness/reports.h"

#include "library/native.h"

#include <climits>

namespace {

constexpr char kEightInts[] = "(IIIIIIII)I";
constexpr char kHalfOpen[] = "getHalfOpenInfoNative";

struct AttackProtectionTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        listener = java::make("rk/tests/AttackListener");
    }

    jint halfOpen() {
        return java::call(kHalfOpen, listener);
    }

    jint attackers(jint address, jint port) {
        return java::callInt("getAttackingAddrsNative", "(Ljava/lang/Object;II)I", listener, address, port);
    }

    // What a native caller gets, with an exception pending as well.
    jint halfOpenStatus() {
        return NATIVE(getHalfOpenInfoNative)(java::env(), nullptr, listener);
    }

    jint attackersStatus() {
        return NATIVE(getAttackingAddrsNative)(java::env(), nullptr, listener, 0, 0);
    }

    // What the listener was told.
    std::string told() {
        return java::text(listener);
    }

    // Records of 198.51.100.7 with ports from 40000 on; every second one has its flag set.
    static Image halfOpenReply(uint32_t count, std::size_t records) {
        Image image(64016);
        image.word(16, count);
        for (std::size_t i = 0; i < records; ++i) {
            const std::size_t port = 40000 + i;
            image.hex(20 + 12 * i, "c6336407").hex(26 + 12 * i, line("%04zx", port));
            image.byte(28 + 12 * i, static_cast<uint8_t>(i % 2));
        }
        return image;
    }

    static std::string halfOpenCalls(int count, int records) {
        std::string text = line("half-open: %d\n", count);
        for (int i = 0; i < records; ++i)
            text += line("%d c6336407 %d %s\n", i, 40000 + i, i % 2 != 0 ? "true" : "false");
        return text;
    }

    static Image attackersReply(uint32_t count, uint32_t summary, std::size_t entries) {
        Image image(64016);
        image.word(24, count).word(36, summary);
        for (std::size_t i = 0; i < entries; ++i)
            image.hex(44 + 8 * i, line("0a01%04zx", i)).word(48 + 8 * i, static_cast<uint32_t>(1000 - i));
        return image;
    }

    static std::string attackerCalls(int count, int summary, int entries) {
        std::string text = line("attacking: %d %d\n", count, summary);
        for (int i = 0; i < entries; ++i)
            text += line("a01%04x %d\n", static_cast<unsigned>(i), 1000 - i);
        return text;
    }

    jobject listener = nullptr;
};

// --- Half-open connections -------------------------------------------------------------------------------------------

TEST_F(AttackProtectionTest, HalfOpenConnectionsAreAskedForWithoutABody) {
    executor::answer(67, replyImage(halfOpenReply(0, 0)));
    EXPECT_EQ(halfOpen(), 0);
    EXPECT_SENT(Image(64016).header(67, 64016));
    EXPECT_EQ(told(), "half-open: 0\n");
}

TEST_F(AttackProtectionTest, HalfOpenConnectionsAreToldInOrder) {
    Image image = halfOpenReply(3, 0);
    image.hex(20, "0a000005").hex(26, "0050").byte(28, 0);
    image.hex(32, "c6336407").hex(38, "ffff").byte(40, 1);
    image.hex(44, "00000000").hex(50, "0000").byte(52, 0x80);
    executor::answer(67, replyImage(image));
    EXPECT_EQ(halfOpen(), 0);
    EXPECT_EQ(told(), "half-open: 3\n0 a000005 80 false\n1 c6336407 65535 true\n2 0 0 true\n");
}

TEST_F(AttackProtectionTest, NoMoreHalfOpenConnectionsThanTheBlockHolds) {
    for (const int count : {1, 5332, 5333, 5334, 64000, INT_MAX}) {
        executor::reset();
        listener = java::make("rk/tests/AttackListener");
        executor::answer(67, replyImage(halfOpenReply(static_cast<uint32_t>(count), 5333)));
        EXPECT_EQ(halfOpen(), 0);
        EXPECT_EQ(told(), halfOpenCalls(count, std::min(count, 5333)));
    }
}

// --- Attacking addresses ---------------------------------------------------------------------------------------------

TEST_F(AttackProtectionTest, AttackingAddressesAreAskedForByAddressAndPort) {
    executor::answer(68, replyImage(attackersReply(0, 4711, 0)));
    EXPECT_EQ(attackers(0x0A000005, 443), 0);
    EXPECT_SENT(Image(64016).header(68, 64016).hex(16, "0a000005").hex(20, "01bb"));
    EXPECT_EQ(told(), "attacking: 0 4711\n");
    executor::reset();
    executor::answer(68, executor::refuse(-5));
    attackers(-2, 0x12345678);
    EXPECT_SENT(Image(64016).header(68, 64016).hex(16, "fffffffe").hex(20, "5678"));
}

TEST_F(AttackProtectionTest, AttackingAddressesAreToldInOrder) {
    Image image = attackersReply(2, 0xFFFFFFFE, 0);
    image.hex(44, "c6336407").word(48, 12).hex(52, "0a000001").word(56, 0xFFFFFFF3);
    executor::answer(68, replyImage(image));
    EXPECT_EQ(attackers(1, 2), 0);
    EXPECT_EQ(told(), "attacking: 2 -2\nc6336407 12\na000001 -13\n");
}

TEST_F(AttackProtectionTest, NoMoreAttackingAddressesThanTheBlockHolds) {
    for (const int count : {1, 7995, 7996, 7997, 64000, INT_MAX}) {
        executor::reset();
        listener = java::make("rk/tests/AttackListener");
        executor::answer(68, replyImage(attackersReply(static_cast<uint32_t>(count), 5, 7996)));
        EXPECT_EQ(attackers(1, 2), 0);
        EXPECT_EQ(told(), attackerCalls(count, 5, std::min(count, 7996)));
    }
}

TEST_F(AttackProtectionTest, NegativeCountsReadNothing) {
    for (const int count : {-1, INT_MIN}) {
        executor::reset();
        listener = java::make("rk/tests/AttackListener");
        executor::answer(67, replyImage(halfOpenReply(static_cast<uint32_t>(count), 5)));
        executor::answer(68, replyImage(attackersReply(static_cast<uint32_t>(count), 5, 5)));
        EXPECT_EQ(halfOpen(), 0);
        EXPECT_EQ(attackers(1, 2), 0);
        EXPECT_EQ(told(), halfOpenCalls(count, 0) + attackerCalls(count, 5, 0));
    }
}

// --- Listeners that do not do what they should -----------------------------------------------------------------------

TEST_F(AttackProtectionTest, ARefusalTellsTheListenerNothing) {
    for (const int32_t result : {-1, 9, 4711}) {
        executor::reset();
        for (const int command : {67, 68})
            executor::answer(command, executor::refuse(-5, result));
        const Names members = java::membersLookedUp([&] {
            EXPECT_EQ(halfOpen(), result);
            EXPECT_EQ(attackers(1, 2), result);
        });
        EXPECT_EQ(members, Names());
        EXPECT_EQ(told(), "");
    }
}

TEST_F(AttackProtectionTest, MethodsAreLookedUpOnce) {
    executor::answer(67, replyImage(halfOpenReply(3, 3)));
    executor::answer(68, replyImage(attackersReply(3, 5, 3)));
    EXPECT_EQ(java::membersLookedUp([&] { halfOpen(); }), Names({"setNumHalfOpenRecs()", "addHalfOpenRec()"}));
    EXPECT_EQ(java::membersLookedUp([&] { attackers(1, 2); }),
              Names({"reportAttackingAddrsResults()", "reportAttackingAddr()"}));
    EXPECT_EQ(java::referencesKept([&] { halfOpen(); }), 0u);
    EXPECT_EQ(java::referencesKept([&] { attackers(1, 2); }), 0u);
}

TEST_F(AttackProtectionTest, AListenerWithoutMethodsIsNotCalled) {
    listener = java::make("rk/tests/Members");
    executor::answer(67, replyImage(halfOpenReply(1, 1)));
    executor::answer(68, replyImage(attackersReply(1, 5, 1)));
    EXPECT_EQ(halfOpenStatus(), -99);
    EXPECT_EQ(java::takeException(), "java.lang.NoSuchMethodError: Lrk/tests/Members;.setNumHalfOpenRecs(I)V");
    EXPECT_EQ(attackersStatus(), -99);
    EXPECT_EQ(java::takeException(),
              "java.lang.NoSuchMethodError: Lrk/tests/Members;.reportAttackingAddrsResults(II)V");
}

TEST_F(AttackProtectionTest, AListenerThatLacksOneMethodIsNotAskedForIt) {
    executor::answer(67, replyImage(halfOpenReply(2, 2)));
    executor::answer(68, replyImage(attackersReply(2, 5, 2)));
    for (const char *name :
         {"setNumHalfOpenRecs", "addHalfOpenRec", "reportAttackingAddrsResults", "reportAttackingAddr"}) {
        const bool ofHalfOpen = strstr(name, "HalfOpen") != nullptr;
        {
            const java::FailingMethod failing(name, java::Failure::lookUp);
            EXPECT_EQ(ofHalfOpen ? halfOpenStatus() : attackersStatus(), -99) << name;
        }
        EXPECT_EQ(java::takeException(), std::string("java.lang.NoSuchMethodError: ") + name);
        EXPECT_EQ(told(), "");
    }
}

TEST_F(AttackProtectionTest, AListenerThatThrowsIsNotCalledAgain) {
    struct Row {
        const char *method;
        int call; // the one that throws
        std::string told;
    };
    const Row rows[] = {{"setNumHalfOpenRecs", 1, ""},
                        {"addHalfOpenRec", 1, halfOpenCalls(3, 0)},
                        {"addHalfOpenRec", 2, halfOpenCalls(3, 1)},
                        {"addHalfOpenRec", 3, halfOpenCalls(3, 2)},
                        {"reportAttackingAddrsResults", 1, ""},
                        {"reportAttackingAddr", 1, attackerCalls(3, 5, 0)},
                        {"reportAttackingAddr", 2, attackerCalls(3, 5, 1)},
                        {"reportAttackingAddr", 3, attackerCalls(3, 5, 2)}};
    executor::answer(67, replyImage(halfOpenReply(3, 3)));
    executor::answer(68, replyImage(attackersReply(3, 5, 3)));
    for (const Row &row : rows) {
        listener = java::make("rk/tests/AttackListener");
        {
            const java::FailingMethod failing(row.method, java::Failure::call, row.call);
            EXPECT_EQ(strstr(row.method, "HalfOpen") != nullptr ? halfOpenStatus() : attackersStatus(), -99);
        }
        EXPECT_EQ(java::takeException(), std::string("java.lang.IllegalStateException: ") + row.method);
        EXPECT_EQ(told(), row.told) << row.method << ' ' << row.call;
    }
}

TEST_F(AttackProtectionTest, WithoutRecordsAThrowingListenerIsReportedToo) {
    executor::answer(67, replyImage(halfOpenReply(0, 0)));
    executor::answer(68, replyImage(attackersReply(0, 0, 0)));
    {
        const java::FailingMethod failing("setNumHalfOpenRecs", java::Failure::call);
        EXPECT_EQ(halfOpenStatus(), -99);
    }
    EXPECT_NE(java::takeException(), "");
    {
        const java::FailingMethod failing("reportAttackingAddrsResults", java::Failure::call);
        EXPECT_EQ(attackersStatus(), -99);
    }
    EXPECT_NE(java::takeException(), "");
}

TEST_F(AttackProtectionTest, NullObjectsAreNamed) {
    listener = nullptr;
    EXPECT_EQ(halfOpenStatus(), -99);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: listener");
    EXPECT_EQ(attackersStatus(), -99);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: listener");
    EXPECT_EQ(NATIVE(getIcmpInfoNative)(java::env(), nullptr, nullptr), -99);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: icmp");
    EXPECT_EQ(NATIVE(setIcmpInfoNative)(java::env(), nullptr, nullptr), -99);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: icmp");
    EXPECT_TRUE(executor::sent().empty());
}

// --- Parameters ------------------------------------------------------------------------------------------------------

TEST_F(AttackProtectionTest, ParametersTravelInOrder) {
    EXPECT_EQ(java::callInt("xDOSAttackNative", kEightInts, 1, 2, 3, 4, 5, 6, 7, 0xFFFF), 0);
    Image image(280);
    image.header(69, 280).word(16, 1).word(20, 2).word(24, 3).word(28, 4).word(32, 5).word(36, 6).word(40, 7);
    EXPECT_SENT(image.word(44, 65535));
    EXPECT_EQ(executor::sent().size(), 1u);
}

TEST_F(AttackProtectionTest, ParametersAreCutTo16Bits) {
    EXPECT_EQ(java::callInt("xDOSAttackNative", kEightInts, 65537, -1, INT_MIN, 65536, 0x12348765, -65535, INT_MAX, -2),
              0);
    Image image(280);
    image.header(69, 280).word(16, 1).word(20, 65535).word(24, 0).word(28, 0).word(32, 0x8765).word(36, 1);
    EXPECT_SENT(image.word(40, 65535).word(44, 65534));
}

TEST_F(AttackProtectionTest, ChannelStatusesAreReturnedUnchanged) {
    jobject icmp = java::make("rk/tests/IcmpHolder");
    for (const int32_t result : {-1, 9, 4711}) {
        executor::reset();
        for (const int command : {57, 58, 69})
            executor::answer(command, executor::refuse(-5, result));
        EXPECT_EQ(java::callInt("xDOSAttackNative", kEightInts, 1, 2, 3, 4, 5, 6, 7, 8), result);
        EXPECT_EQ(java::call("getIcmpInfoNative", icmp), result);
        EXPECT_EQ(java::call("setIcmpInfoNative", icmp), result);
        EXPECT_EQ(java::getInt(icmp, "iGotIcmpResp"), -7);
        EXPECT_EQ(java::getInt(icmp, "iIcmpRespAddr"), -7);
    }
}

// --- ICMP ------------------------------------------------------------------------------------------------------------

TEST_F(AttackProtectionTest, TheIcmpResponseReachesJavaAsItIs) {
    jobject icmp = java::make("rk/tests/IcmpHolder");
    executor::answer(57, executor::reply({{16, 0x01020304}, {20, 0xC6336407}}));
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("getIcmpInfoNative", icmp), 0); }),
              Names({"iGotIcmpResp", "iIcmpRespAddr"}));
    EXPECT_SENT(Image(24).header(57, 24));
    EXPECT_EQ(java::getInt(icmp, "iGotIcmpResp"), 0x01020304);
    EXPECT_EQ(java::getInt(icmp, "iIcmpRespAddr"), static_cast<jint>(0xC6336407));
}

TEST_F(AttackProtectionTest, TheIcmpResponseTravelsAsItIs) {
    jobject icmp = java::make("rk/tests/IcmpHolder");
    java::setInt(icmp, "iGotIcmpResp", 0x01020304);
    java::setInt(icmp, "iIcmpRespAddr", 0x0A000001);
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("setIcmpInfoNative", icmp), 0); }),
              Names({"iGotIcmpResp", "iIcmpRespAddr"}));
    EXPECT_SENT(Image(24).header(58, 24).word(16, 0x01020304).word(20, 0x0A000001));
    EXPECT_EQ(java::getInt(icmp, "iIcmpRespAddr"), 0x0A000001);
}

} // namespace
