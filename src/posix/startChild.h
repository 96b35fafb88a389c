// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "posix/Child.h"
#include "posix/inChild.h"

namespace vorn::common::internal {

class ExecImage;

/// Where a child's root lies: null for none, "/tmp/chroot" for an empty text.
[[nodiscard]] const char* rootOf(const std::optional<std::string>& directory) noexcept;

/// The command, behind "/usr/bin/cgexec" and a pair "-g", entry for each entry where control groups
/// are given.
[[nodiscard]] std::vector<std::string> commandIn(
    const std::optional<std::vector<std::string>>& controlGroups, std::vector<std::string> command);

/// Starts the program in a child that shares the parent's memory until execve, so that the cost
/// does not depend on the size of the parent; returns when the program runs or the child has ended.
/// The child ends with status 1 when the root cannot be entered or the program not be executed. It
/// has the caller's signal mask and a descriptor where the kernel gives one. None when there is no
/// further process or no memory for its stack.
[[nodiscard]] Child startChild(const ChildPlan& plan, const ExecImage& image) noexcept;

/// A plain fork whose child follows the plan and returns 0 into the caller's code; its id, or -1.
[[nodiscard]] pid_t forkChild(const ChildPlan& plan) noexcept;

}  // namespace vorn::common::internal
