#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>

namespace vorn::common::internal {

/// Waits until the child has ended, without reaping it: its id stays taken. True as well when there
/// is nothing to wait for (the system or somebody else has reaped it).
bool waitForEnd(pid_t pid) noexcept;

/// The same, at most until `deadline`: false when the child has not ended by then. Looks at least
/// once.
[[nodiscard]] bool waitForEnd(pid_t pid, std::chrono::steady_clock::time_point deadline) noexcept;

/// The part of waitForEnd that serves where the kernel has no process descriptors (before
/// Linux 5.3): looks again and again, at most 20 ms apart.
[[nodiscard]] bool pollForEnd(pid_t pid, std::chrono::steady_clock::time_point deadline) noexcept;

/// Reaps a child that has ended: its exit status, or nothing when a signal ended it or there is
/// nothing to reap.
[[nodiscard]] std::optional<std::int32_t> reap(pid_t pid) noexcept;

}  // namespace vorn::common::internal
