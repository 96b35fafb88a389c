// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace vorn::common::internal {

/// The mark for "never" among timestamps and for "without limit" among durations.
inline constexpr std::uint32_t kReservedTimestamp = 0xFFFFFFFFu;

/// Moves a timestamp from the clock that shows `from` now to the clock that shows `to` now. The sum
/// wraps around; a sum that is not greater than `from` gives 0.
[[nodiscard]] constexpr std::uint32_t changeTimeBase(std::uint32_t timestamp, std::uint32_t from,
                                                     std::uint32_t to) {
    if (timestamp == kReservedTimestamp) {
        return timestamp;
    }
    const std::uint32_t sum = timestamp + to;
    return sum > from ? sum - from : 0;
}

}  // namespace vorn::common::internal
