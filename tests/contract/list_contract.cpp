#include "contract/list_contract.h"

#include <cstring>

// Not every program has lists of every sort.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ListAfterReportContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ListOfNamesContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ListOfClusterContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ListOfPortContract);

namespace {

constexpr std::size_t kFirstText = 10000; // bytes that a list's text begins with
constexpr std::size_t kGrowth = 10001;    // that it has more than it needs when it grows

// The list text of these names.
std::string joined(const Names &names) {
    std::string result;
    for (const std::string &name : names)
        result += "+" + name;
    return result;
}

// An entry's name as the block holds it.
void putName(uint8_t *place, const List &row, const std::string &name) {
    if (row.width > 0) {
        memcpy(place, name.c_str(), std::min(name.size() + 1, row.width));
        return;
    }
    const int port = std::stoi(name);
    place[0] = static_cast<uint8_t>(port >> 8);
    place[1] = static_cast<uint8_t>(port);
}

} // namespace

void ListTest::SetUp() {
    LibraryTest::SetUp();
    list = java::make("java/lang/StringBuffer");
}

jint ListTest::counted(const std::function<jint()> &ask) {
    jint status = 0;
    calls::countAllocations(failing);
    references = java::referencesKept([&] { status = ask(); });
    held = calls::blocksHeld();
    sizes = calls::allocationSizes();
    calls::countAllocations();
    return status;
}

void ListTest::expectNothingHeld() const {
    EXPECT_EQ(held, 0);
    EXPECT_EQ(references, 0u);
}

void ListContract::SetUp() {
    ListTest::SetUp();
    cluster = java::makeString("web");
}

void ListContract::give(const Names &names, int32_t replied) {
    const List &row = GetParam();
    row.count(static_cast<uint32_t>(names.size()));
    executor::answer(row.method.command, [=](uint8_t *block, uint32_t length) {
        for (std::size_t i = 0; i < names.size() && row.nameAt + row.stride * i + row.width <= length; ++i)
            putName(block + row.nameAt + row.stride * i, row, names[i]);
        memcpy(block + row.countAt, &replied, sizeof(replied));
        return 0;
    });
}

void ListContract::give(const Names &names) {
    give(names, static_cast<int32_t>(names.size()));
}

jint ListContract::ask(jint port) {
    return counted([&] { return GetParam().ask(list, cluster, port); });
}

void ListContract::expectNoList(jint status, const std::vector<int32_t> &commands, jint port) {
    EXPECT_EQ(ask(port), status);
    EXPECT_EQ(executor::commandsSent(), commands);
    EXPECT_EQ(java::text(list), "");
    expectNothingHeld();
}

namespace {

// The commands that asking sends before the list's own.
std::vector<int32_t> commandsBefore(const List &row) {
    if (row.report == nullptr)
        return {};
    int32_t command = 0;
    memcpy(&command, row.report().bytes.data(), sizeof(command));
    return {command};
}

std::vector<int32_t> commandsOf(const List &row) {
    std::vector<int32_t> commands = commandsBefore(row);
    commands.push_back(row.method.command);
    return commands;
}

std::size_t blockBytes(const List &row, std::size_t entries) {
    return row.request(0).bytes.size() + row.stride * entries;
}

// What is sent for so many entries, which are still empty.
Image blockFor(const List &row, uint32_t entries) {
    Image image = row.request(entries);
    image.bytes.resize(blockBytes(row, entries));
    return image.header(row.method.command, static_cast<uint32_t>(image.bytes.size()));
}

} // namespace

// --- Every list ------------------------------------------------------------------------------------------------------

TEST_P(ListContract, NamesFollowOneAnotherEachLedByAPlus) {
    give({"80", "65535", "0"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+80+65535+0");
    EXPECT_EQ(executor::commandsSent(), commandsOf(GetParam()));
    expectNothingHeld();
}

TEST_P(ListContract, TheBlockIsSizedForTheEntries) {
    for (const uint32_t entries : {0u, 1u, 3u}) {
        executor::reset();
        give(Names(entries, "80"));
        EXPECT_EQ(ask(), 0);
        EXPECT_SENT(blockFor(GetParam(), entries));
        EXPECT_EQ(sizes, std::vector<std::size_t>({kFirstText, blockBytes(GetParam(), entries)}));
    }
}

TEST_P(ListContract, AppendsToWhatTheBufferHolds) {
    give({"80"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+80+80");
}

TEST_P(ListContract, NoEntriesGiveTheEmptyText) {
    give({});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "");
    expectNothingHeld();
}

TEST_P(ListContract, CountsOfTheReplyAreBelievedWithinTheRoomOrNotAtAll) {
    const std::pair<int32_t, const char *> rows[] = {
        {2, "+80+443"}, {0, ""}, {-1, ""}, {4, "+80+443+25"}, {2147483647, "+80+443+25"}};
    for (const auto &[replied, believed] : rows) {
        executor::reset();
        list = java::make("java/lang/StringBuffer");
        give({"80", "443", "25"}, replied);
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(java::text(list), GetParam().believesReply ? believed : "+80+443+25") << replied;
    }
}

// The length word tells fewer than 2^32 bytes.
TEST_P(ListContract, AnImpossibleNumberOfEntriesIsOutOfMemory) {
    const List &row = GetParam();
    const auto most = static_cast<uint32_t>((0xFFFFFFFF - blockBytes(row, 0)) / row.stride);
    for (const uint32_t entries : {0x7FFFFFFFu, most + 1}) {
        SCOPED_TRACE(entries);
        executor::reset();
        row.count(entries);
        expectNoList(-28, commandsBefore(row));
        EXPECT_EQ(sizes, std::vector<std::size_t>({kFirstText}));
    }
    executor::reset();
    row.count(most);
    failing = 2;
    expectNoList(-28, commandsBefore(row));
    EXPECT_EQ(sizes, std::vector<std::size_t>({kFirstText, blockBytes(row, most)}));
}

TEST_P(ListContract, ALongListGrowsTheText) {
    Names names;
    for (int i = 0; i < 5000; ++i)
        names.push_back(std::to_string(60000 + i)); // 6 characters each: 1666 fit into 10000, 3333 into the next size
    give(names);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), joined(names));
    EXPECT_EQ(sizes, std::vector<std::size_t>(
                         {kFirstText, blockBytes(GetParam(), 5000), 1666 * 6 + 6 + kGrowth, 3333 * 6 + 6 + kGrowth}));
    expectNothingHeld();
}

TEST_P(ListContract, MoreEntriesThanAHalfWordCounts) {
    constexpr std::size_t kEntries = 32769;
    give(Names(kEntries, "80"));
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list).size(), kEntries * 3);
}

