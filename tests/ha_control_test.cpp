// Changing the high-availability machine: what is sent, and what comes of it.
#include "harness/record_test.h"

#include "library/channel/channel.h"

namespace {

constexpr char kOneString[] = "(Ljava/lang/String;)I";
constexpr char kTwoStrings[] = "(Ljava/lang/String;Ljava/lang/String;)I";

// A text of Java, or none.
using Text = const char *;

jstring string(Text text) {
    return text == nullptr ? nullptr : java::makeString(text);
}

jint backupAdd(jint first, jint second, Text port) {
    const java::LocalFrame frame;
    return java::callInt("backupAddNative", "(IILjava/lang/String;)I", first, second, string(port));
}

jint backupDel() {
    return java::callInt("backupDelNative", "()I");
}

jint addReach(Text address, Text mask, jint argument) {
    const java::LocalFrame frame;
    return java::callInt("addReachNative", "(Ljava/lang/String;Ljava/lang/String;I)I", string(address), string(mask),
                         argument);
}

jint delReach(Text address) {
    const java::LocalFrame frame;
    return java::callInt("delReachNative", kOneString, string(address));
}

jint chgReach(jint first, jint second, jint third) {
    return java::callInt("chgReachNative", "(III)I", first, second, third);
}

jint addHeartbeat(Text first, Text second) {
    const java::LocalFrame frame;
    return java::callInt("addHBNative", kTwoStrings, string(first), string(second));
}

jint delHeartbeat(Text address) {
    const java::LocalFrame frame;
    return java::callInt("delHBNative", kOneString, string(address));
}

jint setTimers(const std::vector<Text> &texts) {
    const java::LocalFrame frame;
    constexpr char kSevenStrings[] = "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;"
                                     "Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;)I";
    return java::callInt("setTimersNative", kSevenStrings, string(texts.at(0)), string(texts.at(1)),
                         string(texts.at(2)), string(texts.at(3)), string(texts.at(4)), string(texts.at(5)),
                         string(texts.at(6)));
}

jint takeover(Text address) {
    const java::LocalFrame frame;
    return java::callInt("takeoverNative", kOneString, string(address));
}

const std::vector<Text> kTimers = {"1", "2", "3", "4", "5", "6", "7"};

// Every command with arguments that are good, and what it answers when the executor refuses.
struct Control {
    const char *name;
    jint (*perform)();
    int32_t command;
    jint refused;
};

const Control kControls[] = {
    {"backupAdd", [] { return backupAdd(1, 2, "80"); }, 40, 0},
    {"backupDel", [] { return backupDel(); }, 41, 0},
    {"addReach", [] { return addReach("10.0.0.5", "255.255.255.0", 3); }, 43, -34},
    {"delReach", [] { return delReach("10.0.0.5"); }, 44, -47},
    {"addHB", [] { return addHeartbeat("10.0.0.5", "10.0.0.6"); }, 45, -35},
    {"delHB", [] { return delHeartbeat("10.0.0.5"); }, 46, -47},
    {"chgReach", [] { return chgReach(1, 2, 3); }, 48, -99},
    {"setTimers", [] { return setTimers(kTimers); }, 50, -17},
    {"takeover", [] { return takeover("10.0.0.5"); }, 51, -36},
};

// Texts that are no address, in several ways.
const Text kNoAddresses[] = {nullptr, "", "absent.example", "1.2.3.256", "255.255.255.255", "10.0.0.5 ", "-1"};

Names stringEvents;
const JNINativeInterface_ *below;

// What the library does with the strings of Java while `action` runs: "+text" when it takes the characters, "-text"
// when it releases them, and "send" in between.
Names stringsUsed(int32_t command, const std::function<void()> &action) {
    stringEvents.clear();
    executor::answer(command, [](uint8_t *, uint32_t) {
        stringEvents.emplace_back("send");
        return 0;
    });
    java::PatchedEnv patched;
    below = patched.original;
    patched.functions.GetStringUTFChars = [](JNIEnv *e, jstring text, jboolean *copied) {
        const char *characters = below->GetStringUTFChars(e, text, copied);
        stringEvents.push_back(std::string("+") + characters);
        return characters;
    };
    patched.functions.ReleaseStringUTFChars = [](JNIEnv *e, jstring text, const char *characters) {
        stringEvents.push_back(std::string("-") + characters);
        below->ReleaseStringUTFChars(e, text, characters);
    };
    action();
    return stringEvents;
}

using HaControlTest = LibraryTest;

// --- What is sent ----------------------------------------------------------------------------------------------------

TEST_F(HaControlTest, BackupIsSent) {
    EXPECT_EQ(backupAdd(0x11121314, -2, "12345"), 0);
    EXPECT_SENT(Image(280).header(40, 280).word(20, 0x11121314).word(24, 0xFFFFFFFE).word(28, 12345));
    EXPECT_EQ(backupDel(), 0);
    EXPECT_SENT(Image(16).header(41, 16));
}

TEST_F(HaControlTest, ReachTargetsAreSent) {
    EXPECT_EQ(addReach("10.0.0.5", "255.255.255.0", -3), 0);
    EXPECT_SENT(Image(280).header(43, 280).hex(20, "0a000005").hex(24, "ffffff00").word(28, 0xFFFFFFFD));
    executor::reset();
    EXPECT_EQ(delReach("192.168.1.2"), 0);
    EXPECT_SENT(Image(280).header(44, 280).hex(20, "c0a80102"));
    executor::reset();
    EXPECT_EQ(chgReach(0x21222324, -1, 0x31323334), 0);
    EXPECT_SENT(Image(280).header(48, 280).word(20, 0x21222324).word(24, 0xFFFFFFFF).word(28, 0x31323334));
}

TEST_F(HaControlTest, HeartbeatsAreSent) {
    EXPECT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), 0);
    EXPECT_SENT(Image(280).header(45, 280).hex(20, "0a000005").hex(24, "0a000006"));
    executor::reset();
    EXPECT_EQ(delHeartbeat("10.0.0.7"), 0);
    EXPECT_SENT(Image(280).header(46, 280).hex(20, "0a000007"));
}

