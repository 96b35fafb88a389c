// SPDX-License-Identifier: MIT

// Compiled with a time_t of 64 bits (see CMakeLists.txt). So nothing here waits or sleeps, and no
// header of the library is included but its own.
#include "posix/wallClock.h"

#include <time.h>

namespace vorn::common::internal {

#if defined(__GLIBC_PREREQ)
#if __GLIBC_PREREQ(2, 34)
static_assert(sizeof(timespec::tv_sec) == 8, "the macros for 64 bits have no effect");
#endif
#endif

std::chrono::system_clock::time_point wallClockNow() noexcept {
    using std::chrono::system_clock;
    timespec now{};
    static_cast<void>(::clock_gettime(CLOCK_REALTIME, &now));
    const auto sinceEpoch =
        std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
    return system_clock::time_point(std::chrono::duration_cast<system_clock::duration>(sinceEpoch));
}

}  // namespace vorn::common::internal
