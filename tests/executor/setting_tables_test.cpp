// The tables of settings: which flag governs which value.
#include "executor/commands/command_table.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

namespace rk {
namespace {

constexpr int kHighestCommand = 100;

class SettingsOf : public testing::TestWithParam<const CommandRow *> {};

// No byte of a record belongs to two values, or to a value and a flag.
TEST_P(SettingsOf, aCommandAreApart) {
    const CommandRow &row = *GetParam();
    std::set<std::size_t> taken;
    for (const Setting &setting : row.settings) {
        EXPECT_GE(setting.value, sizeof(CommandHeader));
        EXPECT_LE(setting.value + setting.size, row.length);
        for (std::size_t at = setting.value; at < setting.value + setting.size; ++at)
            EXPECT_TRUE(taken.insert(at).second) << "byte " << at << " is in two values";
    }
    for (const Setting &setting : row.settings) {
        EXPECT_GE(setting.flag, sizeof(CommandHeader));
        EXPECT_FALSE(taken.contains(setting.flag)) << "the flag at " << setting.flag << " is in a value";
    }
}

TEST_P(SettingsOf, aCommandHaveAReasonWithTheirLimits) {
    for (const Setting &setting : GetParam()->settings) {
        const bool isLimited = setting.limits.low != Limits{}.low || setting.limits.high != Limits{}.high;
        EXPECT_EQ(isLimited, setting.limits.reason < 0) << "the value at " << setting.value;
        EXPECT_LE(setting.limits.low, setting.limits.high) << "the value at " << setting.value;
    }
}

std::vector<const CommandRow *> commandsWithSettings() {
    std::vector<const CommandRow *> rows;
    for (int code = 1; code < kHighestCommand; ++code) {
        const CommandRow *row = findCommand(Command{code});
        if (row != nullptr && !row->settings.empty())
            rows.push_back(row);
    }
    return rows;
}

INSTANTIATE_TEST_SUITE_P(All, SettingsOf, testing::ValuesIn(commandsWithSettings()),
                         [](const auto &test) { return std::string(test.param->name); });

TEST(Settings, areThoseOfNineCommands) {
    EXPECT_EQ(commandsWithSettings().size(), 9U); // adding and changing, and changing the executor's own
}

} // namespace
} // namespace rk