TEST_F(HaControlTest, TakeOverIsSent) {
    EXPECT_EQ(takeover("10.0.0.8"), 0);
    EXPECT_SENT(Image(280).header(51, 280).hex(20, "0a000008"));
}

TEST_F(HaControlTest, TimersAreCheckedAndNotSent) {
    EXPECT_EQ(setTimers({"0", "10", "2147483647", "", "007", "6", "7"}), 0);
    EXPECT_SENT(Image(16).header(50, 16));
    EXPECT_EQ(executor::sent().size(), 1u);
}

TEST_F(HaControlTest, NamesOfHostsAreResolved) {
    EXPECT_EQ(addReach("balancer.example", "0xffff0000", 1), 0);
    EXPECT_SENT(Image(280).header(43, 280).hex(20, "c0000207").hex(24, "ffff0000").word(28, 1));
    EXPECT_EQ(calls::namesResolved(), Names({"balancer.example"}));
}

TEST_F(HaControlTest, WhatACommandDoesNotWriteStays) {
    EXPECT_EQ(addReach("10.0.0.5", "255.255.255.0", 7), 0);
    EXPECT_EQ(takeover("10.0.0.8"), 0);
    EXPECT_SENT(Image(280).header(51, 280).hex(20, "0a000008").hex(24, "ffffff00").word(28, 7));
}

// --- Refusals --------------------------------------------------------------------------------------------------------

TEST_F(HaControlTest, RefusalsHaveTheirStatuses) {
    for (const Control &control : kControls)
        for (const int32_t result : {-1, 19, -4711}) {
            executor::reset();
            executor::answer(control.command, executor::refuse(-3, result));
            EXPECT_EQ(control.perform(), control.refused) << control.name << ' ' << result;
            EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({control.command}));
        }
}

TEST_F(HaControlTest, TwoReasonsAgainstAHeartbeatAreToldAsTheyAre) {
    const ReasonRow rows[] = {{-44, -44}, {-45, -45}, {-43, -35}, {-46, -35}, {-3, -35},
                              {-99, -35}, {0, -35},   {44, -35},  {45, -35},  {-35, -35}};
    for (const ReasonRow &row : rows)
        for (const int32_t result : {-1, 19}) {
            executor::reset();
            executor::answer(45, executor::refuse(row.reason, result));
            EXPECT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), row.status) << row.reason;
        }
}

