// The debug dump: the executor's counters and, for some sub-commands, a table behind them.
#include "harness/reports.h"

#include "library/aliasing/interface_list.h"
#include "library/channel/channel.h"
#include "library/diagnostics/debug_dump.h"

#include <climits>

extern "C" int32_t __real_getAddress(uint32_t address, char *text);

namespace {

const std::string kBanner = "XMISC COMMAND SHOULD BE USED FOR DEBUGGING\n"
                            "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
                            "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n";

// The words of the executor's counters are all different; a few are negative, as are some of the sums.
constexpr uint32_t counterAt(std::size_t offset) {
    return static_cast<uint32_t>(offset * 0x01000193 + 7);
}

// What these words read as.
const Names kCounters = {
    "Primary FSM:\n",
    "  CntRcv ............ 268441911 (0x10001937)\n",
    "  CntSnd ............ 335552387 (0x14001F83)\n",
    "  CntSndMisc ........ 402662863 (0x180025CF)\n",
    "  CntSndDbSyncRsp ... 469773339 (0x1C002C1B)\n",
    "  CntSndDbReach ..... 536883815 (0x20003267)\n",
    "  CntSndDbUpd ....... 603994291 (0x240038B3)\n",
    "  CntGratArp ........ 671104767 (0x28003EFF)\n",
    "  CntNoCRKeepAlive .. 738215243 (0x2C00454B)\n",
    "  CntNoCRBreak ...... 805325719 (0x30004B97)\n",
    "  CntNoServerInCR ... 872436195 (0x340051E3)\n",
    "  CntStateChanges ... 939546671 (0x3800582F)\n",
    "  CntSubStateChanges. 1006657147 (0x3C005E7B)\n",
    "  Timer2 ............ 1073767623 (0x400064C7)\n",
    "Backup FSM:\n",
    "  CntRcv ............ 1342209527 (0x50007DF7)\n",
    "  CntSnd ............ 1409320003 (0x54008443)\n",
    "  CntSndMisc ........ 1476430479 (0x58008A8F)\n",
    "  CntSndDbSyncRsp ... 1543540955 (0x5C0090DB)\n",
    "  CntSndDbReach ..... 1610651431 (0x60009727)\n",
    "  CntSndDbUpd ....... 1677761907 (0x64009D73)\n",
    "  CntGratArp ........ 1744872383 (0x6800A3BF)\n",
    "  CntNoCRKeepAlive .. 1811982859 (0x6C00AA0B)\n",
    "  CntNoCRBreak ...... 1879093335 (0x7000B057)\n",
    "  CntNoServerInCR ... 1946203811 (0x7400B6A3)\n",
    "  CntStateChanges ... 2013314287 (0x7800BCEF)\n",
    "  CntSubStateChanges. 2080424763 (0x7C00C33B)\n",
    "  Timer2 ............ -2147432057 (0x8000C987)\n",
    "Misc debug:\n",
    "  CntSndEncap ....... -1878990153          \n",
    "  CntRcvExcap ....... -1811879677          \n",
    "  CntNtStarTrue ..... -1744769201          \n",
    "  CntNtStarFalse .... -1677658725          \n",
    "  CntSloTimDec ...... -1610548249          \n",
    "  CntSloTimInc ...... -1543437773          \n",
    "  CntCPASrvMismatch . -1476327297          \n",
    "  TimeLastSlowTimeout -1409216821 (0xAC010ECB)\n",
    "  CntNoEphPortAvail . -1342106345          \n",
    "  CntNoNPSAvail ..... -1274995869          \n",
    "  CntNoCRAvail ...... -1207885393          \n",
    "  CntCRsIntactInCT .. -1140774917          \n",
    "  CntCRsFreedFromCT . -1073664441          \n",
    "  CntSndRstBadPkts... -1006553965          \n",
    "  CntNpsRcv ......... -939443489          \n",
    "  CntNpsGet ......... -872333013          \n",
    " (CntNpsInTotal ..... -1811776502)         \n",
    "  CntNpsFwd ......... -805222537          \n",
    "  CntNpsColoc ....... -738112061          \n",
    "  CntNpsFree ........ -671001585          \n",
    " (CntNpsOutTotal .... 2080631113)         \n",
    "  CntPktReas ........ -603891109          \n",
    "  CntFrgReas ........ -536780633          \n",
    "  CntFrgGC .......... -469670157          \n",
    "  TimeAsyncRstStart.. -402559681 (0xE8016D3F)\n",
    "  TimeAsyncRstStop... -335449205 (0xEC01738B)\n",
    "  CntAsyncRstQueued.. -268338729 (0xF00179D7)\n",
    "  CntAsyncRstSent.... -201228253 (0xF4018023)\n",
    "  TCP MSS ........... -134117777 \n",
    "  Checksum offload .. -67007301 (0xFC018CBB)\n",
    "  Arg28.............. 103175 (0x00019307)\n",
};

struct DebugDumpTest : ReportTest {
    void SetUp() override {
        ReportTest::SetUp();
        memset(&TheInterfaceList, 0, sizeof(TheInterfaceList));
        executor::answer(53, replyImage(counters()));
    }

