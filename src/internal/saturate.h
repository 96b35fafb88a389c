// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>

namespace vorn::common::internal {

/// a * b, or the end of the range on the side where the product lies.
[[nodiscard]] constexpr std::int64_t saturatingMultiply(std::int64_t a, std::int64_t b) noexcept {
    std::int64_t result = 0;
    if (!__builtin_mul_overflow(a, b, &result)) {
        return result;
    }
    return (a < 0) == (b < 0) ? std::numeric_limits<std::int64_t>::max()
                              : std::numeric_limits<std::int64_t>::min();
}

/// a + b, or the end of the range on the side where the sum lies.
[[nodiscard]] constexpr std::int64_t saturatingAdd(std::int64_t a, std::int64_t b) noexcept {
    std::int64_t result = 0;
    if (!__builtin_add_overflow(a, b, &result)) {
        return result;
    }
    return b < 0 ? std::numeric_limits<std::int64_t>::min()
                 : std::numeric_limits<std::int64_t>::max();
}

/// a - b, or the end of the range on the side where the difference lies.
[[nodiscard]] constexpr std::int64_t saturatingSubtract(std::int64_t a, std::int64_t b) noexcept {
    std::int64_t result = 0;
    if (!__builtin_sub_overflow(a, b, &result)) {
        return result;
    }
    return b < 0 ? std::numeric_limits<std::int64_t>::max()
                 : std::numeric_limits<std::int64_t>::min();
}

/// Milliseconds as nanoseconds, within their range.
[[nodiscard]] constexpr std::chrono::nanoseconds saturatingNanoseconds(
    std::chrono::milliseconds duration) noexcept {
    return std::chrono::nanoseconds(saturatingMultiply(duration.count(), 1'000'000));
}

/// from + duration, or the clock's first or last time point.
template <class Clock>
[[nodiscard]] constexpr std::chrono::time_point<Clock, std::chrono::nanoseconds> saturatingAdd(
    std::chrono::time_point<Clock, std::chrono::nanoseconds> from,
    std::chrono::nanoseconds duration) noexcept {
    return std::chrono::time_point<Clock, std::chrono::nanoseconds>(
        std::chrono::nanoseconds(saturatingAdd(from.time_since_epoch().count(), duration.count())));
}

/// to - from, within the range of nanoseconds.
template <class Clock>
[[nodiscard]] constexpr std::chrono::nanoseconds saturatingDifference(
    std::chrono::time_point<Clock, std::chrono::nanoseconds> to,
    std::chrono::time_point<Clock, std::chrono::nanoseconds> from) noexcept {
    return std::chrono::nanoseconds(
        saturatingSubtract(to.time_since_epoch().count(), from.time_since_epoch().count()));
}

}  // namespace vorn::common::internal
