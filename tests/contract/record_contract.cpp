#include "contract/record_contract.h"

#include <algorithm>

using values::Value;

// Not every program has methods of every sort.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(WritingContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ReadingContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PortContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ClusterContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RuleNameContract);

std::vector<Value> inOrderOfReading(const Settings &settings, const std::vector<Value> &others) {
    std::vector<Value> result;
    const auto addRead = [&](const std::vector<Value> &values) {
        std::copy_if(values.begin(), values.end(), std::back_inserter(result),
                     [](const Value &value) { return value.place > 0; });
    };
    addRead(others);
    for (const Setting &row : settings.rows)
        addRead(row.values);
    std::sort(result.begin(), result.end(), [](const Value &a, const Value &b) { return a.place < b.place; });
    return result;
}

std::vector<Setting> rowsOf(std::span<const OneValueSetting> settings) {
    std::vector<Setting> rows;
    for (const OneValueSetting &setting : settings)
        rows.push_back({setting.flag, {setting.value}});
    return rows;
}

// --- Writing ---------------------------------------------------------------------------------------------------------

namespace {

// The rows that are settings.
std::vector<Setting> flagged(const Settings &settings) {
    std::vector<Setting> result;
    std::copy_if(settings.rows.begin(), settings.rows.end(), std::back_inserter(result),
                 [](const Setting &row) { return row.flag.name != nullptr; });
    return result;
}

// The flags that may go back, in order.
std::vector<Flag> flagsBack(const Settings &settings) {
    std::vector<Flag> result = settings.otherFlags;
    for (const Setting &row : settings.rows)
        if (row.flag.back > 0)
            result.push_back(row.flag);
    std::sort(result.begin(), result.end(), [](const Flag &a, const Flag &b) { return a.back < b.back; });
    return result;
}

std::size_t givenSamples(const Setting &setting) {
    std::size_t most = 1;
    for (const Value &value : setting.values)
        most = std::max(most, values::givenSamples(value));
    return most;
}

// The values of one setting differ from each other.
void give(jobject object, const Setting &setting, std::size_t sample) {
    for (const Value &value : setting.values)
        values::give(object, value, sample++);
}

void expectGiven(Image &image, const Setting &setting, std::size_t sample) {
    image.byte(setting.flag.offset, 1);
    for (const Value &value : setting.values)
        values::expectGiven(image, value, sample++);
    if (setting.also != nullptr)
        setting.also(image);
}

// The fields that are looked up before the flags go back.
Names lookedUp(const Writing &writing, bool flagged) {
    Names names = writing.before;
    for (const Setting &row : writing.settings->rows) {
        if (row.flag.name != nullptr)
            names.emplace_back(row.flag.name);
        if (flagged || row.flag.name == nullptr)
            for (const Value &value : row.values)
                names.emplace_back(value.name);
    }
    return names;
}

void addNames(Names &names, const std::vector<Flag> &flags) {
    for (const Flag &flag : flags)
        names.emplace_back(flag.name);
}

} // namespace

void giveAll(jobject object, const Settings &settings) {
    std::size_t sample = 0;
    for (const Setting &setting : flagged(settings))
        give(object, setting, sample++);
    setFlags(object, settings, 1);
}

void expectAll(Image &image, const Settings &settings) {
    std::size_t sample = 0;
    for (const Setting &setting : flagged(settings))
        expectGiven(image, setting, sample++);
}

void setFlags(jobject object, const Settings &settings, int flag) {
    for (const Setting &setting : flagged(settings))
        java::setByte(object, setting.flag.name, flag);
}

void putFlags(Image &image, const Settings &settings, int flag) {
    for (const Setting &setting : flagged(settings))
        image.byte(setting.flag.offset, static_cast<uint8_t>(flag));
}

