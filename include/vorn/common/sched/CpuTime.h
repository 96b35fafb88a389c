// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <vorn/common/export.h>

namespace vorn::common::sched {

/// The CPU time, user and system, that this process and its waited-for children have used, in
/// microseconds. It advances in clock ticks, usually of 10 ms.
///
/// Returns 0 when it cannot be read, after writing "Failed to get process cpu time: " and the
/// reason to the standard error stream: "Failed to retrieve the current process times structure" or
/// "Failed to retrieve number of clock ticks per seconds".
///
/// Threads: may be called from any thread.
/// Not guaranteed: on 32 bits the kernel's counters start again from 0 after 497 days of CPU time.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::int64_t getProcessCpuTimeUs() noexcept;

/// One reading of both clocks; two of them give a CPU share.
struct LoadSample {
    std::int64_t cpuMs = 0;   ///< CPU time of the process; 0 when it could not be read
    std::int64_t wallMs = 0;  ///< wall clock, milliseconds since the epoch
};

}  // namespace vorn::common::sched