TEST_F(HaControlTest, NoOtherCommandTellsThoseReasons) {
    for (const Control &control : kControls)
        if (control.command != 45) {
            executor::reset();
            executor::answer(control.command, executor::refuse(-44));
            EXPECT_EQ(control.perform(), control.refused) << control.name;
        }
}

TEST_F(HaControlTest, AReasonOfASuccessDoesNotMatter) {
    executor::answer(45, executor::reply({{8, static_cast<uint32_t>(-44)}}));
    EXPECT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), 0);
}

// --- Bad input -------------------------------------------------------------------------------------------------------

TEST_F(HaControlTest, ABackupPortIsANumberFrom1To65535) {
    for (const Text port :
         {"0", "65536", "", "8o", "-1", "+1", " 1", "1 ", "1.0", "0x50", "4294967376", "99999999999999999999"})
        EXPECT_EQ(backupAdd(1, 2, port), -10) << port;
    EXPECT_EQ(backupAdd(1, 2, std::string(5000, '9').c_str()), -10);
    EXPECT_EQ(backupAdd(1, 2, nullptr), -10);
    EXPECT_TRUE(executor::sent().empty());
    const std::pair<Text, uint32_t> good[] = {{"1", 1}, {"65535", 65535}, {"00080", 80}};
    for (const auto &[port, number] : good) {
        executor::reset();
        EXPECT_EQ(backupAdd(1, 2, port), 0) << port;
        EXPECT_SENT(Image(280).header(40, 280).word(20, 1).word(24, 2).word(28, number));
    }
}

// The arguments are stored before the port is looked at; the port itself only when it is good.
TEST_F(HaControlTest, ARefusedPortLeavesTheArgumentsInTheBlock) {
    EXPECT_EQ(backupAdd(0x11121314, 0x21222324, "0"), -10);
    EXPECT_EQ(backupAdd(0x11121314, 0x21222324, nullptr), -10);
    EXPECT_EQ(delReach("10.0.0.5"), 0);
    EXPECT_SENT(Image(280).header(44, 280).hex(20, "0a000005").word(24, 0x21222324));
}