TEST_P(WritingContract, WithoutFlagsNoSettingTravels) {
    jobject object = GetParam().settings->make();
    giveAll(object, *GetParam().settings);
    setFlags(object, *GetParam().settings, 0);
    EXPECT_EQ(java::call(GetParam().method.name, object), 0);
    EXPECT_SENT(GetParam().nothingSet(GetParam().method.command));
    EXPECT_EQ(executor::sent().size(), 1u);
}

TEST_P(WritingContract, EachSettingTravelsAlone) {
    for (const Setting &setting : flagged(*GetParam().settings))
        for (std::size_t sample = 0; sample < givenSamples(setting); ++sample) {
            SCOPED_TRACE(std::string(setting.flag.name) + ", sample " + std::to_string(sample));
            executor::reset();
            const java::LocalFrame frame;
            jobject object = GetParam().settings->make();
            give(object, setting, sample);
            java::setByte(object, setting.flag.name, 1);
            EXPECT_EQ(java::call(GetParam().method.name, object), 0);
            Image image = GetParam().nothingSet(GetParam().method.command);
            expectGiven(image, setting, sample);
            EXPECT_SENT(image);
        }
}

TEST_P(WritingContract, AllSettingsTravelTogether) {
    jobject object = GetParam().settings->make();
    giveAll(object, *GetParam().settings);
    EXPECT_EQ(java::call(GetParam().method.name, object), 0);
    Image image = GetParam().nothingSet(GetParam().method.command);
    expectAll(image, *GetParam().settings);
    EXPECT_SENT(image);
}

TEST_P(WritingContract, OtherFlagValuesTravelWithoutTheirSettingAndStay) {
    for (const int flag : {2, -1, 127}) {
        executor::reset();
        jobject object = GetParam().settings->make();
        giveAll(object, *GetParam().settings);
        setFlags(object, *GetParam().settings, flag);
        EXPECT_EQ(java::call(GetParam().method.name, object), 0);
        Image image = GetParam().nothingSet(GetParam().method.command);
        putFlags(image, *GetParam().settings, flag);
        EXPECT_SENT(image);
        for (const Setting &setting : flagged(*GetParam().settings))
            EXPECT_EQ(java::getByte(object, setting.flag.name), flag) << setting.flag.name;
    }
}

TEST_P(WritingContract, FieldsAreLookedUpInOrder) {
    const Settings &settings = *GetParam().settings;
    jobject object = settings.make();
    giveAll(object, settings);
    Names expected = lookedUp(GetParam(), true);
    if (settings.goBack == FlagsGoBack::always)
        addNames(expected, flagsBack(settings));
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call(GetParam().method.name, object), 0); }), expected);
}

// The executor leaves a value of its own in each flag; one that does not go back keeps its own in Java.
TEST_P(WritingContract, FlagsGoBackAsTheExecutorLeavesThem) {
    const Settings &settings = *GetParam().settings;
    const std::vector<Flag> back = flagsBack(settings);
    for (const int32_t result : {0, -1}) {
        executor::reset();
        jobject object = settings.make();
        executor::answer(GetParam().method.command, [&](uint8_t *block, uint32_t) {
            for (const Setting &setting : flagged(*GetParam().settings))
                block[setting.flag.offset] = 101;
            for (std::size_t i = 0; i < back.size(); ++i)
                block[back[i].offset] = static_cast<uint8_t>(40 + i);
            return result;
        });
        const bool go =
            settings.goBack == FlagsGoBack::always || (settings.goBack == FlagsGoBack::whenRefused && result != 0);
        Names expected = lookedUp(GetParam(), false);
        if (go)
            addNames(expected, back);
        EXPECT_EQ(java::membersLookedUp([&] { java::call(GetParam().method.name, object); }), expected);
        for (std::size_t i = 0; go && i < back.size(); ++i)
            EXPECT_EQ(java::getByte(object, back[i].name), static_cast<int>(40 + i)) << back[i].name;
        for (const Setting &setting : flagged(*GetParam().settings))
            if (!go || setting.flag.back == 0) {
                EXPECT_EQ(java::getByte(object, setting.flag.name), 0) << setting.flag.name;
            }
    }
}

