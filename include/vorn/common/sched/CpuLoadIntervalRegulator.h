// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include <vorn/common/export.h>
#include <vorn/common/sched/CpuTime.h>

namespace vorn::common::sched {

/// Caps the CPU share as CpuLoadRegulator does, for a loop that must come round once an interval:
/// a rest ends one interval after the last one at the latest, however much CPU time was used.
///
///     sched::CpuLoadIntervalRegulator regulator(25, 500ms);
///     while (work()) {
///         regulator.getSomeRest();
///     }
///
/// Threads: one object belongs to one loop.
/// Deliberate: rests end by the wall clock; one that is set back during a rest prolongs it as much.
class VORN_GW_COMMON_EXPORT CpuLoadIntervalRegulator {
  public:
    /// Throws std::out_of_range "Ratio is out of range" unless `ratio`, the allowed percentage of
    /// one core, is 1 to 100; then "Maximum rest time is out of range" for an `interval` above
    /// 10000 ms. Deliberate: a negative interval is accepted; there are no rests then, as with 0.
    CpuLoadIntervalRegulator(unsigned int ratio, std::chrono::milliseconds interval);

    /// Starts the window anew.
    void reset();

    /// Sleeps until the share is down to the allowed one, at most until one interval after the
    /// window's start, and starts the window anew; returns at once while the share is allowed, and
    /// when no time has passed or the CPU time cannot be read. Signals do not shorten a rest.
    void getSomeRest();

  private:
    LoadSample last_;
    unsigned int ratio_;
    std::chrono::milliseconds interval_;
};

}  // namespace vorn::common::sched
