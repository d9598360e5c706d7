// Affinity records: dumped as text, and driven in bulk through a Java object.
#include "harness/reports.h"

#include "library/native.h"

#include <climits>

namespace {

// --- The dump --------------------------------------------------------------------------------------------------------

const std::string kBanner = "AFFINITY COMMANDS SHOULD BE USED FOR DEBUGGING\n"
                            "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
                            "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n";

constexpr char kColumns[] = "ClientAddr - ServerAddr - NumActive - Age(sec)\n";

struct AffinityDumpTest : ReportTest {
    static jobject askFor(jint address, jint port, jint detail) {
        return java::callObject("getAffinityInfoNative", "(III)Ljava/lang/String;", address, port, detail);
    }

    std::string dump(jint detail) {
        return counted([=] { return askFor(0x0A000005, 80, detail); });
    }

    // The reply: all that the library may not read is 0xEE.
    static Image reply(uint32_t count, uint32_t mask = 0xFFFFFFFF, uint32_t now = 1000) {
        Image image(64016);
        return image.word(28, now).word(36, mask).half(42, 0).word(44, count);
    }

    static Image &entry(Image &image, std::size_t index, const std::string &client, const std::string &server,
                        uint32_t active, uint32_t firstTime, uint32_t stamp) {
        const std::size_t start = 48 + 32 * index;
        image.hex(start, client).hex(start + 4, server).word(start + 16, active);
        return image.word(start + 24, firstTime).word(start + 28, stamp);
    }

    static Image full(uint32_t count) {
        Image image = reply(count);
        for (std::size_t i = 0; i < 1999; ++i)
            entry(image, i, "c6336407", "fffffffe", static_cast<uint32_t>(i), 1, 995);
        return image;
    }

    static Names pieces(int count, int rows, const char *columns = kColumns) {
        Names result = {kBanner, "Sticky client address mask = 0xFFFFFFFF\n",
                        line("Number of affinity records = %d\n", count), columns};
        for (int i = 0; i < rows; ++i)
            result.push_back(line("198.51.100.7 - 255.255.255.254 - %d - 5 \n", i));
        return result;
    }
};

TEST_F(AffinityDumpTest, TheQueryTravels) {
    executor::answer(52, executor::refuse(-5));
    askFor(0x0A000005, 443, 1);
    EXPECT_SENT(Image(64016).header(52, 64016).hex(32, "0a000005").hex(40, "01bb").word(44, 1));
    executor::reset();
    askFor(static_cast<jint>(0xC6336407), 0x12345678, -2);
    EXPECT_SENT(Image(64016).header(52, 64016).hex(32, "c6336407").hex(40, "5678").word(44, 0xFFFFFFFE));
}

TEST_F(AffinityDumpTest, ARefusalIsAFixedText) {
    for (const int32_t result : {-1, 9}) {
        executor::reset();
        executor::answer(52, executor::refuse(-5, result));
        EXPECT_EQ(dump(1), "Error with kernel.\n");
        EXPECT_TRUE(sizes.empty());
    }
}

TEST_F(AffinityDumpTest, NoRecords) {
    executor::answer(52, replyImage(reply(0, 0xFFFFFF00)));
    for (const jint detail : {0, 1})
        EXPECT_EQ(dump(detail),
                  "AFFINITY COMMANDS SHOULD BE USED FOR DEBUGGING\nPURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
                  "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n"
                  "Sticky client address mask = 0xFFFFFF00\nNumber of affinity records = 0\n");
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000}));
    EXPECT_EQ(held, 0);
}

TEST_F(AffinityDumpTest, CountsOnlyWithoutDetail) {
    Image image = reply(1, 0xA);
    executor::answer(52, replyImage(entry(image, 0, "c6336407", "c0000201", 3, 1, 995)));
    EXPECT_EQ(dump(0), kBanner + "Sticky client address mask = 0xA\nNumber of affinity records = 1\n");
}

TEST_F(AffinityDumpTest, OneRecord) {
    Image image = reply(1, 0);
    executor::answer(52, replyImage(entry(image, 0, "c6336407", "c0000201", 3, 1, 995)));
    for (const jint detail : {1, 2, -1})
        EXPECT_EQ(dump(detail), kBanner + "Sticky client address mask = 0x0\nNumber of affinity records = 1\n"
                                          "ClientAddr - ServerAddr - NumActive - Age(sec)\n"
                                          "198.51.100.7 - 192.0.2.1 - 3 - 5 \n");
}