// --- Reading ---------------------------------------------------------------------------------------------------------

namespace {

// A reply in which every value holds its first sample.
Image firstSamples(const Reading &reading) {
    Image reply(reading.request(0).bytes.size(), 0xAA);
    if (reading.prepare != nullptr)
        reading.prepare(reply);
    for (const Value &value : reading.values)
        values::hold(reply, value, 0);
    return reply;
}

// An object with room for the bytes that are read.
jobject objectToRead(const Reading &reading) {
    jobject object = reading.make();
    for (const Value &value : reading.values)
        if (value.kind == values::Kind::bytes)
            java::setObject(object, value.name, "[B", java::makeByteArray(std::vector<int>(value.size)));
    return object;
}

// Whether this sample stands in the record.
bool stands(const Image &record, const Value &value, std::size_t sample) {
    Image again = record;
    values::hold(again, value, sample);
    return again.bytes == record.bytes;
}

} // namespace

TEST_P(ReadingContract, FieldsAreLookedUpInOrder) {
    executor::answer(GetParam().method.command, replyImage(firstSamples(GetParam())));
    jobject object = objectToRead(GetParam());
    Names expected = GetParam().keys;
    for (const Value &value : GetParam().values)
        expected.emplace_back(value.name);
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call(GetParam().method.name, object), 0); }), expected);
    EXPECT_SENT(GetParam().request(GetParam().method.command));
}

// Every sample of every value, with the first ones of the others around it.
TEST_P(ReadingContract, EachValueIsReadIntoItsField) {
    for (const Value &value : GetParam().values)
        for (std::size_t sample = 0; sample < values::heldSamples(value); ++sample) {
            SCOPED_TRACE(std::string(value.name) + ", sample " + std::to_string(sample));
            executor::reset();
            const java::LocalFrame frame;
            Image reply = firstSamples(GetParam());
            values::hold(reply, value, sample);
            executor::answer(GetParam().method.command, replyImage(reply));
            jobject object = objectToRead(GetParam());
            EXPECT_EQ(java::call(GetParam().method.name, object), 0);
            values::expectRead(object, value, sample);
            for (const Value &other : GetParam().values)
                if (other.name != value.name && stands(reply, other, 0))
                    values::expectRead(object, other, 0);
        }
}

TEST_P(ReadingContract, ARefusedReadTouchesNoField) {
    const auto &[reason, status] = GetParam().refusal;
    executor::answer(GetParam().method.command, executor::refuse(reason));
    jobject object = objectToRead(GetParam());
    EXPECT_EQ(
        java::membersLookedUp([&, status = status] { EXPECT_EQ(java::call(GetParam().method.name, object), status); }),
        GetParam().keys);
}

// --- Any method ------------------------------------------------------------------------------------------------------

namespace {

jint call(const Call &row, jobject object) {
    return row.call(row.method.name, object);
}

// The call is refused with this status, nothing is sent, and the last field that is looked up is `last`.
void expectRefused(const Call &row, jobject object, jint status, const char *last) {
    const Names names = java::membersLookedUp([&] { EXPECT_EQ(call(row, object), status); });
    ASSERT_FALSE(names.empty());
    EXPECT_EQ(names.back(), last);
    EXPECT_TRUE(executor::sent().empty());
}

// What stands at this offset of the block that was sent.
void expectSentAt(std::size_t offset, const std::string &hex) {
    Image expected(0);
    expected.bytes = executor::lastSent();
    EXPECT_SENT(expected.hex(offset, hex));
}

} // namespace

TEST_P(ObjectContract, NullIsNamed) {
    call(GetParam(), nullptr);
    EXPECT_EQ(java::takeException(), std::string("java.lang.NullPointerException: ") + GetParam().object);
    EXPECT_TRUE(executor::sent().empty());
}

