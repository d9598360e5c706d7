// The trace log of the executor.
#include "harness/reports.h"

#include "library/channel/channel.h"

#include <climits>

namespace {

const std::string kBanner = "EXECUTOR LOGGING COMMANDS SHOULD BE USED FOR DEBUGGING\n"
                            "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.  THESE\n"
                            "COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n";

constexpr char kGivesString[] = "()Ljava/lang/String;";
constexpr char kIntGivesString[] = "(I)Ljava/lang/String;";
constexpr char kIntsGiveString[] = "(II)Ljava/lang/String;";

struct TraceLogTest : ReportTest {
    std::string head(jint size, jint second) {
        return counted([=] { return java::callObject("xlogheadNative", kIntsGiveString, size, second); });
    }

    std::string tail(jint size) {
        return counted([=] { return java::callObject("xlogtailNative", kIntGivesString, size); });
    }

    static std::string level(jint level) {
        return java::text(java::callObject("xloglevelNative", kIntGivesString, level));
    }

    static std::string filter(jint filter) {
        return java::text(java::callObject("xlogfilterNative", kIntGivesString, filter));
    }

    static std::string clear() {
        return java::text(java::callObject("xlogclearNative", kGivesString));
    }

    // The executor's log, with its terminator when there is room for it.
    static void log(const std::string &text) {
        for (const int command : {35, 36})
            executor::answer(command, [=](uint8_t *block, uint32_t length) {
                memcpy(block + 16, text.c_str(), std::min<std::size_t>(text.size() + 1, length - 16));
                return 0;
            });
    }

    static Image headImage(jint size, jint second) {
        Image image(64016);
        return image.header(35, 64016).word(24, static_cast<uint32_t>(size)).word(28, static_cast<uint32_t>(second));
    }

    static Image tailImage(jint size) {
        Image image(64016);
        return image.header(36, 64016).word(24, static_cast<uint32_t>(size));
    }
};

TEST_F(TraceLogTest, TheLengthOfTheWarning) {
    EXPECT_EQ(kBanner.size(), 154u);
}

TEST_F(TraceLogTest, LevelTravelsWithItsFlagAlone) {
    EXPECT_EQ(level(0x01020304), kBanner);
    EXPECT_SENT(Image(696).header(2, 696).word(20, 0x01020304).byte(629, 1));
    EXPECT_EQ(level(-1), kBanner);
    EXPECT_SENT(Image(696).header(2, 696).word(20, 0xFFFFFFFF).byte(629, 1));
}

TEST_F(TraceLogTest, FilterTravelsWithItsFlagAlone) {
    EXPECT_EQ(filter(0x01020304), kBanner);
    EXPECT_SENT(Image(696).header(2, 696).word(24, 0x01020304).byte(630, 1));
    EXPECT_EQ(filter(INT_MIN), kBanner);
    EXPECT_SENT(Image(696).header(2, 696).word(24, 0x80000000).byte(630, 1));
}

TEST_F(TraceLogTest, LevelAndFilterLeaveWhatTheCommandBeforeLeft) {
    level(3);
    filter(4);
    EXPECT_SENT(Image(696).header(2, 696).word(20, 3).byte(629, 1).word(24, 4).byte(630, 1));
    executor::reset();
    filter(5);
    level(6);
    EXPECT_SENT(Image(696).header(2, 696).word(20, 6).byte(629, 1).word(24, 5).byte(630, 1));
    executor::reset();
    executor::answer(2, [](uint8_t *block, uint32_t) {
        block[629] = 0;
        block[630] = 77;
        return 0;
    });
    level(7);
    level(8);
    EXPECT_SENT(Image(696).header(2, 696).word(20, 8).byte(629, 1).byte(630, 77));
    filter(9);
    EXPECT_SENT(Image(696).header(2, 696).word(20, 8).byte(629, 0).word(24, 9).byte(630, 1));
}

TEST_F(TraceLogTest, ClearSendsAHeader) {
    EXPECT_EQ(clear(), kBanner);
    EXPECT_SENT(Image(280).header(37, 280));
    EXPECT_EQ(executor::sent().size(), 1u);
}

TEST_F(TraceLogTest, RefusalsAreNotReported) {
    for (const int command : {2, 37})
        executor::answer(command, executor::refuse(-5));
    EXPECT_EQ(level(1), kBanner);
    EXPECT_EQ(filter(1), kBanner);
    EXPECT_EQ(clear(), kBanner);
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({2, 2, 37}));
}

TEST_F(TraceLogTest, HeadAsksForASizeAndPassesItsSecondValueOn) {
    log("one\ntwo\n");
    EXPECT_EQ(head(500, 7), kBanner + "one\ntwo\n");
    EXPECT_SENT(headImage(500, 7));
    EXPECT_EQ(sizes, std::vector<std::size_t>({154 + 500 + 1024}));
    EXPECT_EQ(held, 0);
    executor::reset();
    head(1, INT_MIN);
    EXPECT_SENT(headImage(1, INT_MIN));
}

TEST_F(TraceLogTest, TailAsksForASizeAlone) {
    log("one\ntwo\n");
    EXPECT_EQ(tail(500), kBanner + "one\ntwo\n");
    EXPECT_SENT(tailImage(500));
    EXPECT_EQ(sizes, std::vector<std::size_t>({154 + 500}));
    EXPECT_EQ(held, 0);
}