TEST_F(AffinityDumpTest, TheOtherColumnsHaveTheSameRows) {
    Image image = reply(1, 0);
    entry(image, 0, "c6336407", "c0000201", 3, 1, 995).half(60, 0x4711);
    for (const uint16_t other : std::initializer_list<uint16_t>{1, 0x0100, 0xFFFF}) {
        executor::reset();
        executor::answer(52, replyImage(image.half(42, other)));
        EXPECT_EQ(dump(1), kBanner + "Sticky client address mask = 0x0\nNumber of affinity records = 1\n"
                                     "ServerAddr - Age - Len - ID \n"
                                     "198.51.100.7 - 192.0.2.1 - 3 - 5 \n");
    }
    executor::reset();
    executor::answer(52, replyImage(image.word(44, 0)));
    EXPECT_EQ(dump(1), kBanner + "Sticky client address mask = 0x0\nNumber of affinity records = 0\n");
}

TEST_F(AffinityDumpTest, AgesAndCounts) {
    struct Row {
        uint32_t active;
        uint32_t firstTime;
        uint32_t stamp;
        const char *text;
    };
    const Row rows[] = {{0, 0, 0, "0 - 0"},
                        {1, 0, 995, "1 - 5"},
                        {2, 1, 0, "2 - 1000"},
                        {0x7FFFFFFF, 5, 1000, "2147483647 - 0"},
                        {0xFFFFFFFF, 5, 1010, "-1 - -10"},
                        {0x80000000, 0, 0xFFFFFFFF, "-2147483648 - 1001"}};
    Image image = reply(std::size(rows), 0);
    std::string expected = kBanner + "Sticky client address mask = 0x0\nNumber of affinity records = 6\n" + kColumns;
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        entry(image, i, "00010203", "ff800000", rows[i].active, rows[i].firstTime, rows[i].stamp);
        expected += line("0.1.2.3 - 255.128.0.0 - %s \n", rows[i].text);
    }
    executor::answer(52, replyImage(image));
    EXPECT_EQ(dump(1), expected);
}

TEST_F(AffinityDumpTest, AFullBlockGrowsTheReport) {
    executor::answer(52, replyImage(full(1999)));
    const Names expected = pieces(1999, 1999);
    EXPECT_EQ(dump(1), joined(expected));
    EXPECT_EQ(sizes, reportSizes(10000, expected));
    EXPECT_GT(sizes.size(), 5u);
    EXPECT_EQ(held, 0);
}

TEST_F(AffinityDumpTest, NoMoreThanTheBlockHoldsIsRead) {
    for (const int count : {2000, 3000, 3001, INT_MAX}) {
        executor::reset();
        executor::answer(52, replyImage(full(static_cast<uint32_t>(count))));
        EXPECT_EQ(dump(1), joined(pieces(count, 1999)));
    }
}

TEST_F(AffinityDumpTest, NegativeCountsReadNothing) {
    for (const int count : {-1, INT_MIN}) {
        executor::reset();
        executor::answer(52, replyImage(full(static_cast<uint32_t>(count))));
        EXPECT_EQ(dump(1), joined(pieces(count, 0)));
    }
}

TEST_F(AffinityDumpTest, WithoutAReportThereIsNoText) {
    failing = 1;
    EXPECT_EQ(dump(1), "(null)");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({52}));
}

// A line that finds no memory is lost; the report goes on with the next one, which asks for memory again.
TEST_F(AffinityDumpTest, AReportThatCannotGrowOnceLacksOneLine) {
    failing = 2;
    executor::answer(52, replyImage(full(1999)));
    EXPECT_EQ(dump(1), joined(withoutFirstThatGrows(10000, pieces(1999, 1999))));
    EXPECT_EQ(held, 0);
}

TEST_F(AffinityDumpTest, TheReportIsFreedWhenTheStringCannotBeMade) {
    executor::answer(52, replyImage(reply(0)));
    EXPECT_EQ(withoutString([] { return askFor(1, 2, 1); }), "(null)");
    EXPECT_EQ(sizes.size(), 1u);
    EXPECT_EQ(held, 0);
}