// -1, or a positive error number of the device.
TEST_P(ObjectContract, ReasonsBecomeStatuses) {
    jobject object = GetParam().make();
    const bool raw = GetParam().statuses.empty();
    const std::vector<ReasonRow> rows = raw ? std::vector<ReasonRow>{{-5, 0}, {0, 0}} : GetParam().statuses;
    for (const ReasonRow &row : rows)
        for (const int32_t result : {-1, 9, 4711}) {
            executor::reset();
            executor::answer(GetParam().method.command, executor::refuse(row.reason, result));
            EXPECT_EQ(call(GetParam(), object), raw ? result : row.status) << row.reason;
            EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({GetParam().method.command}));
        }
    EXPECT_TRUE(calls::waits().empty());
}

TEST_P(PortContract, PortsGoFrom0To65535) {
    jobject object = GetParam().make();
    for (const auto &[port, bytes] : {std::pair(0, "0000"), {65535, "ffff"}, {258, "0102"}}) {
        executor::reset();
        if (GetParam().prepare != nullptr)
            GetParam().prepare();
        java::setInt(object, GetParam().port, port);
        EXPECT_EQ(call(GetParam(), object), 0) << port;
        expectSentAt(GetParam().portAt, bytes);
    }
    executor::reset();
    for (const jint port : {-1, 65536, 65616, -2147483647 - 1, 2147483647}) {
        SCOPED_TRACE(port);
        java::setInt(object, GetParam().port, port);
        expectRefused(GetParam(), object, -10, GetParam().port);
    }
}

namespace {

// Counts the fields that are looked up in its life.
struct CountedLookUps : java::PatchedEnv {
    CountedLookUps() {
        count = 0;
        below = functions.GetFieldID;
        functions.GetFieldID = [](JNIEnv *env, jclass type, const char *name, const char *descriptor) {
            ++count;
            return below(env, type, name, descriptor);
        };
    }

    static inline std::size_t count;
    static inline decltype(JNINativeInterface_::GetFieldID) below;
};

} // namespace

// It is refused just before the command would be sent: what is checked before has its own status.
TEST_P(ClusterContract, WithoutIdentifierNothingIsSent) {
    jobject object = GetParam().make();
    std::size_t lookUps = 0; // before the command is sent
    executor::answer(GetParam().method.command, [&](uint8_t *, uint32_t) {
        lookUps = CountedLookUps::count;
        return -1;
    });
    {
        const CountedLookUps counted;
        call(GetParam(), object);
    }
    const auto expectRefusal = [&] {
        executor::reset();
        const CountedLookUps counted;
        EXPECT_EQ(call(GetParam(), object), -99);
        EXPECT_EQ(CountedLookUps::count, lookUps);
        EXPECT_TRUE(executor::sent().empty());
    };
    {
        const java::FailingCharacters failing(GetParam().clusterId);
        expectRefusal();
    }
    java::setNull(object, "ClusterId", kStringType);
    expectRefusal();
}

TEST_P(RuleNameContract, NamesOf20BytesAreTheLongest) {
    // 20 bytes, of 20 characters and of fewer; and no bytes.
    for (const std::string &name : {std::string(20, 'n'),
                                    std::string("\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"
                                                "0123456789"),
                                    std::string()}) {
        executor::reset();
        jobject object = GetParam().make();
        java::setString(object, "RuleName", name);
        EXPECT_EQ(call(GetParam(), object), 0);
        Image expected(0);
        expected.bytes = executor::lastSent();
        EXPECT_SENT(expected.text(GetParam().nameAt, name));
        if (name.empty())
            continue;
        executor::reset();
        java::setString(object, "RuleName", name + "n");
        expectRefused(GetParam(), object, -51, "RuleName");
    }
}

TEST_P(RuleNameContract, WithoutNameNothingIsSent) {
    jobject object = GetParam().make();
    {
        const java::FailingCharacters failing(GetParam().clusterId + 1); // they are asked for next
        expectRefused(GetParam(), object, -51, "RuleName");
    }
    java::setNull(object, "RuleName", kStringType);
    expectRefused(GetParam(), object, -51, "RuleName");
}