    void TearDown() override {
        memset(&TheInterfaceList, 0, sizeof(TheInterfaceList));
        ReportTest::TearDown();
    }

    static jobject askFor(jint subCommand, jint first = 0, jint second = 0, jint third = 0) {
        return java::callObject("xmiscNative", "(IIII)Ljava/lang/String;", subCommand, first, second, third);
    }

    std::string dump(jint subCommand) {
        return counted([=] { return askFor(subCommand); });
    }

    static Image counters() {
        Image image(280);
        for (std::size_t offset = 16; offset < 280; offset += 4)
            image.word(offset, counterAt(offset));
        return image;
    }

    // Banner, counters, and these pieces.
    static Names report(const Names &section) {
        Names pieces = {kBanner};
        pieces.insert(pieces.end(), kCounters.begin(), kCounters.end());
        pieces.insert(pieces.end(), section.begin(), section.end());
        return pieces;
    }

    void expectReport(jint subCommand, const Names &section) {
        const Names expected = report(section);
        EXPECT_EQ(dump(subCommand), joined(expected)) << subCommand;
        EXPECT_EQ(sizes, reportSizes(10000, expected));
        EXPECT_EQ(held, 0);
    }
};

// --- The request, and the counters -----------------------------------------------------------------------------------

TEST_F(DebugDumpTest, TheRequestTravels) {
    askFor(99, 0x01020304, -2, INT_MIN);
    Image image(280);
    image.header(53, 280).word(16, 99).word(20, 0x01020304).word(24, 0xFFFFFFFE).word(28, 0x80000000);
    EXPECT_SENT(image);
    EXPECT_EQ(executor::sent().size(), 1u);
}

TEST_F(DebugDumpTest, ARefusalIsAFixedText) {
    for (const int subCommand : {1, 8, 29, 30, 99})
        for (const int32_t result : {-1, 9}) {
            executor::reset();
            executor::answer(53, executor::refuse(-5, result));
            EXPECT_EQ(dump(subCommand), "Error with kernel.\n");
            EXPECT_TRUE(sizes.empty());
            EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({53}));
        }
}

TEST_F(DebugDumpTest, CountersAlone) {
    for (const int subCommand : {INT_MIN, -1, 0, 2, 3, 4, 5, 6, 7, 9, 13, 28, 29, 99}) {
        expectReport(subCommand, {});
        int32_t sent = 0;
        memcpy(&sent, executor::lastSent().data() + 16, sizeof(sent));
        EXPECT_EQ(sent, subCommand);
    }
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000}));
    for (const int32_t command : executor::commandsSent())
        EXPECT_EQ(command, 53);
}

TEST_F(DebugDumpTest, ActionsHaveNoReport) {
    for (const int subCommand : {30, 31, 42, 44, 84, 98, 100, INT_MAX}) {
        EXPECT_EQ(dump(subCommand), "OK\n") << subCommand;
        EXPECT_TRUE(sizes.empty());
    }
}

TEST_F(DebugDumpTest, ByteCountersAreWalkedInsteadOfADump) {
    EXPECT_EQ(dump(43), "OK (Output is in rkserver window.)\n");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({65}));
    executor::answer(65, executor::refuse(-5));
    EXPECT_EQ(dump(43), "OK (Output is in rkserver window.)\n");
}

TEST_F(DebugDumpTest, WithoutAReportThereIsNoText) {
    failing = 1;
    for (const int subCommand : {1, 29, 99})
        EXPECT_EQ(dump(subCommand), "(null)");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({53, 53, 53}));
}

