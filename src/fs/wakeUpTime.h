// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>

namespace vorn::common::internal {

/// When a loop whose earliest deadline is `next` looks again: at the deadline, an hour ahead at
/// most. A deadline that has passed is one that could not be served, and is tried again in a
/// moment.
[[nodiscard]] constexpr std::chrono::steady_clock::time_point wakeUpTime(
    std::chrono::steady_clock::time_point next,
    std::chrono::steady_clock::time_point now) noexcept {
    // A user may keep an object for long: looking more often takes over 1 % of a processor.
    constexpr std::chrono::milliseconds kRetryPeriod(20);
    constexpr std::chrono::hours kLongestSleep(1);
    return next <= now ? now + kRetryPeriod : std::min(next, now + kLongestSleep);
}

}  // namespace vorn::common::internal
