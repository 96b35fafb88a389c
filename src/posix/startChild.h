#pragma once

#include <sys/types.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace vorn::common::internal {

class ExecImage;

/// What a child does between its creation and execve. Everything is prepared by the parent, because
/// the child of a process with threads may not allocate. References what it points to.
struct ChildPlan {
    bool ownProcessGroup = false;
    /// Stay open although they lie in the range that is closed (3 to 4095), without close-on-exec;
    /// -1 means none.
    std::array<int, 4> keptDescriptors{-1, -1, -1, -1};
    /// Become the standard output and the standard error; -1 leaves the stream alone.
    int standardOutput = -1;
    int standardError = -1;
    /// The new root directory, or null.
    const char* root = nullptr;
};

/// Where a child's root lies: null for none, "/tmp/chroot" for an empty text.
[[nodiscard]] const char* rootOf(const std::optional<std::string>& directory) noexcept;

/// The command, behind "/usr/bin/cgexec" and a pair "-g", entry for each entry where control groups
/// are given.
[[nodiscard]] std::vector<std::string> commandIn(
    const std::optional<std::vector<std::string>>& controlGroups, std::vector<std::string> command);

/// Starts the program in a child that shares the parent's memory until execve, so that the cost
/// does not depend on the size of the parent. The child ends with status 1 when the root cannot be
/// entered or the program not be executed. It has the caller's signal mask. Returns its id, or -1.
[[nodiscard]] pid_t startChild(const ChildPlan& plan, const ExecImage& image) noexcept;

/// A plain fork whose child follows the plan and returns 0 into the caller's code.
[[nodiscard]] pid_t forkChild(const ChildPlan& plan) noexcept;

}  // namespace vorn::common::internal