TEST_F(DebugDumpTest, TheReportIsFreedWhenTheStringCannotBeMade) {
    EXPECT_EQ(withoutString([] { return askFor(0); }), "(null)");
    EXPECT_EQ(sizes.size(), 1u);
    EXPECT_EQ(held, 0);
}

// --- Sections --------------------------------------------------------------------------------------------------------

// A section that the executor is asked for with a command of its own.
struct Section {
    jint subCommand;
    int32_t command;
    uint32_t length;
    const char *error;
    int room; // entries that the record has room for
};

const Section kNetworkCards = {1, 55, 2132, "Error with kernel getting NIC info.\n", 33};
const Section kReturnAddresses = {10, 84, 2084, "Error with kernel getting RAT info.\n", 129};
const Section kConnectionLists = {11, 85, 8212, "Error with kernel getting CRLL info.\n", 256};
const Section kAffinityLists = {12, 86, 6164, "Error with kernel getting CRLL info.\n", 256};

struct DebugSectionTest : DebugDumpTest {
    // For each count that an executor may claim, the dump is `head` and the entries that the record has room for.
    void expectSection(const Section &section, void (*fill)(Image &image, std::size_t index),
                       std::string (*head)(int count), Names (*entry)(int index)) {
        for (const int count : {0, 1, 2, section.room - 1, section.room, section.room + 1, INT_MAX, -1, INT_MIN}) {
            executor::reset();
            executor::answer(53, replyImage(counters()));
            Image image(section.length);
            image.word(16, static_cast<uint32_t>(count));
            for (int i = 0; i < section.room; ++i)
                fill(image, static_cast<std::size_t>(i));
            executor::answer(section.command, replyImage(image));
            Names expected = {head(count)};
            for (int i = 0; i < std::min(count, section.room); ++i)
                for (const std::string &piece : entry(i))
                    expected.push_back(piece);
            expectReport(section.subCommand, expected);
        }
    }
};

// The block keeps what the counters left there.
TEST_F(DebugSectionTest, SectionsAreAskedForWithoutARequest) {
    for (const Section &section : {kNetworkCards, kReturnAddresses, kConnectionLists, kAffinityLists}) {
        executor::reset();
        executor::answer(53, replyImage(counters()));
        executor::answer(section.command, executor::refuse(-5));
        dump(section.subCommand);
        EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({53, section.command}));
        Image expected(section.length);
        const Image before = counters();
        std::copy(before.bytes.begin(), before.bytes.end(), expected.bytes.begin());
        EXPECT_SENT(expected.header(section.command, section.length));
    }
}

TEST_F(DebugSectionTest, ARefusedSectionIsALineOfTheReport) {
    for (const Section &section : {kNetworkCards, kReturnAddresses, kConnectionLists, kAffinityLists})
        for (const int32_t result : {-1, 9}) {
            executor::reset();
            executor::answer(53, replyImage(counters()));
            executor::answer(section.command, executor::refuse(-5, result));
            expectReport(section.subCommand, {section.error});
        }
}

TEST_F(DebugSectionTest, OneNetworkCard) {
    Image image(2132);
    image.word(16, 1).word(20, 0x0A000000).word(24, 0xFF000000).word(28, 0x0A010000).word(32, 0xFFFF0080);
    image.hex(36, "0a010203").text(40, "eth0").word(72, 0xABC).word(76, 0xFFFFFFFF).word(80, 0xFFFFFFFE);
    executor::answer(55, replyImage(image));
    EXPECT_EQ(dump(1), joined(report({"Number of NIC records = 1\n"
                                      "NIC 0:\n"
                                      " ia->ia_net ......... 10.0.0.0\n"
                                      " ia->ia_netmask ..... 255.0.0.0\n"
                                      " ia->ia_subnet ...... 10.1.0.0\n"
                                      " ia->ia_subnetmask .. 255.255.0.128\n"
                                      " ia->ia_addr ........ 10.1.2.3\n"
                                      " ifp->if_name ....... eth0\n"
                                      " ifp->if_unit ....... 0xABC\n"
                                      " ifp->if_flags ...... 0xFFFFFFFF\n"
                                      " ifp->if_mtu ........ -2\n"})));
}

