// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

#include <array>
#include <cstddef>
#include <type_traits>

namespace vorn::common::internal {

/// What a child does between its creation and execve. References what it points to.
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

struct DescriptorRange {
    int first;
    int last;
};

struct ClosedRanges {
    std::array<DescriptorRange, 5> ranges;
    std::size_t count = 0;
};

/// All that crosses from the parent to the child, prepared by the parent.
struct ChildOrders {
    ChildPlan plan;
    ClosedRanges closed;
    const sigset_t* mask;
    const char* path;
    char* const* argv;
    char* const* envp;
};

// The child reads it in memory that it may share with the parent: nothing in it may own, count
// references or run code when it is copied or goes away.
static_assert(std::is_trivially_copyable_v<ChildOrders> &&
              std::is_trivially_destructible_v<ChildOrders> &&
              std::is_standard_layout_v<ChildOrders>);

/// Follows the plan up to the root directory; ends the child with status 1 where that cannot be
/// entered.
void setUpChild(const ChildOrders& orders) noexcept;

/// The whole life of a child that shares its parent's memory, given its ChildOrders: sets up and
/// executes the program, or ends with status 1.
int runChild(void* orders) noexcept;

}  // namespace vorn::common::internal
