#pragma once

namespace vorn::common::internal {

/// For a loop that waits for another processor: lets its neighbour on the same core have the units.
inline void pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || (defined(__ARM_ARCH) && __ARM_ARCH >= 7)
    asm volatile("yield");
#endif
}

}  // namespace vorn::common::internal