TEST_P(ListContract, ATextThatJustFitsIsNotGrown) {
    Names names(1665, "60000");
    names.insert(names.end(), {"1234", "123"}); // 9999 characters and the terminator
    give(names);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), joined(names));
    EXPECT_EQ(sizes, std::vector<std::size_t>({kFirstText, blockBytes(GetParam(), 1667)}));
}

TEST_P(ListContract, ATextThatCannotGrowEndsTheListThere) {
    give(Names(3000, "60000"));
    failing = 3;
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), joined(Names(1666, "60000")));
    expectNothingHeld();
}

TEST_P(ListContract, ReasonsOfAFailedListBecomeStatusesWithTheEmptyText) {
    for (const ReasonRow &row : GetParam().statuses)
        for (const int32_t result : {-1, 19}) {
            SCOPED_TRACE(row.reason);
            executor::reset();
            GetParam().count(1);
            executor::answer(GetParam().method.command, executor::refuse(row.reason, result));
            expectNoList(row.status, commandsOf(GetParam()));
        }
}

TEST_P(ListContract, WithoutMemoryForTextOrBlock) {
    give({"80"});
    failing = 1;
    expectNoList(-28, {});
    failing = 2;
    expectNoList(-28, commandsBefore(GetParam()));
}

TEST_P(ListContract, WithoutMemoryForTheStringNothingIsAppended) {
    give({"80"});
    java::PatchedEnv patched;
    patched.functions.NewStringUTF = [](JNIEnv *, const char *) -> jstring { return nullptr; };
    expectNoList(0, commandsOf(GetParam()));
}

TEST_P(ListContract, NullIsNamed) {
    GetParam().count(1);
    GetParam().ask(nullptr, cluster, 80);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: list");
    EXPECT_TRUE(executor::sent().empty());
}

// --- Lists of some sorts ---------------------------------------------------------------------------------------------

TEST_P(ListAfterReportContract, TheReportIsAskedForFirst) {
    give({"80"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(executor::dump(executor::sent()[0]), executor::dump(GetParam().report().bytes));
}

TEST_P(ListAfterReportContract, AFailedReportIsReturnedAsItIs) {
    for (const int32_t result : {-1, 17, -2}) {
        executor::reset();
        executor::answer(commandsBefore(GetParam())[0], executor::refuse(-5, result));
        expectNoList(result, commandsBefore(GetParam()));
    }
}

TEST_P(ListAfterReportContract, ANegativeNumberOfEntriesIsOutOfMemory) {
    for (const uint32_t entries : {0xFFFFFFFFu, 0x80000000u}) {
        executor::reset();
        GetParam().count(entries);
        expectNoList(-28, commandsBefore(GetParam()));
        EXPECT_EQ(sizes, std::vector<std::size_t>({kFirstText}));
    }
}

TEST_P(ListOfNamesContract, NamesAreAnyText) {
    give({"alpha", "a b", "100%s"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+alpha+a b+100%s");
}

TEST_P(ListOfNamesContract, NamesWithoutTerminatorEndWithTheirEntry) {
    const std::string name(GetParam().width, 'n');
    give({name, "beta"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+" + name + "+beta");
}

TEST_P(ListOfClusterContract, WithoutIdentifierNothingIsSent) {
    give({"80"});
    {
        const java::FailingCharacters noCharacters(1);
        expectNoList(-99, {});
    }
    cluster = nullptr;
    expectNoList(-99, {});
}

TEST_P(ListOfClusterContract, UpperAndLowerCaseAreOneCluster) {
    give({"80"});
    cluster = java::makeString("WeB");
    EXPECT_EQ(ask(), 0);
    EXPECT_SENT(blockFor(GetParam(), 1));
}

TEST_P(ListOfPortContract, PortsGoFrom0To65535) {
    give({"80"});
    for (const jint port : {-1, 65536, 65616, -2147483647 - 1, 2147483647})
        expectNoList(-10, {}, port);
    for (const auto &[port, bytes] : {std::pair(0, "0000"), {65535, "ffff"}, {258, "0102"}}) {
        EXPECT_EQ(ask(port), 0);
        EXPECT_SENT(blockFor(GetParam(), 1).hex(20, bytes));
    }
}