// --- Server-directed affinity ----------------------------------------------------------------------------------------

// The key of a short text: what the sum of each character, turned right within its byte by its index, and of the one
// behind it, shifted left by the index, adds up to, less 1.
uint32_t keyOf(const std::string &text) {
    uint32_t key = 0xFFFFFFFF;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const uint32_t twice = static_cast<uint8_t>(text[i]) * 0x101u;
        const uint32_t turned = i <= 8 ? twice >> i & 0xFF : 0;
        const uint32_t next = i + 1 < text.size() ? static_cast<uint8_t>(text[i + 1]) : 0;
        key += (turned + next) << i;
    }
    return key;
}

struct ServerDirectedAffinityTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        request = newRequest();
    }

    static jobject newRequest() {
        jobject object = java::make("rk/tests/AffinityRequest");
        java::setInt(object, "iCommand", 0x01020304);
        java::setInt(object, "iClusterAddr", 0x0A000005);
        java::setInt(object, "iPort", 443);
        return object;
    }

    static void setInts(jobject object, const char *name, const std::vector<jint> &values) {
        java::setObject(object, name, "[I", java::makeIntArray(values));
    }

    // A client and a server for every index.
    static jint client(int index) {
        return 0x01010100 + index;
    }

    static jint server(int index) {
        return static_cast<jint>(0xC0000000 + static_cast<uint32_t>(index) * 0x101);
    }

    static std::string serverText(int index) {
        return line("192.%d.%d.%d", index * 0x101 >> 16 & 0xFF, index * 0x101 >> 8 & 0xFF, index * 0x101 & 0xFF);
    }

    // Asks with so many entries; all arrays have `room` elements.
    void give(int entries, int room) {
        std::vector<jint> clients(static_cast<std::size_t>(room), -8);
        std::vector<jint> servers = clients;
        for (int i = 0; i < entries && i < room; ++i) {
            clients[static_cast<std::size_t>(i)] = client(i);
            servers[static_cast<std::size_t>(i)] = server(i);
        }
        java::setInt(request, "iNumAffinities", entries);
        setInts(request, "aiClientAddr", clients);
        setInts(request, "aiServerAddr", servers);
        for (const char *name : {"aiNumActive", "aiAgeOrResponse"})
            setInts(request, name, std::vector<jint>(static_cast<std::size_t>(room), -9));
    }

    jint ask() {
        calls::countAllocations(failing);
        const jint status = java::call("serverDirectedAffinityNative", request);
        held = calls::blocksHeld();
        allocations = calls::allocations();
        calls::countAllocations();
        return status;
    }

    static Image image(int entries, uint32_t length) {
        Image expected(length);
        expected.header(59, length).word(16, 0x01020304).word(32, 0x0A000005).hex(40, "01bb");
        expected.word(44, static_cast<uint32_t>(entries));
        for (int i = 0; i < entries; ++i) {
            const std::size_t start = 48 + 32 * static_cast<std::size_t>(i);
            expected.word(start, static_cast<uint32_t>(client(i))).word(start + 4, static_cast<uint32_t>(server(i)));
            expected.word(start + 8, keyOf(serverText(i)));
        }
        return expected;
    }

    // Answers with a count and with distinct words in every entry that the block that came has room for.
    static void replyEntries(uint32_t count, uint32_t response = 0, uint32_t now = 0) {
        executor::answer(59, [=](uint8_t *block, uint32_t length) {
            Image reply(length);
            reply.word(20, response).word(28, now).word(44, count);
            for (std::size_t start = 48, i = 0; start + 32 <= length; start += 32, ++i) {
                const auto index = static_cast<uint32_t>(i);
                reply.word(start, 0x10000000 + index).word(start + 4, 0xA0000000 + index);
                reply.word(start + 16, 0x30000000 + index).word(start + 28, 0xB0000000 + index);
            }
            memcpy(block + 16, reply.bytes.data() + 16, length - 16);
            return 0;
        });
    }

    static std::vector<jint> filled(uint32_t first, int count, int room, jint rest) {
        std::vector<jint> values(static_cast<std::size_t>(room), rest);
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i)
            values[i] = static_cast<jint>(first + static_cast<uint32_t>(i));
        return values;
    }

    // The first `count` of `room` elements hold what replyEntries gave.
    void expectFilled(int count, int room, jint restOfAddresses = -8) {
        EXPECT_EQ(java::getInts(request, "aiClientAddr"), filled(0x10000000, count, room, restOfAddresses));
        EXPECT_EQ(java::getInts(request, "aiServerAddr"), filled(0xA0000000, count, room, restOfAddresses));
        EXPECT_EQ(java::getInts(request, "aiNumActive"), filled(0x30000000, count, room, -9));
        EXPECT_EQ(java::getInts(request, "aiAgeOrResponse"), filled(0xB0000000, count, room, -9));
    }

    jobject request = nullptr;
    int failing = 0;
    int held = -1;
    int allocations = -1;
};