TEST_F(TraceLogTest, SizeZeroIsTenThousand) {
    head(0, 0);
    EXPECT_SENT(headImage(10000, 0));
    EXPECT_EQ(sizes, std::vector<std::size_t>({154 + 10000 + 1024}));
    executor::reset();
    tail(0);
    EXPECT_SENT(tailImage(10000));
    EXPECT_EQ(sizes, std::vector<std::size_t>({154 + 10000}));
}

TEST_F(TraceLogTest, AnEmptyLogIsTheWarning) {
    log("");
    EXPECT_EQ(head(500, 0), kBanner);
    EXPECT_EQ(tail(500), kBanner);
}

TEST_F(TraceLogTest, TextsStayWithinTheirBuffers) {
    const std::string longest(10 + 1024 - 1, 'h');
    log(longest);
    EXPECT_EQ(head(10, 0), kBanner + longest);
    executor::reset();
    log(longest + "x");
    EXPECT_EQ(head(10, 0), kBanner + longest);
    executor::reset();
    log("123456789");
    EXPECT_EQ(tail(10), kBanner + "123456789");
    executor::reset();
    log("1234567890");
    EXPECT_EQ(tail(10), kBanner + "123456789");
    EXPECT_EQ(tail(1), kBanner);
}

TEST_F(TraceLogTest, ATextWithoutATerminatorEndsWithTheBlock) {
    const std::string text(64000, 't');
    log(text + "beyond");
    EXPECT_EQ(head(100000, 0), kBanner + text);
    EXPECT_EQ(tail(100000), kBanner + text);
    EXPECT_EQ(tail(64001), kBanner + text);
    EXPECT_EQ(tail(64000), kBanner + text.substr(1));
}

TEST_F(TraceLogTest, AFailedCommandGivesWhatStandsInTheBlock) {
    for (const int command : {35, 36})
        executor::answer(command, executor::refuse(-5));
    memcpy(ucb.logRequest.text, "old log", 8);
    EXPECT_EQ(head(500, 7), kBanner + "old log");
    EXPECT_EQ(tail(500), kBanner + "old log");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({35, 36}));
}

TEST_F(TraceLogTest, WithoutAnExecutorTheTextsAreTheSame) {
    prv_giKVAServerModality = 0;
    calls::device(calls::Device::absent);
    EXPECT_EQ(level(1), kBanner);
    EXPECT_EQ(filter(1), kBanner);
    EXPECT_EQ(clear(), kBanner);
    memcpy(ucb.logRequest.text, "old log", 8);
    EXPECT_EQ(head(500, 7), kBanner + "old log");
    EXPECT_EQ(tail(500), kBanner + "old log");
    EXPECT_EQ(calls::deviceCalls(), Names({"open 2", "open 2", "open 2", "open 2", "open 2"}));
}

TEST_F(TraceLogTest, WithoutMemoryNothingIsAsked) {
    failing = 1;
    for (const jint size : {0, 1, 500, INT_MAX}) {
        EXPECT_EQ(head(size, 7), "(null)") << size;
        EXPECT_EQ(tail(size), "(null)") << size;
    }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(TraceLogTest, HugeSizesAreAllocatedAsTheyAre) {
    failing = 1;
    head(INT_MAX, 7);
    EXPECT_EQ(sizes, std::vector<std::size_t>({std::size_t{INT_MAX} + 154 + 1024}));
    tail(INT_MAX);
    EXPECT_EQ(sizes, std::vector<std::size_t>({std::size_t{INT_MAX} + 154}));
}

// What a negative size leaves of a buffer holds the beginning of the warning.
TEST_F(TraceLogTest, NegativeSizesAreNotRejected) {
    log("log");
    EXPECT_EQ(head(-1, 7), kBanner + "log");
    EXPECT_SENT(headImage(-1, 7));
    EXPECT_EQ(sizes, std::vector<std::size_t>({154 - 1 + 1024}));
    EXPECT_EQ(head(-1024, 7), kBanner.substr(0, 153));
    EXPECT_EQ(head(-1177, 7), "");
    EXPECT_SENT(headImage(-1177, 7).text(16, "log"));
    EXPECT_EQ(tail(-1), kBanner.substr(0, 152));
    EXPECT_EQ(tail(-153), "");
    EXPECT_EQ(sizes, std::vector<std::size_t>({1}));
    EXPECT_EQ(executor::sent().size(), 5u);
}

TEST_F(TraceLogTest, NoBufferMeansNoText) {
    for (const jint size : {-1178, -1179, INT_MIN})
        EXPECT_EQ(head(size, 7), "(null)") << size;
    for (const jint size : {-154, -155, -1178, INT_MIN})
        EXPECT_EQ(tail(size), "(null)") << size;
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(held, 0);
}

TEST_F(TraceLogTest, BuffersAreFreedWhenTheStringCannotBeMade) {
    log("log");
    EXPECT_EQ(withoutString([] { return java::callObject("xlogheadNative", kIntsGiveString, 500, 7); }), "(null)");
    EXPECT_EQ(sizes.size(), 1u);
    EXPECT_EQ(held, 0);
    EXPECT_EQ(withoutString([] { return java::callObject("xlogtailNative", kIntGivesString, 500); }), "(null)");
    EXPECT_EQ(sizes.size(), 1u);
    EXPECT_EQ(held, 0);
}

} // namespace