TEST_F(DebugSectionTest, NetworkCards) {
    expectSection(
        kNetworkCards,
        [](Image &image, std::size_t i) {
            const std::size_t start = 20 + 64 * i;
            const auto number = static_cast<uint32_t>(i);
            image.word(start, 0x0A000000 + number).word(start + 4, 0xFF000000 + number);
            image.word(start + 8, 0x0A0A0000 + number).word(start + 12, 0xFFFF0000 + number);
            image.hex(start + 16, line("ac10%04zx", i)).text(start + 20, line("card%zu", i));
            image.word(start + 52, 0x100 + number).word(start + 56, 0x200 + number).word(start + 60, 1500 + number);
        },
        [](int count) { return line("Number of NIC records = %d\n", count); },
        [](int i) {
            return Names{line("NIC %d:\n", i),
                         line(" ia->ia_net ......... 10.0.0.%d\n", i),
                         line(" ia->ia_netmask ..... 255.0.0.%d\n", i),
                         line(" ia->ia_subnet ...... 10.10.0.%d\n", i),
                         line(" ia->ia_subnetmask .. 255.255.0.%d\n", i),
                         line(" ia->ia_addr ........ 172.16.0.%d\n", i),
                         line(" ifp->if_name ....... card%d\n", i),
                         line(" ifp->if_unit ....... 0x%X\n", 0x100u + static_cast<unsigned>(i)),
                         line(" ifp->if_flags ...... 0x%X\n", 0x200u + static_cast<unsigned>(i)),
                         line(" ifp->if_mtu ........ %d\n", 1500 + i)};
        });
}

TEST_F(DebugSectionTest, OneReturnAddress) {
    Image image(2084);
    image.word(16, 1).hex(20, "0a010203").word(24, 0xFFFFFFFD).hex(28, "c6336407").word(32, 0xFFFFFFFC);
    executor::answer(84, replyImage(image));
    EXPECT_EQ(dump(10), joined(report({"Number of RAT records = 1\n"
                                       "Return Address 0\n"
                                       " iaRar ........ 10.1.2.3\n"
                                       " ulRef......... -3\n"
                                       " iaFsm ........ 198.51.100.7\n"
                                       " Ports in use . -4\n"})));
}

TEST_F(DebugSectionTest, ReturnAddresses) {
    expectSection(
        kReturnAddresses,
        [](Image &image, std::size_t i) {
            const std::size_t start = 20 + 16 * i;
            const auto number = static_cast<uint32_t>(i);
            image.hex(start, line("0a00%04zx", i)).word(start + 4, 1000 + number);
            image.hex(start + 8, line("ac10%04zx", i)).word(start + 12, 2000 + number);
        },
        [](int count) { return line("Number of RAT records = %d\n", count); },
        [](int i) {
            return Names{line("Return Address %d\n", i), line(" iaRar ........ 10.0.0.%d\n", i),
                         line(" ulRef......... %d\n", 1000 + i), line(" iaFsm ........ 172.16.0.%d\n", i),
                         line(" Ports in use . %d\n", 2000 + i)};
        });
}

// The address and the port are in host order here, unlike everywhere else.
TEST_F(DebugSectionTest, OneConnectionList) {
    Image image(8212);
    image.word(16, 1).word(20, 0x0A010203).half(24, 0xFFFE).text(26, "active").word(36, 11).word(40, 12).word(44, 13);
    executor::answer(85, replyImage(image.word(48, 0xFFFFFFF2)));
    EXPECT_EQ(dump(11), joined(report({"Connection Record State LL Info.\n"
                                       "  Cluster:Port ............... 10.1.2.3:65534\n"
                                       "  Linked list ................ active\n"
                                       "  Timeout..................... -14\n"
                                       "  Current number of records .. 11\n"
                                       "  Number of stale records  ... 13\n"
                                       "  Number of records reused ... 12\n"})));
}

TEST_F(DebugSectionTest, ConnectionLists) {
    expectSection(
        kConnectionLists,
        [](Image &image, std::size_t i) {
            const std::size_t start = 20 + 32 * i;
            const auto number = static_cast<uint32_t>(i);
            image.word(start, 0xC0000200 + number).half(start + 4, static_cast<uint16_t>(8000 + i));
            image.text(start + 6, line("list%zu", i)).word(start + 16, 1000 + number).word(start + 20, 2000 + number);
            image.word(start + 24, 3000 + number).word(start + 28, 4000 + number);
        },
        [](int) { return std::string("Connection Record State LL Info.\n"); },
        [](int i) {
            return Names{line("  Cluster:Port ............... 192.0.2.%d:%d\n", i, 8000 + i),
                         line("  Linked list ................ list%d\n", i),
                         line("  Timeout..................... %d\n", 4000 + i),
                         line("  Current number of records .. %d\n", 1000 + i),
                         line("  Number of stale records  ... %d\n", 3000 + i),
                         line("  Number of records reused ... %d\n", 2000 + i)};
        });
}

