// SPDX-License-Identifier: MIT
#pragma once

#include <sys/times.h>

#include <atomic>
#include <cstdint>

namespace vorn::common::internal {

/// Reads the CPU time of the process by two system calls that tests replace.
class CpuTimeReader {
  public:
    using Times = clock_t (*)(tms*);
    using TicksPerSecond = long (*)();

    constexpr CpuTimeReader(Times times, TicksPerSecond ticksPerSecond) noexcept
        : times_(times), ticksPerSecond_(ticksPerSecond) {}

    /// Microseconds, or 0 after a report on the standard error stream.
    [[nodiscard]] std::int64_t read() noexcept;

  private:
    [[nodiscard]] long ticks() noexcept;

    Times times_;
    TicksPerSecond ticksPerSecond_;
    std::atomic<long> known_ = 0;
};

}  // namespace vorn::common::internal
