// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include <vorn/common/export.h>

/// The words with which services log and report commands sent to devices:
///
///     log << "command " << toString(status);   // "command accepted"
///
/// The texts are part of the services' vocabulary and never change. Threads: everything here may
/// be called from any thread.
namespace vorn::common::command {

/// How urgent a command is; beside each enumerator its text.
enum class CommandSeverity : std::uint32_t {
    Normal = 0,     ///< "normal"
    Critical = 1,   ///< "critical"
    Emergency = 2,  ///< "emergency"
};

/// What the receiver of a command answered.
enum class CommandStatus : std::uint32_t {
    Unknown = 0,       ///< it is not known
    None = 1,          ///< nothing yet
    Acknowledged = 2,  ///< it arrived
    Accepted = 3,      ///< it will be carried out
    Rejected = 4,      ///< it will not
};

/// How far the execution of a command has come; beside each enumerator its text.
enum class CommandExecutionState : std::uint32_t {
    Unknown = 0,     ///< "unknown"
    None = 1,        ///< "none"
    Planned = 2,     ///< "planned"
    InProgress = 3,  ///< "in progress"
    Succeed = 4,     ///< "succeed"
    Aborted = 5,     ///< "aborted"
};

/// Returns "normal", "critical" or "emergency"; "undefined" for any other value.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(CommandSeverity severity);

/// Returns "unknown", "none", "acknowledged", "accepted" or "rejected"; "undefined" for any other
/// value.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(CommandStatus status);

/// Returns "unknown", "none", "planned", "in progress", "succeed" or "aborted"; "undefined" for any
/// other value.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(CommandExecutionState state);

}  // namespace vorn::common::command