TEST_F(HaControlTest, AddressesThatDoNotParseSendNothing) {
    for (const Text text : kNoAddresses) {
        const char *shown = text == nullptr ? "(null)" : text;
        EXPECT_EQ(addReach(text, "255.255.255.0", 1), -47) << shown;
        EXPECT_EQ(addReach("10.0.0.5", text, 1), -46) << shown;
        EXPECT_EQ(addReach(text, text, 1), -47) << shown;
        EXPECT_EQ(addHeartbeat(text, "10.0.0.6"), -46) << shown;
        EXPECT_EQ(addHeartbeat("10.0.0.5", text), -47) << shown;
        EXPECT_EQ(addHeartbeat(text, text), -46) << shown;
        EXPECT_EQ(delReach(text), -47) << shown;
        EXPECT_EQ(delHeartbeat(text), -47) << shown;
        EXPECT_EQ(takeover(text), -1) << shown;
    }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(HaControlTest, AddressesThatDoNotParseAreNotStored) {
    for (const Text text : {"absent.example", "255.255.255.255", ""}) {
        addReach("10.0.0.5", text, 1);
        addReach(text, "255.0.0.0", 1);
        addHeartbeat("10.0.0.5", text);
        addHeartbeat(text, "10.0.0.6");
        delReach(text);
        delHeartbeat(text);
        takeover(text);
        const executor::Bytes body(ucb.bytes + 16, ucb.bytes + 280);
        EXPECT_EQ(executor::dump(body), executor::dump(executor::Bytes(264, 0xEE))) << text;
    }
}

TEST_F(HaControlTest, TimersThatAreNoNumbersSendNothing) {
    const std::string endless(5000, '9');
    for (const Text bad : {"-1", "1s", " 1", "+1", "1.5", "0x10", "2147483648", "4294967297", "99999999999999999999",
                           endless.c_str(), Text(nullptr)})
        for (std::size_t i = 0; i < kTimers.size(); ++i) {
            std::vector<Text> timers = kTimers;
            timers[i] = bad;
            EXPECT_EQ(setTimers(timers), -6) << i << ' ' << (bad == nullptr ? "(null)" : bad);
        }
    EXPECT_TRUE(executor::sent().empty());
}

// --- Strings ---------------------------------------------------------------------------------------------------------

TEST_F(HaControlTest, EveryStringIsReleasedBeforeTheNextStep) {
    EXPECT_EQ(stringsUsed(43, [] { addReach("10.0.0.5", "255.0.0.0", 1); }),
              Names({"+10.0.0.5", "-10.0.0.5", "+255.0.0.0", "-255.0.0.0", "send"}));
    EXPECT_EQ(stringsUsed(45, [] { addHeartbeat("10.0.0.5", "10.0.0.6"); }),
              Names({"+10.0.0.5", "-10.0.0.5", "+10.0.0.6", "-10.0.0.6", "send"}));
    EXPECT_EQ(stringsUsed(40, [] { backupAdd(1, 2, "80"); }), Names({"+80", "-80", "send"}));
    EXPECT_EQ(stringsUsed(44, [] { delReach("10.0.0.5"); }), Names({"+10.0.0.5", "-10.0.0.5", "send"}));
    EXPECT_EQ(stringsUsed(46, [] { delHeartbeat("10.0.0.5"); }), Names({"+10.0.0.5", "-10.0.0.5", "send"}));
    EXPECT_EQ(stringsUsed(51, [] { takeover("10.0.0.5"); }), Names({"+10.0.0.5", "-10.0.0.5", "send"}));
    Names all;
    for (const Text timer : kTimers) {
        all.push_back(std::string("+") + timer);
        all.push_back(std::string("-") + timer);
    }
    all.emplace_back("send");
    EXPECT_EQ(stringsUsed(50, [] { setTimers(kTimers); }), all);
}

TEST_F(HaControlTest, BehindABadStringNoOtherIsLookedAt) {
    EXPECT_EQ(stringsUsed(50,
                          [] {
                              setTimers({"1", "2", "-1", "4", "5", "6", "7"});
                          }),
              Names({"+1", "-1", "+2", "-2", "+-1", "--1"}));
    EXPECT_EQ(stringsUsed(43, [] { addReach("1.2.3.256", "255.0.0.0", 1); }), Names({"+1.2.3.256", "-1.2.3.256"}));
    EXPECT_EQ(stringsUsed(45, [] { addHeartbeat("1.2.3.256", "10.0.0.6"); }), Names({"+1.2.3.256", "-1.2.3.256"}));
    EXPECT_EQ(stringsUsed(45, [] { addHeartbeat("10.0.0.6", ""); }), Names({"+10.0.0.6", "-10.0.0.6", "+", "-"}));
    EXPECT_EQ(stringsUsed(40, [] { backupAdd(1, 2, "x"); }), Names({"+x", "-x"}));
    EXPECT_EQ(stringsUsed(51, [] { takeover("1.2.3.256"); }), Names({"+1.2.3.256", "-1.2.3.256"}));
}

TEST_F(HaControlTest, CharactersThatCannotBeObtainedDoNotParse) {
    struct Row {
        jint (*perform)();
        int which; // the string that fails
        jint status;
    };
    const Row rows[] = {
        {[] { return backupAdd(1, 2, "80"); }, 1, -10},
        {[] { return addReach("10.0.0.5", "255.0.0.0", 1); }, 1, -47},
        {[] { return addReach("10.0.0.5", "255.0.0.0", 1); }, 2, -46},
        {[] { return addHeartbeat("10.0.0.5", "10.0.0.6"); }, 1, -46},
        {[] { return addHeartbeat("10.0.0.5", "10.0.0.6"); }, 2, -47},
        {[] { return delReach("10.0.0.5"); }, 1, -47},
        {[] { return delHeartbeat("10.0.0.5"); }, 1, -47},
        {[] { return takeover("10.0.0.5"); }, 1, -1},
        {[] { return setTimers(kTimers); }, 1, -6},
        {[] { return setTimers(kTimers); }, 7, -6},
    };
    for (const Row &row : rows) {
        const java::FailingCharacters failing(row.which);
        EXPECT_EQ(row.perform(), row.status) << row.which;
    }
    EXPECT_TRUE(executor::sent().empty());
}

} // namespace