TEST_F(ServerDirectedAffinityTest, TheKeysUsedHere) {
    // The characters of "10.0.0.1" turned by their indices: 31 18 8B 06 E2 81 B8 62.
    const uint32_t key = (0x31 + 0x30) + ((0x18 + 0x2E) << 1) + ((0x8B + 0x30) << 2) + ((0x06 + 0x2E) << 3) +
                         ((0xE2 + 0x30) << 4) + ((0x81 + 0x2E) << 5) + ((0xB8 + 0x31) << 6) + (0x62 << 7) - 1;
    EXPECT_EQ(keyOf("10.0.0.1"), key);
    EXPECT_EQ(serverText(0x1234), "192.18.70.52");
    EXPECT_EQ(server(0x1234), static_cast<jint>(0xC0124634));
}

TEST_F(ServerDirectedAffinityTest, ARequestWithoutEntries) {
    java::setInt(request, "iPort", 0x7FFF01BB);
    executor::answer(59, executor::reply({{20, 11}, {28, 12}, {44, 0}}));
    EXPECT_EQ(ask(), 0);
    EXPECT_SENT(image(0, 64016));
    EXPECT_EQ(java::getInt(request, "iResponse"), 11);
    EXPECT_EQ(java::getInt(request, "iTime"), 12);
    EXPECT_EQ(java::getInt(request, "iNumAffinities"), 0);
    EXPECT_EQ(allocations, 0);
}

TEST_F(ServerDirectedAffinityTest, WithoutEntriesTheArraysAreNotRead) {
    for (const char *name : {"aiClientAddr", "aiServerAddr", "aiNumActive", "aiAgeOrResponse"})
        java::setNull(request, name, "[I");
    executor::answer(59, executor::reply({{44, 0}}));
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::takeException(), "");
}

TEST_F(ServerDirectedAffinityTest, OneEntryTravelsWithItsServersKey) {
    java::setInt(request, "iNumAffinities", 1);
    setInts(request, "aiClientAddr", {static_cast<jint>(0xC6336407)});
    setInts(request, "aiServerAddr", {0x0A000001});
    executor::answer(59, executor::reply({{44, 0}}));
    EXPECT_EQ(ask(), 0);
    Image expected = image(0, 64016);
    expected.word(44, 1).word(48, 0xC6336407).word(52, 0x0A000001).word(56, keyOf("10.0.0.1"));
    EXPECT_SENT(expected);
    EXPECT_EQ(held, 0);
}

TEST_F(ServerDirectedAffinityTest, EntriesUpToTheWireSize) {
    for (const int entries : {2, 1998, 1999}) {
        executor::reset();
        give(entries, entries);
        executor::answer(59, executor::reply({{44, 0}}));
        EXPECT_EQ(ask(), 0);
        EXPECT_SENT(image(entries, 64016));
        EXPECT_EQ(held, 0);
    }
}

TEST_F(ServerDirectedAffinityTest, MoreEntriesTravelInALongerBlock) {
    for (const int entries : {2000, 2999, 3000}) {
        executor::reset();
        give(entries, entries);
        executor::answer(59, executor::reply({{44, 0}}));
        EXPECT_EQ(ask(), 0);
        EXPECT_SENT(image(entries, 48 + 32 * static_cast<uint32_t>(entries)));
        EXPECT_EQ(held, 0);
    }
}