// The address is in network order, the port in host order.
TEST_F(DebugSectionTest, OneAffinityList) {
    Image image(6164);
    image.word(16, 1).hex(20, "0a010203").half(24, 0xFFFE).word(28, 11).word(32, 12).word(36, 13);
    executor::answer(86, replyImage(image.word(40, 0xFFFFFFF2)));
    EXPECT_EQ(dump(12), joined(report({"Affinity Record LL Info.\n"
                                       "  Cluster:Port ................................... 10.1.2.3:65534\n"
                                       "  Current number of active affinity records ...... 11\n"
                                       "  Current number of non-active affinity records .. 12\n"
                                       "  Number of stale non-active records ............. 13\n"
                                       "  Number of records reused ....................... -14\n"})));
}

TEST_F(DebugSectionTest, AffinityLists) {
    expectSection(
        kAffinityLists,
        [](Image &image, std::size_t i) {
            const std::size_t start = 20 + 24 * i;
            const auto number = static_cast<uint32_t>(i);
            image.hex(start, line("c000%04zx", 0x200 + i)).half(start + 4, static_cast<uint16_t>(8000 + i));
            image.word(start + 8, 1000 + number).word(start + 12, 2000 + number);
            image.word(start + 16, 3000 + number).word(start + 20, 4000 + number);
        },
        [](int) { return std::string("Affinity Record LL Info.\n"); },
        [](int i) {
            return Names{line("  Cluster:Port ................................... 192.0.2.%d:%d\n", i, 8000 + i),
                         line("  Current number of active affinity records ...... %d\n", 1000 + i),
                         line("  Current number of non-active affinity records .. %d\n", 2000 + i),
                         line("  Number of stale non-active records ............. %d\n", 3000 + i),
                         line("  Number of records reused ....................... %d\n", 4000 + i)};
        });
}

TEST_F(DebugSectionTest, NamesWithoutATerminatorEndWithTheirFields) {
    Image cards(2132);
    cards.word(16, 1).text(40, std::string(32, 'c')).word(72, 0x41414141);
    executor::answer(55, replyImage(cards));
    EXPECT_NE(dump(1).find("\n ifp->if_name ....... " + std::string(32, 'c') + "\n ifp->if_unit"), std::string::npos);

    Image lists(8212);
    lists.word(16, 1).text(26, "0123456789").word(36, 0x41414141);
    executor::answer(85, replyImage(lists));
    EXPECT_NE(dump(11).find("\n  Linked list ................ 0123456789\n  Timeout"), std::string::npos);
}

TEST_F(DebugSectionTest, AReportThatCannotGrowOnceLacksOneLine) {
    failing = 2;
    Image image(8212);
    image.word(16, 256);
    for (std::size_t i = 0; i < 256; ++i) {
        image.word(20 + 32 * i, 0x0A000001).half(24 + 32 * i, 80).text(26 + 32 * i, "l");
        image.word(36 + 32 * i, 1)
            .word(40 + 32 * i, 2)
            .word(44 + 32 * i, 3)
            .word(48 + 32 * i, static_cast<uint32_t>(i));
    }
    executor::answer(85, replyImage(image));
    Names section = {"Connection Record State LL Info.\n"};
    for (int i = 0; i < 256; ++i)
        for (const std::string &piece :
             {std::string("  Cluster:Port ............... 10.0.0.1:80\n"),
              std::string("  Linked list ................ l\n"), line("  Timeout..................... %d\n", i),
              std::string("  Current number of records .. 1\n"), std::string("  Number of stale records  ... 3\n"),
              std::string("  Number of records reused ... 2\n")})
            section.push_back(piece);
    EXPECT_EQ(dump(11), joined(withoutFirstThatGrows(10000, report(section))));
    EXPECT_EQ(held, 0);
}

// --- The interface list ----------------------------------------------------------------------------------------------

struct DebugInterfaceListTest : DebugDumpTest {
    // The list as the library keeps it: a copy of what the executor gave.
    static void keep(const Image &list) {
        ASSERT_EQ(list.bytes.size(), sizeof(TheInterfaceList));
        memcpy(&TheInterfaceList, list.bytes.data(), list.bytes.size());
    }

