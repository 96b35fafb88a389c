// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>

#include "posix/Descriptor.h"

namespace vorn::common::internal {

/// A child of this process.
///
/// It is known by the descriptor that the kernel gave when it was made, which never means another
/// process; without one by its id, which another process may get as soon as somebody has reaped the
/// child. Whoever owns it keeps signalling and reaping apart.
class Child {
  public:
    using Clock = std::chrono::steady_clock;

    /// None.
    Child() = default;
    explicit Child(pid_t id, Descriptor process = Descriptor()) noexcept;

    [[nodiscard]] pid_t id() const noexcept { return id_; }
    [[nodiscard]] explicit operator bool() const noexcept { return id_ > 0; }

    /// Waits until it has ended, without reaping it: its id stays taken. Returns as well when there
    /// is nothing to wait for (the system or somebody else has reaped it).
    void waitForEnd() const noexcept;

    /// The same, at most until `deadline`: false when it has not ended by then. Looks at least
    /// once.
    [[nodiscard]] bool waitForEnd(Clock::time_point deadline) const noexcept;

    /// The part of waitForEnd that serves without a descriptor: looks again and again, at most
    /// 20 ms apart.
    [[nodiscard]] bool pollForEnd(Clock::time_point deadline) const noexcept;

    /// Reaps it once it has ended: its exit status, or nothing when a signal ended it or there is
    /// nothing to reap.
    [[nodiscard]] std::optional<std::int32_t> reap() const noexcept;

    /// Sends SIGKILL; nothing when it is known to be reaped.
    void kill() const noexcept;
    /// The same for the process group that it leads.
    void killGroup() const noexcept;

  private:
    [[nodiscard]] bool hasEnded(int options) const noexcept;
    /// False when it is known to be reaped.
    [[nodiscard]] bool signal(int number) const noexcept;

    pid_t id_ = -1;
    Descriptor process_;
};

/// Sends SIGKILL to whatever has this id now; 0 means the process group of the caller.
void killById(pid_t id) noexcept;

}  // namespace vorn::common::internal