TEST_F(ServerDirectedAffinityTest, TooManyEntriesAreRefused) {
    for (const int entries : {3001, INT_MAX, -1, INT_MIN}) {
        java::setInt(request, "iResponse", 5);
        java::setInt(request, "iNumAffinities", entries);
        EXPECT_EQ(ask(), -101) << entries;
        EXPECT_EQ(java::getInt(request, "iResponse"), -101);
        EXPECT_EQ(java::getInt(request, "iTime"), -7);
        EXPECT_EQ(java::getInt(request, "iNumAffinities"), entries);
        EXPECT_EQ(allocations, 0);
    }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ServerDirectedAffinityTest, TheReplyFillsTheArrays) {
    give(2, 5);
    replyEntries(3, 0xFFFFFFF5, 0x44556677);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::getInt(request, "iResponse"), -11);
    EXPECT_EQ(java::getInt(request, "iTime"), 0x44556677);
    EXPECT_EQ(java::getInt(request, "iNumAffinities"), 3);
    expectFilled(3, 5);
    EXPECT_EQ(held, 0);
}

TEST_F(ServerDirectedAffinityTest, TheReplyOfARequestWithoutEntriesFillsTheArrays) {
    give(0, 1);
    replyEntries(1);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::getInt(request, "iNumAffinities"), 1);
    expectFilled(1, 1);
    EXPECT_EQ(held, 0);
}

TEST_F(ServerDirectedAffinityTest, FullReplies) {
    give(5, 1999);
    replyEntries(1999);
    EXPECT_EQ(ask(), 0);
    expectFilled(1999, 1999);
    executor::reset();
    give(3000, 3000);
    replyEntries(3000);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::getInt(request, "iNumAffinities"), 3000);
    expectFilled(3000, 3000);
}

TEST_F(ServerDirectedAffinityTest, NoMoreThanTheBlockHoldsIsRead) {
    const std::pair<int, int> rows[] = {{0, 1999}, {7, 1999}, {1999, 1999}, {2000, 2000}, {2500, 2500}, {3000, 3000}};
    for (const auto &[entries, most] : rows)
        for (const int count : {most + 1, 64000, INT_MAX}) {
            executor::reset();
            give(entries, 3100);
            replyEntries(static_cast<uint32_t>(count));
            EXPECT_EQ(ask(), 0);
            EXPECT_EQ(java::getInt(request, "iNumAffinities"), count);
            expectFilled(most, 3100);
        }
}

TEST_F(ServerDirectedAffinityTest, NegativeCountsReadNothing) {
    for (const int count : {-1, INT_MIN}) {
        executor::reset();
        give(0, 4);
        replyEntries(static_cast<uint32_t>(count));
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(java::getInt(request, "iNumAffinities"), count);
        expectFilled(0, 4);
        EXPECT_EQ(allocations, 0);
        for (const char *name : {"aiClientAddr", "aiServerAddr", "aiNumActive", "aiAgeOrResponse"})
            java::setNull(request, name, "[I");
        java::setInt(request, "iNumAffinities", 0);
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(java::takeException(), "");
    }
}

TEST_F(ServerDirectedAffinityTest, FieldsInOrder) {
    give(1, 2);
    replyEntries(2);
    const Names expected = {"iCommand",     "iClusterAddr", "iPort",          "iNumAffinities", "aiClientAddr",
                            "aiServerAddr", "iResponse",    "iTime",          "iNumAffinities", "aiClientAddr",
                            "aiServerAddr", "aiNumActive",  "aiAgeOrResponse"};
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(ask(), 0); }), expected);
    const Names withoutArrays = {"iCommand",  "iClusterAddr", "iPort",         "iNumAffinities",
                                 "iResponse", "iTime",        "iNumAffinities"};
    executor::reset();
    executor::answer(59, executor::reply({{44, 0}}));
    give(0, 2);
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(ask(), 0); }), withoutArrays);
    EXPECT_EQ(java::referencesKept([&] { ask(); }), 0u);
}

TEST_F(ServerDirectedAffinityTest, ARefusalIsTheReason) {
    for (const int32_t result : {-1, 9, 4711}) {
        executor::reset();
        request = newRequest();
        give(1, 1);
        executor::answer(59, executor::refuse(-4712, result));
        EXPECT_EQ(ask(), -4712);
        EXPECT_EQ(java::getInt(request, "iResponse"), -4712);
        EXPECT_EQ(java::getInt(request, "iTime"), -7);
        EXPECT_EQ(java::getInt(request, "iNumAffinities"), 1);
        EXPECT_EQ(java::getInts(request, "aiClientAddr"), std::vector<jint>({client(0)}));
        EXPECT_EQ(held, 0);
    }
}