    static Image full(int count) {
        Image list(5604);
        list.word(0, static_cast<uint32_t>(count));
        for (std::size_t i = 0; i < 100; ++i) {
            const std::size_t start = 4 + 56 * i;
            list.hex(start + 4, line("0a00%04zx", i)).hex(start + 24, line("ff00%04zx", i));
            list.hex(start + 28, line("0b00%04zx", i)).hex(start + 32, line("0c00%04zx", i));
            list.hex(start + 36, line("00a0b0c0d0%02zx", i)).text(start + 42, line("eth%zu", i));
            list.hex(start + 52, line("ac10%04zx", i));
        }
        return list;
    }

    static Names section(int count, int records) {
        Names pieces = {line("Interface List Info.\nNumber of records = %d.\n", count)};
        for (int i = 0; i < records; ++i) {
            pieces.push_back(line("Record %d:\n", i));
            pieces.push_back(line(" ip ................. 10.0.0.%d\n", i));
            pieces.push_back(line(" localip ............ 172.16.0.%d\n", i));
            pieces.push_back(line(" netmask ............ 255.0.0.%d\n", i));
            pieces.push_back(line(" netnumber .......... 11.0.0.%d\n", i));
            pieces.push_back(line(" broadcast .......... 12.0.0.%d\n", i));
            pieces.push_back(line(" mac ................ 0:A0:B0:C0:D0:%X\n", static_cast<unsigned>(i)));
            pieces.push_back(line(" name ............... eth%d\n", i));
        }
        return pieces;
    }
};

TEST_F(DebugInterfaceListTest, OneRecord) {
    Image list(5604);
    list.word(0, 1).hex(8, "0a000005").hex(28, "ffffff00").hex(32, "0a000000").hex(36, "0a0000ff");
    keep(list.hex(40, "0005fe10abff").text(46, "eth0:1").hex(56, "c6336407"));
    EXPECT_EQ(dump(8), joined(report({"Interface List Info.\n"
                                      "Number of records = 1.\n"
                                      "Record 0:\n"
                                      " ip ................. 10.0.0.5\n"
                                      " localip ............ 198.51.100.7\n"
                                      " netmask ............ 255.255.255.0\n"
                                      " netnumber .......... 10.0.0.0\n"
                                      " broadcast .......... 10.0.0.255\n"
                                      " mac ................ 0:5:FE:10:AB:FF\n"
                                      " name ............... eth0:1\n"})));
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({53}));
}

TEST_F(DebugInterfaceListTest, AsManyRecordsAsThereIsRoomFor) {
    for (const int count : {0, 1, 2, 99, 100, 101, INT_MAX, -1, INT_MIN}) {
        keep(full(count));
        expectReport(8, section(count, std::clamp(count, 0, 100)));
    }
    for (const int32_t command : executor::commandsSent())
        EXPECT_EQ(command, 53);
}

TEST_F(DebugInterfaceListTest, ANameWithoutATerminatorEndsWithItsField) {
    Image list = full(1);
    keep(list.text(46, "0123456789").hex(56, "41414141"));
    EXPECT_NE(dump(8).find("\n name ............... 0123456789\n"), std::string::npos);
    EXPECT_NE(dump(8).find("\n localip ............ 65.65.65.65\n"), std::string::npos);
}

// --- The walk over the byte counters ---------------------------------------------------------------------------------

Names &converted() {
    static Names addresses;
    return addresses;
}

struct ByteCountersTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        converted().clear();
    }
};

TEST_F(ByteCountersTest, TheBlockIsClearedAndSent) {
    EXPECT_EQ(printBytesInformation(), 0);
    Image image(64016);
    image.hex(16, std::string(std::size_t{2} * 64000, '0'));
    EXPECT_SENT(image.header(65, 64016));
    for (std::size_t i = 16; i < 64032; ++i)
        ASSERT_EQ(ucb.bytes[i], 0) << i;
    EXPECT_EQ(ucb.bytes[64032], 0xEE);
    EXPECT_EQ(converted(), Names());
}

