// Choosing the executor's module file: which commands run.
#include "harness/library_test.h"

#include "library/channel/module_file.h"

#include <climits>

namespace {

using Names = std::vector<std::string>;

constexpr char kGenericName[] = "/opt/qel/brev/xw/servers/bin/qelrk";
const std::string kCount = "popen r /bin/uname -a | /bin/grep -i smp | wc -l | awk '{print $1}'";
const std::string kLinkUp =
    "popen r /bin/ln -s /opt/qel/brev/xw/servers/bin/qelrk-up /opt/qel/brev/xw/servers/bin/qelrk";
const std::string kLinkSmp =
    "popen r /bin/ln -s /opt/qel/brev/xw/servers/bin/qelrk-smp /opt/qel/brev/xw/servers/bin/qelrk";
const std::string kTest = "popen r /usr/bin/test -L /opt/qel/brev/xw/servers/bin/qelrk && echo 1";
const std::string kRemove = "popen r /bin/rm /opt/qel/brev/xw/servers/bin/qelrk";
const std::string kClosed = "pclose";

constexpr calls::Stream kUnreadable = calls::Stream::unreadable;
constexpr calls::Stream kNotOpened = calls::Stream::notOpened;

struct ModuleFileTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        calls::device(calls::Device::absent, kGenericName);
    }

    // What runs in this mode when the first command ends so, and the second in the same or in another way.
    static Names run(int32_t mode, const calls::Outcome &first, const calls::Outcome &second = {}) {
        calls::onCommand([&, asked = 0](const std::string &) mutable { return ++asked == 1 ? first : second; });
        CMN_LinuxBinaryFile(mode);
        return calls::commands();
    }

    static calls::Outcome prints(const char *output) {
        return {.output = output};
    }
};

TEST_F(ModuleFileTest, AGenericNameThatOpensIsLeftAlone) {
    calls::device(calls::Device::present, kGenericName);
    EXPECT_EQ(run(1, prints("1\n")), Names());
    EXPECT_EQ(calls::deviceCalls(), Names({"open 2", "close 1000"}));
}

TEST_F(ModuleFileTest, TheCountOfTheKernelChoosesTheFile) {
    const std::pair<const char *, std::string> rows[] = {{"1\n", kLinkSmp}, {"2\n", kLinkSmp}, {"10\n", kLinkSmp},
                                                         {"1", kLinkSmp},   {"9\n", kLinkSmp}, {"0\n", kLinkUp},
                                                         {"0", kLinkUp},    {"01\n", kLinkUp}, {"", kLinkUp}};
    for (const auto &[output, link] : rows)
        EXPECT_EQ(run(1, prints(output)), Names({kCount, kClosed, link, kClosed})) << output;
    EXPECT_EQ(calls::deviceCalls(), Names(std::size(rows), "open 2"));
}

TEST_F(ModuleFileTest, WithoutCountItIsOneProcessor) {
    EXPECT_EQ(run(1, {.stream = kUnreadable, .output = ""}), Names({kCount, kClosed, kLinkUp, kClosed}));
    EXPECT_EQ(run(1, {.stream = kNotOpened, .output = ""}), Names({kCount, kLinkUp, kClosed}));
}

TEST_F(ModuleFileTest, ALinkThatCannotBeMadeIsNotTold) {
    EXPECT_EQ(run(1, prints("1\n"), {.stream = kNotOpened, .output = ""}), Names({kCount, kClosed, kLinkSmp}));
}

TEST_F(ModuleFileTest, ALinkIsRemoved) {
    EXPECT_EQ(run(2, prints("1\n")), Names({kTest, kClosed, kRemove, kClosed}));
    EXPECT_EQ(run(2, prints("1")), Names({kTest, kClosed, kRemove, kClosed}));
    EXPECT_EQ(calls::deviceCalls(), Names());
}

TEST_F(ModuleFileTest, WhatIsNoLinkIsLeftAlone) {
    for (const char *output : {"", "0\n", "\n", " 1\n", "2\n"})
        EXPECT_EQ(run(2, prints(output)), Names({kTest, kClosed})) << output;
    EXPECT_EQ(run(2, {.stream = kUnreadable, .output = ""}), Names({kTest, kClosed}));
    EXPECT_EQ(run(2, {.stream = kNotOpened, .output = ""}), Names({kTest}));
}

TEST_F(ModuleFileTest, ALinkThatCannotBeRemovedIsNotTold) {
    EXPECT_EQ(run(2, prints("1\n"), {.stream = kNotOpened, .output = ""}), Names({kTest, kClosed, kRemove}));
}

TEST_F(ModuleFileTest, OtherModesDoNothing) {
    for (const int32_t mode : {0, 3, -1, -2, 257, 258, INT_MAX, INT_MIN})
        EXPECT_EQ(run(mode, prints("1\n")), Names()) << mode;
    EXPECT_EQ(calls::deviceCalls(), Names());
}

} // namespace
