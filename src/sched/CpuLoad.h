// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>

#include <vorn/common/sched/CpuTime.h>

namespace vorn::common::internal {

/// The clocks and the sleep by which the CPU load regulators work, so that tests can replace them.
class LoadMeter {
  public:
    [[nodiscard]] virtual std::int64_t cpuTimeUs() = 0;
    [[nodiscard]] virtual std::chrono::system_clock::time_point wallNow() = 0;
    virtual void sleep(std::chrono::nanoseconds duration) = 0;

    [[nodiscard]] sched::LoadSample sample();

  protected:
    ~LoadMeter() = default;
};

/// The process's own.
[[nodiscard]] LoadMeter& processLoadMeter() noexcept;

/// Throws std::out_of_range "Ratio is out of range" unless it is 1 to 100.
void checkRatio(std::int64_t ratio);

/// Throws std::out_of_range "Maximum rest time is out of range" when it is not in range.
void checkRest(bool inRange);

/// Sleeps for up to maxRestMs when the share since `last` is above `ratio` percent, and takes a new
/// `last` then.
void restBounded(LoadMeter& meter, sched::LoadSample& last, std::int64_t ratio,
                 std::int64_t maxRestMs);

/// Sleeps until at most `interval` after `last` when the share since then is above `ratio` percent,
/// and takes a new `last` then.
void restWithinInterval(LoadMeter& meter, sched::LoadSample& last, std::int64_t ratio,
                        std::chrono::milliseconds interval);

}  // namespace vorn::common::internal
