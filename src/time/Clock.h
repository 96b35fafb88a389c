// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace vorn::common::internal {

/// The clocks by which the timers live, so that tests can drive the time themselves.
class Clock {
  public:
    [[nodiscard]] virtual std::chrono::steady_clock::time_point steadyNow() = 0;
    [[nodiscard]] virtual std::chrono::system_clock::time_point systemNow() = 0;

    /// Waits for a notification or for the monotonic clock to reach `deadline`; may return early.
    virtual void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                           std::chrono::steady_clock::time_point deadline) = 0;

  protected:
    // Trivial, so that the operating system's clock outlives every static object.
    ~Clock() = default;
};

/// The operating system's clocks.
[[nodiscard]] Clock& operatingSystemClock() noexcept;

}  // namespace vorn::common::internal
