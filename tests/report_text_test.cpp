// Report texts that grow, and lists that are split.
#include "harness/library_test.h"

#include "library/support/CMNImpUtils.h"

#include <cstdlib>
#include <cstring>

namespace {

struct ReportTextTest : LibraryTest {};

char *heapText(std::size_t size, const std::string &text) {
    char *block = static_cast<char *>(malloc(size));
    memcpy(block, text.c_str(), text.size() + 1);
    return block;
}

TEST_F(ReportTextTest, AppendsWithinTheBuffer) {
    char *text = heapText(10, "abc");
    char *before = text;
    std::size_t size = 10;
    EXPECT_EQ(appendbuffer(&text, "defghi", &size), 0); // 3 + 6 + 1 = 10: just fits
    EXPECT_EQ(text, before);
    EXPECT_EQ(size, 10u);
    EXPECT_STREQ(text, "abcdefghi");
    free(text);
}

TEST_F(ReportTextTest, GrowsByTheRule) {
    char *text = heapText(10, "abc");
    std::size_t size = 10;
    calls::countAllocations();
    EXPECT_EQ(appendbuffer(&text, "defghij", &size), 0); // one byte more than fits
    EXPECT_EQ(size, 3u + 7 + 10001);
    EXPECT_EQ(calls::allocationSizes(), std::vector<std::size_t>({10011}));
    EXPECT_STREQ(text, "abcdefghij");
    EXPECT_EQ(appendbuffer(&text, "k", &size), 0);
    EXPECT_EQ(calls::allocations(), 1); // room again
    EXPECT_STREQ(text, "abcdefghijk");
    calls::reset();
    free(text);
}

TEST_F(ReportTextTest, WithoutMemoryTheTextStaysAndTheSizeIsTheWantedOne) {
    char *text = heapText(10, "abc");
    char *before = text;
    std::size_t size = 10;
    calls::countAllocations(1);
    EXPECT_EQ(appendbuffer(&text, "defghij", &size), -1);
    calls::reset();
    EXPECT_EQ(text, before);
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(size, 10011u);
    free(text);
}

TEST_F(ReportTextTest, ReportsFollowTheSameRule) {
    char *text = heapText(100, "");
    std::size_t size = 100;
    rk::ReportText report;
    EXPECT_TRUE(rk::openReport(report, 100));
    for (int i = 0; i < 5000; ++i) {
        const std::string piece(static_cast<std::size_t>(i % 90), static_cast<char>('a' + i % 26));
        EXPECT_EQ(appendbuffer(&text, piece.c_str(), &size), 0);
        EXPECT_EQ(rk::appendText(report, piece.c_str()), 0);
        EXPECT_EQ(report.size, size);
        EXPECT_EQ(report.length, strlen(text));
    }
    EXPECT_STREQ(report.text, text);
    free(text);
    rk::closeReport(report);
}

TEST_F(ReportTextTest, AReportThatCannotBeOpenedOrGrown) {
    rk::ReportText report;
    calls::countAllocations(1);
    EXPECT_FALSE(rk::openReport(report, 100));
    calls::reset();
    ASSERT_TRUE(rk::openReport(report, 4));
    EXPECT_EQ(rk::appendText(report, "abc"), 0);
    calls::countAllocations(1);
    EXPECT_EQ(rk::appendText(report, "d"), -1);
    EXPECT_STREQ(report.text, "abc");
    EXPECT_EQ(report.length, 3u);
    EXPECT_EQ(rk::appendText(report, ""), 0);
    calls::reset();
    rk::closeReport(report);
}

TEST_F(ReportTextTest, LinesAreFormattedAndCut) {
    rk::ReportText report;
    ASSERT_TRUE(rk::openReport(report, 10));
    EXPECT_EQ(rk::appendLine(report, "%s = %d\n", "count", 7), 0);
    EXPECT_STREQ(report.text, "count = 7\n");
    const std::string longText(300, 'x');
    EXPECT_EQ(rk::appendLine(report, "%s", longText.c_str()), 0);
    EXPECT_EQ(report.length, 10u + 255);
    rk::closeReport(report);
}

// A line that would need exactly the room that is left, one byte less, one byte more: the text and the growth are the
// same whether it is formatted in place or not.
TEST_F(ReportTextTest, LinesGrowByTheRule) {
    for (const std::size_t room : {std::size_t{255}, std::size_t{256}, std::size_t{257}}) {
        for (const std::size_t wanted : {std::size_t{254}, std::size_t{255}, std::size_t{256}, std::size_t{300}}) {
            SCOPED_TRACE(std::to_string(wanted) + " characters, room for " + std::to_string(room));
            rk::ReportText report;
            ASSERT_TRUE(rk::openReport(report, 5 + room));
            ASSERT_EQ(rk::appendText(report, "12345"), 0);
            const std::string line(std::min<std::size_t>(wanted, 255), 'x');
            EXPECT_EQ(rk::appendLine(report, "%s", std::string(wanted, 'x').c_str()), 0);
            EXPECT_EQ(report.text, "12345" + line);
            EXPECT_EQ(report.length, 5 + line.size());
            EXPECT_EQ(report.size, line.size() + 1 > room ? 5 + line.size() + 10001 : 5 + room);
            rk::closeReport(report);
        }
    }
}

TEST_F(ReportTextTest, ReportsReachJavaAndAreFreed) {
    calls::countAllocations();
    rk::ReportText report;
    ASSERT_TRUE(rk::openReport(report, 10));
    rk::appendText(report, "a report");
    EXPECT_EQ(java::text(rk::reportToJava(java::env(), report)), "a report");
    EXPECT_EQ(calls::blocksHeld(), 0);

    jobject buffer = java::make("java/lang/StringBuffer");
    ASSERT_TRUE(rk::openReport(report, 10));
    rk::appendText(report, "+one");
    rk::appendReportToJava(java::env(), buffer, report);
    EXPECT_EQ(java::takeException(), "");
    EXPECT_EQ(java::text(buffer), "+one");
    EXPECT_EQ(calls::blocksHeld(), 0);
}

TEST_F(ReportTextTest, NothingIsAppendedWhenTheStringCannotBeMade) {
    jobject buffer = java::make("java/lang/StringBuffer");
    calls::countAllocations();
    rk::ReportText report;
    ASSERT_TRUE(rk::openReport(report, 10));
    {
        java::PatchedEnv patched;
        patched.functions.NewStringUTF = [](JNIEnv *, const char *) -> jstring { return nullptr; };
        rk::appendReportToJava(java::env(), buffer, report);
    }
    EXPECT_EQ(java::text(buffer), "");
    EXPECT_EQ(calls::blocksHeld(), 0);
}

struct ListRow {
    const char *list;
    std::vector<std::string> tokens; // empty: the list is refused
};

TEST_F(ReportTextTest, SplitsLists) {
    const ListRow rows[] = {{"a", {"a"}},
                            {"a,b", {"a", "b"}},
                            {",,a,,b", {"a", "b"}},
                            {"one,two,three", {"one", "two", "three"}},
                            {"", {}},
                            {",", {}},
                            {",,,", {}},
                            {"a,", {}},
                            {"a,b,,", {}}};
    for (const ListRow &row : rows) {
        std::string list = row.list;
        char **tokens = nullptr;
        const int32_t count = filterlist(list.data(), &tokens, ',', 0);
        EXPECT_EQ(count, row.tokens.empty() ? -1 : static_cast<int32_t>(row.tokens.size())) << row.list;
        for (std::size_t i = 0; i < row.tokens.size(); ++i)
            EXPECT_STREQ(tokens[i], row.tokens[i].c_str()) << row.list;
        free(tokens);
    }
}

TEST_F(ReportTextTest, SplitsAtTheGivenSeparatorFromTheGivenDepth) {
    char list[] = "a,b;c";
    char **tokens = nullptr;
    EXPECT_EQ(filterlist(list, &tokens, ';', 2), 4); // two places are kept for the caller's own tokens
    EXPECT_STREQ(tokens[2], "a,b");
    EXPECT_STREQ(tokens[3], "c");
    free(tokens);
}

TEST_F(ReportTextTest, ALongListIsSplitWithoutDeepRecursion) {
    std::string list = "x";
    for (int i = 1; i < 1000000; ++i)
        list += ",x";
    char **tokens = nullptr;
    EXPECT_EQ(filterlist(list.data(), &tokens, ',', 0), 1000000);
    EXPECT_STREQ(tokens[999999], "x");
    free(tokens);
}

TEST_F(ReportTextTest, WithoutMemoryForTheTokens) {
    char list[] = "a,b";
    char **tokens = nullptr;
    calls::countAllocations(1);
    EXPECT_EQ(filterlist(list, &tokens, ',', 0), -28);
    calls::reset();
    EXPECT_STREQ(list, "a"); // split already
}

} // namespace
