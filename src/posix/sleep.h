// SPDX-License-Identifier: MIT
#pragma once

#include <time.h>

#include <cerrno>
#include <chrono>

namespace vorn::common::internal {

/// Sleeps for the whole duration, going on with the remainder when a signal interrupts; nothing for
/// zero and below. Works in slices, so that a 32-bit time_t holds every one of them.
inline void sleepFor(std::chrono::nanoseconds duration) noexcept {
    constexpr std::chrono::seconds kSlice = std::chrono::hours(24);
    while (duration > std::chrono::nanoseconds::zero()) {
        const auto slice = duration < kSlice ? duration : std::chrono::nanoseconds(kSlice);
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(slice);
        timespec request{};
        request.tv_sec = static_cast<time_t>(seconds.count());
        request.tv_nsec = static_cast<long>((slice - seconds).count());
        while (::nanosleep(&request, &request) == -1 && errno == EINTR) {
        }
        duration -= slice;
    }
}

}  // namespace vorn::common::internal
