// Every native method with every one thing in it failing: each call of the JNI, each allocation, each send. Nothing
// crashes, nothing is kept, the status is the one that tells of it, and what is sent is whole.
#include "faults/world.h"
#include "harness/command_lengths.h"
#include "harness/system_calls.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <set>

namespace {

using fake_java::Failure;
using faults::Leaving;
using faults::Mode;
using faults::Outcome;
using faults::Scenario;
using faults::Stop;

// --- What is sent ----------------------------------------------------------------------------------------------------

void expectWhole(const executor::Bytes &block) {
    ASSERT_GE(block.size(), 16u);
    const std::optional<uint64_t> length = executor::lengthOf(block);
    ASSERT_TRUE(length) << "there is no such command\n" << executor::dump(block);
    EXPECT_EQ(block.size(), *length) << executor::dump(block);
}

// --- Runs ------------------------------------------------------------------------------------------------------------

// What fails in a run: the one of each that has this number, from 1; 0: none.
struct Fault {
    int call = 0;
    Failure how = Failure::exception;
    int allocation = 0;
    int send = 0;
    int sendError = 0; // of the ioctl; 0: the executor refuses, with reason -5
};

struct Report {
    Outcome outcome;
    std::string exception;
    std::vector<fake_java::Call> calls;
    int allocations;
};

int sends = 0;

// The device, when the run is in kernel mode: it performs a command like any other, but for the send that fails.
int answerIoctl(void *block, const Fault &fault) {
    executor::perform(static_cast<uint8_t *>(block));
    if (++sends != fault.send)
        return 0;
    const int32_t words[] = {-1, -5};
    memcpy(static_cast<uint8_t *>(block) + 4, words, sizeof(words));
    errno = fault.sendError;
    return fault.sendError == 0 ? 0 : -1;
}

std::string describe(const Scenario &scenario, const Fault &fault) {
    return scenario.native + "(" + scenario.way + ") with failing call " + std::to_string(fault.call) +
           (fault.how == Failure::silent ? " (silently)" : "") + ", allocation " + std::to_string(fault.allocation) +
           ", send " + std::to_string(fault.send);
}

Report run(const Scenario &scenario, const Fault &fault, Mode mode) {
    SCOPED_TRACE(describe(scenario, fault));
    faults::beginWorld(mode);
    calls::onIoctl([&](void *block) { return answerIoctl(block, fault); });
    sends = 0;
    scenario.prepare();

    fake_java::beginCalls(fault.call, fault.how);
    calls::countAllocations(fault.allocation);
    const faults::Result result = scenario.call();
    Report made = {{result.text, executor::commandsSent()}, "", fake_java::callsMade(), calls::allocations()};
    faults::expectNothingLeft(scenario, result);
    for (const executor::Bytes &block : executor::sent())
        expectWhole(block);
    made.exception = fake_java::takeException();
    calls::reset();
    return made;
}

void expectOutcome(const Report &made, const Outcome &expected) {
    EXPECT_EQ(made.outcome.result, expected.result);
    EXPECT_EQ(made.outcome.commands, expected.commands);
}

// --- What is to come of a failing call -------------------------------------------------------------------------------

using Calls = std::vector<fake_java::Call>;

// Which of the calls with its function and member the call at `index` is, from 1.
int occurrence(const Calls &calls, std::size_t index) {
    int count = 0;
    for (std::size_t i = 0; i <= index; ++i)
        if (strcmp(calls[i].function, calls[index].function) == 0 && calls[i].member == calls[index].member)
            ++count;
    return count;
}

const Stop *stopAt(const Scenario &scenario, const Calls &calls, std::size_t index, Failure how) {
    const int number = occurrence(calls, index);
    const Leaving leaving = how == Failure::exception ? Leaving::exception : Leaving::nothing;
    for (const Stop &stop : scenario.stops)
        if (stop.function == calls[index].function && (stop.member == "*" || stop.member == calls[index].member) &&
            stop.first <= number && number <= stop.last && (stop.leaving == Leaving::either || stop.leaving == leaving))
            return &stop;
    return nullptr;
}

bool is(const fake_java::Call &call, const char *function) {
    return strcmp(call.function, function) == 0;
}

// With an exception pending, the next look for one that follows a step which can fail takes it for that step's.
const Stop *stopAtNextCheck(const Scenario &scenario, const Calls &calls, std::size_t index) {
    for (std::size_t check = index; check < calls.size(); ++check) {
        if (!is(calls[check], "ExceptionCheck"))
            continue;
        std::size_t step = check;
        while (step > 0 && (is(calls[step], "ExceptionCheck") || is(calls[step], "DeleteLocalRef")))
            --step;
        const Stop *stop = stopAt(scenario, calls, step, Failure::exception);
        if (stop != nullptr)
            return stop;
    }
    return nullptr;
}

const Outcome &outcomeOf(const Scenario &scenario, const Calls &calls, std::size_t index, Failure how) {
    const Stop *stop = stopAt(scenario, calls, index, how);
    if (stop == nullptr && how == Failure::exception)
        stop = stopAtNextCheck(scenario, calls, index);
    return stop == nullptr ? scenario.outcome : stop->outcome;
}

// Whether a failing call of this function has no way to leave without an exception.
bool failsSilently(const char *function) {
    for (const char *one : {"GetFieldID", "GetMethodID", "CallIntMethod", "CallVoidMethod", "CallObjectMethod",
                            "NewStringUTF", "GetStringUTFChars", "GetIntArrayElements"})
        if (strcmp(function, one) == 0)
            return true;
    return false;
}

// --- Tests -----------------------------------------------------------------------------------------------------------

TEST(FaultsTest, EveryNativeMethodHasItsScenario) {
    std::set<std::string> natives;
    for (const Scenario &scenario : faults::scenarios())
        if (scenario.native.find("Native") != std::string::npos)
            natives.insert(scenario.native);
    EXPECT_EQ(natives.size(), 96u);
}

TEST(FaultsTest, None) {
    for (const Mode mode : {Mode::user, Mode::kernel})
        for (const Scenario &scenario : faults::scenarios()) {
            SCOPED_TRACE(describe(scenario, {}));
            const Report made = run(scenario, {}, mode);
            expectOutcome(made, scenario.outcome);
            EXPECT_EQ(made.exception, "");
            EXPECT_EQ(made.allocations, static_cast<int>(scenario.allocations.size()));
            EXPECT_EQ(fake_java::accessesOfNothing(), (std::map<std::string, int>()));
        }
}

TEST(FaultsTest, EveryCallOfTheJni) {
    std::map<std::string, int> injected;
    for (const Mode mode : {Mode::user, Mode::kernel})
        for (const Scenario &scenario : faults::scenarios()) {
            const Calls clean = run(scenario, {}, mode).calls;
            for (std::size_t i = 0; i < clean.size(); ++i)
                for (const Failure how : {Failure::exception, Failure::silent}) {
                    if (how == Failure::silent && !failsSilently(clean[i].function))
                        continue;
                    const Fault fault = {.call = static_cast<int>(i + 1), .how = how};
                    SCOPED_TRACE(describe(scenario, fault) + ": " + clean[i].function + " " + clean[i].member);
                    const Report made = run(scenario, fault, mode);
                    ++injected[clean[i].function];
                    ASSERT_GT(made.calls.size(), i);
                    EXPECT_STREQ(made.calls[i].function, clean[i].function) << "another call failed";
                    expectOutcome(made, outcomeOf(scenario, clean, i, how));
                    // A later failure may replace the exception, nothing may clear it.
                    if (how == Failure::exception) {
                        EXPECT_NE(made.exception, "");
                    }
                }
        }
    for (const auto &[function, count] : injected)
        printf("%5d failing calls of %s\n", count, function.c_str());
}

TEST(FaultsTest, EveryAllocation) {
    int injected = 0;
    for (const Scenario &scenario : faults::scenarios())
        for (std::size_t i = 0; i < scenario.allocations.size(); ++i, ++injected) {
            const Fault fault = {.allocation = static_cast<int>(i + 1)};
            SCOPED_TRACE(describe(scenario, fault));
            const Report made = run(scenario, fault, Mode::user);
            expectOutcome(made, scenario.allocations[i]);
            EXPECT_EQ(made.exception, "");
        }
    printf("%5d failing allocations\n", injected);
}

TEST(FaultsTest, EverySend) {
    int injected = 0;
    for (const Scenario &scenario : faults::scenarios()) {
        EXPECT_EQ(scenario.refused.size(), scenario.outcome.commands.size()) << scenario.native;
        for (std::size_t i = 0; i < scenario.refused.size(); ++i)
            for (const int error : {0, EIO}) {
                const Fault fault = {.send = static_cast<int>(i + 1), .sendError = error};
                SCOPED_TRACE(describe(scenario, fault));
                const Report made = run(scenario, fault, Mode::kernel);
                const std::string raw = std::to_string(error == 0 ? -1 : error);
                EXPECT_EQ(made.outcome.result, scenario.refused[i] == "raw" ? raw : scenario.refused[i]);
                EXPECT_GE(made.outcome.commands.size(), i + 1);
                EXPECT_EQ(made.exception, "");
                ++injected;
            }
    }
    printf("%5d failing sends\n", injected);
}

} // namespace
