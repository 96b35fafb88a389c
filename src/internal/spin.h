// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>

namespace vorn::common::internal {

/// For a loop that waits for another processor: lets its neighbour on the same core have the units.
inline void pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || (defined(__ARM_ARCH) && __ARM_ARCH >= 7)
    asm volatile("yield");
#endif
}

/// Locks a mutex that is held for moments only: looks for about a microsecond before it sleeps,
/// because to sleep and to be woken takes longer than that.
[[nodiscard]] inline std::unique_lock<std::mutex> lockBriefly(std::mutex& mutex) {
    constexpr int kLooks = 30;
    for (int look = 0; look < kLooks; ++look) {
        if (std::unique_lock lock(mutex, std::try_to_lock); lock) {
            return lock;
        }
        pause();
    }
    return std::unique_lock(mutex);
}

}  // namespace vorn::common::internal
