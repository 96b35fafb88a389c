// SPDX-License-Identifier: MIT
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/command/CommandResults.h>

namespace {

using namespace vorn::common::command;

template <class Enum>
struct Row {
    std::uint32_t number;
    Enum value;
    const char* text;
};

template <class Enum, std::size_t N>
void expectTexts(const Row<Enum> (&rows)[N]) {
    static_assert(std::is_same_v<std::underlying_type_t<Enum>, std::uint32_t>);
    for (const auto& row : rows) {
        EXPECT_EQ(static_cast<std::uint32_t>(row.value), row.number) << row.text;
        EXPECT_EQ(toString(row.value), row.text);
    }
    for (const std::uint32_t other : {static_cast<std::uint32_t>(N), 100u, 0xFFFFFFFFu}) {
        EXPECT_EQ(toString(Enum(other)), "undefined") << other;
    }
}

TEST(CommandResults, SeverityTexts) {
    expectTexts<CommandSeverity>({{0, CommandSeverity::Normal, "normal"},
                                  {1, CommandSeverity::Critical, "critical"},
                                  {2, CommandSeverity::Emergency, "emergency"}});
}

TEST(CommandResults, StatusTexts) {
    expectTexts<CommandStatus>({{0, CommandStatus::Unknown, "unknown"},
                                {1, CommandStatus::None, "none"},
                                {2, CommandStatus::Acknowledged, "acknowledged"},
                                {3, CommandStatus::Accepted, "accepted"},
                                {4, CommandStatus::Rejected, "rejected"}});
}

TEST(CommandResults, ExecutionStateTexts) {
    expectTexts<CommandExecutionState>({{0, CommandExecutionState::Unknown, "unknown"},
                                        {1, CommandExecutionState::None, "none"},
                                        {2, CommandExecutionState::Planned, "planned"},
                                        {3, CommandExecutionState::InProgress, "in progress"},
                                        {4, CommandExecutionState::Succeed, "succeed"},
                                        {5, CommandExecutionState::Aborted, "aborted"}});
}

}  // namespace