TEST_F(ByteCountersTest, ARefusalIsReturnedAtOnce) {
    for (const int32_t result : {-1, 9, 4711}) {
        executor::reset();
        executor::answer(65, [=](uint8_t *block, uint32_t) {
            block[24] = 1;
            return result;
        });
        EXPECT_EQ(printBytesInformation(), result);
    }
    EXPECT_EQ(converted(), Names());
}

TEST_F(ByteCountersTest, ClustersWithTheirPortsWithTheirServers) {
    Image image(64016);
    // A cluster with two ports, of two servers and of none.
    image.word(24, 3).hex(80, "0a000001").word(92, 2);
    image.word(132 + 12, 2).hex(168, "0b000001").hex(188, "0b000002");
    image.word(208 + 12, 0);
    // A cluster without ports.
    image.hex(244, "0a000002").word(256, 0);
    // A cluster with a port of one server.
    image.hex(296, "0a000003").word(308, 1);
    image.word(348 + 12, 1).hex(384, "c6336407");
    executor::answer(65, replyImage(image));
    EXPECT_EQ(printBytesInformation(), 12);
    EXPECT_EQ(converted(), Names({"10.0.0.1", "11.0.0.1", "11.0.0.2", "10.0.0.2", "10.0.0.3", "198.51.100.7"}));
}

TEST_F(ByteCountersTest, TheResultIsThatOfTheLastAddress) {
    for (const auto &[digits, length] :
         {std::pair("00000000", 7), std::pair("0a000001", 8), std::pair("ffffffff", 15)}) {
        executor::reset();
        Image image(64016);
        image.word(24, 1).hex(80, digits).word(92, 0);
        executor::answer(65, replyImage(image));
        EXPECT_EQ(printBytesInformation(), length);
    }
    executor::reset();
    Image image(64016);
    image.word(24, 1).hex(80, "0a000001").word(92, 1).word(132 + 12, 0);
    executor::answer(65, replyImage(image));
    EXPECT_EQ(printBytesInformation(), 8);
    executor::reset();
    executor::answer(65, replyImage(Image(64016).word(24, 0)));
    EXPECT_EQ(printBytesInformation(), 0);
}

// Counts that the block cannot hold: the walk ends where the next entry would not be whole.
TEST_F(ByteCountersTest, TheWalkEndsWithTheBlock) {
    struct Row {
        uint32_t ports;    // of every cluster
        uint32_t servers;  // of every port
        std::size_t whole; // addresses in the block
    };
    // Clusters of 52 bytes; a cluster and ports of 36 bytes; a cluster, a port, and servers of 20 bytes.
    const Row rows[] = {{0, 0, 63936 / 52}, {0xFFFFFFFF, 0, 1}, {0xFFFFFFFF, 0xFFFFFFFF, 1 + (63936 - 52 - 36) / 20}};
    for (const Row &row : rows) {
        executor::reset();
        converted().clear();
        Image image(64016, 0);
        image.word(24, 0xFFFFFFFF);
        image.word(80 + 12, row.ports).word(132 + 12, row.servers);
        executor::answer(65, replyImage(image));
        EXPECT_EQ(printBytesInformation(), 7);
        EXPECT_EQ(converted(), Names(row.whole, "0.0.0.0"));
    }
}

TEST_F(ByteCountersTest, AReplyOfOnesEndsAsWell) {
    executor::answer(65, replyImage(Image(64016, 0xFF)));
    EXPECT_EQ(printBytesInformation(), 15);
    EXPECT_EQ(converted(), Names(1 + (63936 - 52 - 36) / 20, "255.255.255.255"));
}

// A cluster, four ports and 3187 servers are all that a block holds, to the last byte.
TEST_F(ByteCountersTest, AnEntryThatEndsWithTheBlockCounts) {
    for (const uint32_t servers : {3187u, 3188u}) {
        executor::reset();
        converted().clear();
        Image image(64016, 0);
        image.word(24, 2).word(80 + 12, 4).word(132 + 3 * 36 + 12, servers).hex(64016 - 20, "ffffffff");
        executor::answer(65, replyImage(image));
        EXPECT_EQ(printBytesInformation(), 15);
        EXPECT_EQ(converted().size(), 1u + 3187);
        EXPECT_EQ(converted().back(), "255.255.255.255");
    }
}

} // namespace

// Stands before getAddress for the walk, which shows nothing of what it does.
extern "C" int32_t __wrap_getAddress(uint32_t address, char *text) {
    const int32_t length = __real_getAddress(address, text);
    converted().emplace_back(text);
    return length;
}
