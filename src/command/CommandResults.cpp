// SPDX-License-Identifier: MIT
#include "vorn/common/command/CommandResults.h"

#include "internal/EnumTexts.h"

namespace vorn::common::command {
namespace {

using internal::EnumText;

constexpr std::array<EnumText<CommandSeverity>, 3> kSeverities{{
    {CommandSeverity::Normal, "normal"},
    {CommandSeverity::Critical, "critical"},
    {CommandSeverity::Emergency, "emergency"},
}};

constexpr std::array<EnumText<CommandStatus>, 5> kStatuses{{
    {CommandStatus::Unknown, "unknown"},
    {CommandStatus::None, "none"},
    {CommandStatus::Acknowledged, "acknowledged"},
    {CommandStatus::Accepted, "accepted"},
    {CommandStatus::Rejected, "rejected"},
}};

constexpr std::array<EnumText<CommandExecutionState>, 6> kExecutionStates{{
    {CommandExecutionState::Unknown, "unknown"},
    {CommandExecutionState::None, "none"},
    {CommandExecutionState::Planned, "planned"},
    {CommandExecutionState::InProgress, "in progress"},
    {CommandExecutionState::Succeed, "succeed"},
    {CommandExecutionState::Aborted, "aborted"},
}};

constexpr std::string_view kUndefined = "undefined";

}  // namespace

std::string toString(CommandSeverity severity) {
    return internal::textOf(kSeverities, severity, kUndefined);
}

std::string toString(CommandStatus status) {
    return internal::textOf(kStatuses, status, kUndefined);
}

std::string toString(CommandExecutionState state) {
    return internal::textOf(kExecutionStates, state, kUndefined);
}

}  // namespace vorn::common::command
