// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <iosfwd>
#include <limits>

#include <vorn/common/export.h>

namespace vorn::common::time {

/// A coarse duration: 0 to 4294967294 whole seconds, or infinite.
///
///     const SecondsDuration timeout(30);
///     condition.wait_until(lock, timeout.toTimepoint(std::chrono::steady_clock::now()));
///
/// A plain value: copied freely, never throws, and usable in constant expressions. INFINITE can be
/// used from the static initialisers of other files.
class SecondsDuration {
    // Stands before its callers: one compiler needs that in constant expressions.
    template <class TimePoint>
    [[nodiscard]] constexpr TimePoint add(TimePoint from) const noexcept {
        const std::chrono::nanoseconds duration(std::int64_t{seconds_} * 1'000'000'000);
        const bool fits = from.time_since_epoch().count() < 0 || duration < TimePoint::max() - from;
        return isInfinite() || !fits
                   ? TimePoint::max()
                   : from + std::chrono::duration_cast<typename TimePoint::duration>(duration);
    }

  public:
    /// The endless duration; its count is 4294967295 (all ones).
    static const SecondsDuration INFINITE;

    /// No seconds.
    constexpr SecondsDuration() noexcept = default;
    /// 4294967295 gives the infinite duration.
    constexpr explicit SecondsDuration(std::uint32_t seconds) noexcept : seconds_(seconds) {}

    /// Seconds; 4294967295 for the infinite duration.
    [[nodiscard]] constexpr std::uint32_t count() const noexcept { return seconds_; }
    /// Whether the count is 4294967295.
    [[nodiscard]] constexpr bool isInfinite() const noexcept {
        return seconds_ == std::numeric_limits<std::uint32_t>::max();
    }

    /// Turns a wait into a deadline: `from` plus this duration. An infinite duration, and a sum
    /// that would reach or pass the clock's largest time point, gives `time_point::max()`.
    /// @{
    [[nodiscard]] constexpr std::chrono::steady_clock::time_point toTimepoint(
        std::chrono::steady_clock::time_point from) const noexcept {
        return add(from);
    }
    [[nodiscard]] constexpr std::chrono::system_clock::time_point toTimepoint(
        std::chrono::system_clock::time_point from) const noexcept {
        return add(from);
    }
    /// @}

    /// By count, so that the infinite duration is the longest.
    friend constexpr auto operator<=>(const SecondsDuration&,
                                      const SecondsDuration&) noexcept = default;

  private:
    std::uint32_t seconds_ = 0;
};

inline constexpr SecondsDuration SecondsDuration::INFINITE{
    std::numeric_limits<std::uint32_t>::max()};

/// Writes the count and an 's' ("30s"), or "INFINITE". The stream's width, fill, flags and locale
/// neither change the text nor are changed.
/// Deliberate: the word is in upper case here and in lower case in UnixTime's text.
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& stream,
                                               const SecondsDuration& duration);

}  // namespace vorn::common::time

namespace vorn::common {
using time::SecondsDuration;
}  // namespace vorn::common
