// Connection records: made and removed by hand, and dumped as text.
#include "harness/reports.h"

#include "library/channel/channel.h"

#include <arpa/inet.h>
#include <climits>
#include <unistd.h>

extern "C" const char *const EXC_TCPStates[12];

namespace {

constexpr char kSixInts[] = "(IIIIII)I";
constexpr char kDump[] = "(IIIIIII)Ljava/lang/String;";

const std::string kBanner = "CONNECTION COMMANDS SHOULD BE USED FOR DEBUGGING\n"
                            "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
                            "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n";

const std::string kColumns =
    "#\tClientAddr:Port \tClusAddr:Port \tServerAddr \tState \tPrevState \tCurrState \tage(sec)\n";

const Names kStates = {"CLOSD", "LISTN", "SNSNT", "SNRCV", "ESTBD", "LSTAK",
                       "TIMWT", "CLSWT", "FNWT1", "FNWT2", "CLSNG", "ABORT"};

// What the process itself writes to descriptor 1 while `action` runs.
std::string standardOutputOf(const std::function<void()> &action) {
    fflush(stdout);
    FILE *file = tmpfile();
    const int before = dup(STDOUT_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    action();
    dup2(before, STDOUT_FILENO); // what is not flushed by now goes elsewhere
    close(before);
    std::string text(static_cast<std::size_t>(lseek(fileno(file), 0, SEEK_END)), '\0');
    lseek(fileno(file), 0, SEEK_SET);
    EXPECT_EQ(read(fileno(file), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    fclose(file);
    return text;
}

struct ConnectionsTest : ReportTest {
    static jobject askFor(jint detail) {
        return java::callObject("getConnectionInfoNative", kDump, 0, 0, 0, 0, 0, 0, detail);
    }

    // The report; what is printed meanwhile is kept.
    std::string dump(jint detail) {
        std::string report;
        printed = standardOutputOf([&] { report = counted([=] { return askFor(detail); }); });
        return report;
    }

    // The reply: all that the library may not read is 0xEE.
    static Image reply(uint32_t count, uint32_t npsCount, uint32_t now) {
        Image image(64016);
        return image.word(16, count).word(20, npsCount).word(28, now);
    }

    // Puts a record of 198.51.100.7:50000, of the cluster 10.0.0.5:443 and the server 192.0.2.1, into the reply.
    static Image &record(Image &image, std::size_t index, uint8_t previous, uint8_t current, uint8_t state = 0x12,
                         uint32_t firstTime = 1, uint32_t stamp = 995, char mark = 'A') {
        const std::size_t entry = 32 + 40 * index;
        image.hex(entry, "0a000005").hex(entry + 4, "c6336407").hex(entry + 8, "01bb").hex(entry + 10, "c350");
        image.word(entry + 16, firstTime).word(entry + 20, stamp);
        image.byte(entry + 24, state).byte(entry + 25, previous).byte(entry + 26, current);
        return image.hex(entry + 28, "c0000201").byte(entry + 32, static_cast<uint8_t>(mark));
    }

    // The row of such a record.
    static std::string row(int index, const std::string &previous, const std::string &current) {
        return line("%d \t198.51.100.7:50000 \t10.0.0.5:443 \t192.0.2.1 \t0x12 \t%s \t%s \t5 \tA\n", index,
                    previous.c_str(), current.c_str());
    }

    static std::string counts(int count, int npsCount) {
        return line("Number of connection records = %d\nNum nps = %d\n", count, npsCount);
    }

    std::string printed;
};

// --- By hand ---------------------------------------------------------------------------------------------------------

TEST_F(ConnectionsTest, AllocatingAndReleasingSendTheSixValues) {
    const std::pair<const char *, int> methods[] = {{"allocateConnectionNative", 34},
                                                    {"deallocateConnectionNative", 63}};
    for (const auto &[method, command] : methods) {
        executor::reset();
        EXPECT_EQ(java::callInt(method, kSixInts, 0x0A000005, 0x1234, static_cast<jint>(0xC6336407), 0x01020304, 443,
                                static_cast<jint>(0xC0000201)),
                  0);
        Image image(40);
        image.header(command, 40).half(16, 0x1234).hex(20, "0a000005").hex(24, "01bb").hex(28, "c6336407");
        EXPECT_SENT(image.word(32, 0x01020304).hex(36, "c0000201")) << method;
        EXPECT_EQ(executor::sent().size(), 1u);
    }
}

TEST_F(ConnectionsTest, PortsAndTheSecondValueAreCutTo16Bits) {
    for (const char *method : {"allocateConnectionNative", "deallocateConnectionNative"}) {
        java::callInt(method, kSixInts, -2, 0x7ABCDEF0, -3, -4, 0x12345678, -5);
        Image image(40);
        image.half(16, 0xDEF0).hex(20, "fffffffe").hex(24, "5678").hex(28, "fffffffd").word(32, 0xFFFFFFFC);
        image.hex(36, "fffffffb");
        const executor::Bytes body(executor::lastSent().begin() + 16, executor::lastSent().end());
        EXPECT_EQ(executor::dump(body), executor::dump({image.bytes.begin() + 16, image.bytes.end()})) << method;
    }
}

TEST_F(ConnectionsTest, ARefusedAllocationGivesTheReason) {
    for (const int32_t result : {-1, 9}) {
        executor::reset();
        executor::answer(34, executor::refuse(-4711, result));
        EXPECT_EQ(java::callInt("allocateConnectionNative", kSixInts, 1, 2, 3, 4, 5, 6), -4711);
    }
}

// Nobody answers, so the reason is what stands in the block.
TEST_F(ConnectionsTest, AnAllocationWithoutAnExecutorGivesTheReasonThatStands) {
    prv_giKVAServerModality = 0;
    calls::device(calls::Device::absent);
    ucb.header.reason = -4711;
    EXPECT_EQ(java::callInt("allocateConnectionNative", kSixInts, 1, 2, 3, 4, 5, 6), -4711);
    EXPECT_EQ(java::callInt("deallocateConnectionNative", kSixInts, 1, 2, 3, 4, 5, 6), -1);
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ConnectionsTest, ARefusedReleaseGivesTheStatusOfTheChannel) {
    for (const int32_t result : {-1, 9, 4711}) {
        executor::reset();
        executor::answer(63, executor::refuse(-5, result));
        EXPECT_EQ(java::callInt("deallocateConnectionNative", kSixInts, 1, 2, 3, 4, 5, 6), result);
    }
}

// --- The query -------------------------------------------------------------------------------------------------------

// The ports are words in host order that hold a port in network order; the third one is sign-extended.
TEST_F(ConnectionsTest, TheQueryTravels) {
    const auto ask = [](jint first, jint second, jint third, jint detail) {
        executor::reset();
        standardOutputOf([=] {
            java::callObject("getConnectionInfoNative", kDump, 0x0A000005, first, static_cast<jint>(0xC6336407), second,
                             static_cast<jint>(0xC0000201), third, detail);
        });
    };
    const auto image = [](uint16_t first, uint16_t second, uint16_t third, uint32_t detail) {
        Image expected(64016);
        expected.header(39, 64016).hex(16, "0a000005").word(20, htons(first)).hex(24, "c6336407");
        expected.word(28, htons(second)).hex(32, "c0000201").word(40, detail);
        return expected.word(36, static_cast<uint32_t>(static_cast<int16_t>(htons(third))));
    };
    ask(443, 50000, 80, 0);
    EXPECT_SENT(image(443, 50000, 80, 0));
    ask(0x1F00F, 0x200FF, 0x300FF, 1); // cut to 16 bits; the low byte is the sign on a little-endian machine
    EXPECT_SENT(image(0xF00F, 0x00FF, 0x00FF, 1));
    ask(-1, -1, -1, -1);
    EXPECT_SENT(image(0xFFFF, 0xFFFF, 0xFFFF, 0xFFFFFFFF));
    ask(0x00FF, 0x00FF, 0xFF00, 7);
    EXPECT_SENT(image(0x00FF, 0x00FF, 0xFF00, 7));
}

// --- The text --------------------------------------------------------------------------------------------------------

TEST_F(ConnectionsTest, ARefusedDumpIsAFixedText) {
    for (const int32_t result : {-1, 9}) {
        executor::reset();
        executor::answer(39, executor::refuse(-5, result));
        EXPECT_EQ(dump(1), "Error with kernel.\n");
        EXPECT_EQ(printed, "");
        EXPECT_TRUE(sizes.empty());
    }
}

TEST_F(ConnectionsTest, TheWarningIsPrintedAndNotReturned) {
    executor::answer(39, replyImage(reply(0, 17, 1000)));
    for (const jint detail : {0, 1}) {
        EXPECT_EQ(dump(detail), "Number of connection records = 0\nNum nps = 17\n");
        EXPECT_EQ(printed, kBanner);
    }
    EXPECT_EQ(sizes, std::vector<std::size_t>({128016}));
    EXPECT_EQ(held, 0);
}

TEST_F(ConnectionsTest, CountsOnlyWithoutDetail) {
    Image image = reply(1, 0xFFFFFFFF, 1000);
    executor::answer(39, replyImage(record(image, 0, 1, 2)));
    EXPECT_EQ(dump(0), "Number of connection records = 1\nNum nps = -1\n");
}

TEST_F(ConnectionsTest, OneRecord) {
    Image image = reply(1, 3, 1000);
    executor::answer(39, replyImage(record(image, 0, 1, 4)));
    for (const jint detail : {1, 2, -1})
        EXPECT_EQ(dump(detail),
                  "Number of connection records = 1\nNum nps = 3\n"
                  "#\tClientAddr:Port \tClusAddr:Port \tServerAddr \tState \tPrevState \tCurrState \tage(sec)\n"
                  "0 \t198.51.100.7:50000 \t10.0.0.5:443 \t192.0.2.1 \t0x12 \tLISTN \tESTBD \t5 \tA\n");
}

TEST_F(ConnectionsTest, StateFlagsAreTwoHexadecimalDigits) {
    Image image = reply(4, 0, 1000);
    const std::pair<uint8_t, const char *> flags[] = {{0, "0x00"}, {0x0A, "0x0A"}, {0xBC, "0xBC"}, {0xFF, "0xFF"}};
    std::string expected = counts(4, 0) + kColumns;
    for (std::size_t i = 0; i < 4; ++i) {
        record(image, i, 0, 0, flags[i].first);
        expected += line("%zu \t198.51.100.7:50000 \t10.0.0.5:443 \t192.0.2.1 \t%s \tCLOSD \tCLOSD \t5 \tA\n", i,
                         flags[i].second);
    }
    executor::answer(39, replyImage(image));
    EXPECT_EQ(dump(1), expected);
}

TEST_F(ConnectionsTest, NamesOfTheStates) {
    EXPECT_EQ(Names(std::begin(EXC_TCPStates), std::end(EXC_TCPStates)), kStates);
    Image image = reply(12, 0, 1000);
    std::string expected = counts(12, 0) + kColumns;
    for (uint8_t i = 0; i < 12; ++i) {
        record(image, i, i, static_cast<uint8_t>(11 - i));
        expected += row(i, kStates[i], kStates[11u - i]);
    }
    executor::answer(39, replyImage(image));
    EXPECT_EQ(dump(1), expected);
}

// An unknown current state shows in the column before its own, which repeats what the row before had there.
TEST_F(ConnectionsTest, UnknownStates) {
    Image image = reply(8, 0, 1000);
    record(image, 0, 4, 12);
    record(image, 1, 12, 4);
    record(image, 2, 5, 12);
    record(image, 3, 5, 255);
    record(image, 4, 255, 11);
    record(image, 5, 13, 128);
    record(image, 6, 11, 0);
    record(image, 7, 0, 12);
    executor::answer(39, replyImage(image));
    const std::string expected = counts(8, 0) + kColumns + row(0, "  ?  ", "") + row(1, "  ?  ", "ESTBD") +
                                 row(2, "  ?  ", "ESTBD") + row(3, "  ?  ", "ESTBD") + row(4, "  ?  ", "ABORT") +
                                 row(5, "  ?  ", "ABORT") + row(6, "ABORT", "CLOSD") + row(7, "  ?  ", "CLOSD");
    EXPECT_EQ(dump(1), expected);
    EXPECT_EQ(dump(1), expected) << "the first row repeats nothing of the dump before";
}

TEST_F(ConnectionsTest, Ages) {
    struct AgeRow {
        uint32_t firstTime;
        uint32_t stamp;
        int age;
    };
    const AgeRow rows[] = {{0, 0, 0},
                           {1, 995, 5},
                           {0, 995, 5},
                           {1, 0, 1000},
                           {0, 1000, 0},
                           {0, 1010, -10},
                           {0xFFFFFFFF, 0xFFFFFFFF, 1001},
                           {0, 0x80000000, INT_MIN + 1000}};
    Image image = reply(std::size(rows), 0, 1000);
    std::string expected = counts(std::size(rows), 0) + kColumns;
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        record(image, i, 4, 4, 0x12, rows[i].firstTime, rows[i].stamp);
        expected += line("%zu \t198.51.100.7:50000 \t10.0.0.5:443 \t192.0.2.1 \t0x12 \tESTBD \tESTBD \t%d \tA\n", i,
                         rows[i].age);
    }
    executor::answer(39, replyImage(image));
    EXPECT_EQ(dump(1), expected);
}

// A mark of 0 ends its row: the next one follows directly.
TEST_F(ConnectionsTest, Marks) {
    Image image = reply(4, 0, 1000);
    const char marks[] = {' ', '\0', '~', '\0'};
    for (std::size_t i = 0; i < 4; ++i)
        record(image, i, 4, 4, 0x12, 1, 995, marks[i]);
    executor::answer(39, replyImage(image));
    const auto start = [](int i) { return row(i, "ESTBD", "ESTBD").substr(0, row(i, "ESTBD", "ESTBD").size() - 2); };
    EXPECT_EQ(dump(1), counts(4, 0) + kColumns + start(0) + " \n" + start(1) + start(2) + "~\n" + start(3));
}

// Such a byte is no text to the Java VM, which makes of it what it can.
TEST_F(ConnectionsTest, AMarkThatIsNoCharacterHarmsNoOtherRow) {
    for (const int mark : {0x80, 0xC3, 0xE2, 0xFF}) {
        executor::reset();
        Image image = reply(2, 0, 1000);
        record(image, 0, 4, 4, 0x12, 1, 995, static_cast<char>(mark));
        record(image, 1, 4, 4);
        executor::answer(39, replyImage(image));
        const std::string report = dump(1);
        const std::string first = row(0, "ESTBD", "ESTBD");
        const std::string before = counts(2, 0) + kColumns + first.substr(0, first.size() - 2);
        EXPECT_EQ(report.substr(0, before.size()), before) << mark;
        EXPECT_NE(report.find("\n1 \t198.51.100.7:50000 \t10.0.0.5:443 \t192.0.2.1 \t0x12 \tESTBD \tESTBD \t5 \tA"),
                  std::string::npos)
            << mark;
    }
}

// --- Many records ----------------------------------------------------------------------------------------------------

struct ManyConnectionsTest : ConnectionsTest {
    // A block full of records whose rows are as long as rows can be.
    static Image full(uint32_t count) {
        Image image = reply(count, 0, 0x80000000);
        for (std::size_t i = 0; i < 1599; ++i) {
            record(image, i, 4, static_cast<uint8_t>(i % 12), 0xFF, 1, 0, 'Z');
            image.hex(32 + 40 * i, "ffffffffffffffffffffffff").hex(32 + 40 * i + 28, "fffffffe");
        }
        return image;
    }

    static Names pieces(int count, int rows) {
        Names result = {line("Number of connection records = %d\n", count), "Num nps = 0\n", kColumns};
        for (int i = 0; i < rows; ++i)
            result.push_back(line("%d \t255.255.255.255:65535 \t255.255.255.255:65535 \t255.255.255.254 \t0xFF \tESTBD"
                                  " \t%s \t-2147483648 \tZ\n",
                                  i, kStates[static_cast<std::size_t>(i % 12)].c_str()));
        return result;
    }
};

TEST_F(ManyConnectionsTest, AFullBlockGrowsTheReport) {
    executor::answer(39, replyImage(full(1599)));
    const Names expected = pieces(1599, 1599);
    EXPECT_EQ(dump(1), joined(expected));
    EXPECT_EQ(sizes, reportSizes(128016, expected));
    EXPECT_GT(sizes.size(), 3u);
    EXPECT_EQ(held, 0);
}

TEST_F(ManyConnectionsTest, NoMoreThanTheBlockHoldsIsRead) {
    for (const int count : {1600, 64000, INT_MAX}) {
        executor::reset();
        executor::answer(39, replyImage(full(static_cast<uint32_t>(count))));
        EXPECT_EQ(dump(1), joined(pieces(count, 1599)));
    }
}

TEST_F(ManyConnectionsTest, NegativeCountsReadNothing) {
    for (const int count : {-1, INT_MIN}) {
        executor::reset();
        executor::answer(39, replyImage(full(static_cast<uint32_t>(count))));
        EXPECT_EQ(dump(1), joined(pieces(count, 0)));
    }
}

// --- Memory ----------------------------------------------------------------------------------------------------------

TEST_F(ManyConnectionsTest, WithoutAReportThereIsNoText) {
    failing = 1;
    EXPECT_EQ(dump(1), "(null)");
    EXPECT_EQ(printed, "");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({39}));
}

// A line that finds no memory is lost; the report goes on with the next one, which asks for memory again.
TEST_F(ManyConnectionsTest, AReportThatCannotGrowOnceLacksOneLine) {
    failing = 2;
    executor::answer(39, replyImage(full(1599)));
    const Names all = pieces(1599, 1599);
    const Names expected = withoutFirstThatGrows(128016, all);
    std::vector<std::size_t> expectedSizes = reportSizes(128016, expected);
    expectedSizes.insert(expectedSizes.begin() + 1, reportSizes(128016, all)[1]); // wanted in vain
    EXPECT_EQ(dump(1), joined(expected));
    EXPECT_EQ(sizes, expectedSizes);
    EXPECT_EQ(held, 0);
}

TEST_F(ConnectionsTest, TheReportIsFreedWhenTheStringCannotBeMade) {
    executor::answer(39, replyImage(reply(0, 0, 0)));
    standardOutputOf([&] { EXPECT_EQ(withoutString([] { return askFor(1); }), "(null)"); });
    EXPECT_EQ(sizes.size(), 1u);
    EXPECT_EQ(held, 0);
}

} // namespace
