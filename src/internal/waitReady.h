// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <future>

namespace vorn::common::internal {

/// The instant `limit` from now on the monotonic clock: now for a negative limit, the clock's
/// greatest instant for one that it cannot count.
[[nodiscard]] inline std::chrono::steady_clock::time_point saturatingDeadline(
    std::chrono::milliseconds limit) noexcept {
    const auto now = std::chrono::steady_clock::now();
    if (limit <= std::chrono::milliseconds::zero()) {
        return now;
    }
    constexpr auto end = std::chrono::steady_clock::time_point::max();
    const auto representable = std::chrono::duration_cast<std::chrono::milliseconds>(end - now);
    return limit >= representable ? end : now + limit;
}

/// The time left until `deadline`, at least 0 and at most a day: a 32-bit time_t holds it, and a
/// wait that is repeated until the deadline loses nothing.
[[nodiscard]] inline std::chrono::steady_clock::duration waitSlice(
    std::chrono::steady_clock::time_point deadline) noexcept {
    using Duration = std::chrono::steady_clock::duration;
    const Duration left = deadline - std::chrono::steady_clock::now();
    return std::clamp<Duration>(left, Duration::zero(), std::chrono::hours(24));
}

/// Waits for `future`, at most `limit` of the monotonic clock; true when it is ready. Throws
/// std::future_error (no state) for a future without a shared state.
[[nodiscard]] inline bool waitReady(const std::future<void>& future,
                                    std::chrono::milliseconds limit) {
    const auto deadline = saturatingDeadline(limit);
    while (future.wait_for(waitSlice(deadline)) != std::future_status::ready) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
    }
    return true;
}

}  // namespace vorn::common::internal
