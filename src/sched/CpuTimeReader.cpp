// SPDX-License-Identifier: MIT
#include "sched/CpuTimeReader.h"

#include <cerrno>
#include <cstdio>

namespace vorn::common::internal {
namespace {

std::int64_t failed(const char* reason) noexcept {
    std::fprintf(stderr, "Failed to get process cpu time: %s\n", reason);
    return 0;
}

// Through the unsigned type: a 32-bit counter passes its sign bit after 248 days.
std::int64_t count(clock_t ticks) noexcept {
    return static_cast<std::int64_t>(static_cast<unsigned long>(ticks));
}

}  // namespace

std::int64_t CpuTimeReader::read() noexcept {
    tms used{};
    const int before = errno;
    errno = 0;
    // -1 is a legitimate number of ticks too.
    const bool readable = times_(&used) != static_cast<clock_t>(-1) || errno == 0;
    errno = before;
    if (!readable) {
        return failed("Failed to retrieve the current process times structure");
    }
    const long perSecond = ticks();
    if (perSecond < 1) {
        return failed("Failed to retrieve number of clock ticks per seconds");
    }
    const std::int64_t sum = count(used.tms_utime) + count(used.tms_stime) +
                             count(used.tms_cutime) + count(used.tms_cstime);
    // Deliberate: the division first. Tick rates divide a million.
    return sum * (1'000'000 / perSecond);
}

long CpuTimeReader::ticks() noexcept {
    // Several threads may ask at once: they store the same value. A useless one is asked for again.
    long perSecond = known_.load(std::memory_order_relaxed);
    if (perSecond < 1) {
        perSecond = ticksPerSecond_();
        known_.store(perSecond, std::memory_order_relaxed);
    }
    return perSecond;
}

}  // namespace vorn::common::internal