TEST_F(ServerDirectedAffinityTest, WithoutMemoryNothingIsSent) {
    failing = 1;
    give(3, 3);
    EXPECT_EQ(ask(), -102);
    EXPECT_EQ(java::getInt(request, "iResponse"), -102);
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(held, 0);
}

TEST_F(ServerDirectedAffinityTest, WithoutMemoryForTheReplyTheArraysStay) {
    for (const int entries : {0, 2}) {
        executor::reset();
        request = newRequest();
        failing = entries == 0 ? 1 : 2;
        give(entries, 3);
        const std::vector<jint> clients = java::getInts(request, "aiClientAddr");
        replyEntries(3, 17, 18);
        EXPECT_EQ(ask(), -102);
        EXPECT_EQ(java::getInt(request, "iResponse"), -102);
        EXPECT_EQ(java::getInt(request, "iTime"), 18);
        EXPECT_EQ(java::getInt(request, "iNumAffinities"), 3);
        EXPECT_EQ(java::getInts(request, "aiClientAddr"), clients);
        EXPECT_EQ(java::getInts(request, "aiNumActive"), std::vector<jint>(3, -9));
        EXPECT_EQ(held, 0);
    }
}

// The status is the native method's own: Java sees the exception.
TEST_F(ServerDirectedAffinityTest, ArraysThatCannotBeReadSendNothing) {
    for (const bool missing : {true, false})
        for (const char *name : {"aiClientAddr", "aiServerAddr"}) {
            give(2, 2);
            if (missing)
                java::setNull(request, name, "[I");
            else
                setInts(request, name, {1});
            calls::countAllocations();
            EXPECT_EQ(NATIVE(serverDirectedAffinityNative)(java::env(), nullptr, request), -99);
            EXPECT_EQ(calls::blocksHeld(), 0);
            const std::string exception = java::takeException();
            if (missing)
                EXPECT_EQ(exception, std::string("java.lang.NullPointerException: ") + name);
            else
                EXPECT_EQ(exception.substr(0, 40), "java.lang.ArrayIndexOutOfBoundsException") << name;
            EXPECT_EQ(java::getInt(request, "iResponse"), -7);
        }
    EXPECT_TRUE(executor::sent().empty());
}

// A reply with more entries than an array of the Java object has room for, or than there is an array for: the arrays
// before it are filled, and Java gets the exception.
TEST_F(ServerDirectedAffinityTest, RepliesThatTheArraysCannotTake) {
    const std::pair<const char *, uint32_t> arrays[] = {{"aiClientAddr", 0x10000000},
                                                        {"aiServerAddr", 0xA0000000},
                                                        {"aiNumActive", 0x30000000},
                                                        {"aiAgeOrResponse", 0xB0000000}};
    replyEntries(2);
    for (std::size_t bad = 0; bad < std::size(arrays); ++bad)
        for (const bool missing : {true, false}) {
            request = newRequest();
            give(0, 2);
            if (missing)
                java::setNull(request, arrays[bad].first, "[I");
            else
                setInts(request, arrays[bad].first, {-9});
            calls::countAllocations();
            NATIVE(serverDirectedAffinityNative)(java::env(), nullptr, request);
            EXPECT_EQ(calls::blocksHeld(), 0);
            const std::string exception = java::takeException();
            if (missing)
                EXPECT_EQ(exception, std::string("java.lang.NullPointerException: ") + arrays[bad].first);
            else
                EXPECT_EQ(exception.substr(0, 40), "java.lang.ArrayIndexOutOfBoundsException");
            EXPECT_EQ(java::getInt(request, "iNumAffinities"), 2);
            for (std::size_t i = 0; i < bad; ++i)
                EXPECT_EQ(java::getInts(request, arrays[i].first), filled(arrays[i].second, 2, 2, 0));
            EXPECT_TRUE(missing || java::getInts(request, arrays[bad].first) == std::vector<jint>({-9}));
        }
}

TEST_F(ServerDirectedAffinityTest, ANullRequestIsNamed) {
    EXPECT_EQ(NATIVE(serverDirectedAffinityNative)(java::env(), nullptr, nullptr), -99);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: request");
    EXPECT_TRUE(executor::sent().empty());
}

} // namespace
