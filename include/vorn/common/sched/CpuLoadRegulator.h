// SPDX-License-Identifier: MIT
#pragma once

#include <vorn/common/export.h>
#include <vorn/common/sched/CpuTime.h>

/// How much of the CPU a loop takes.
namespace vorn::common::sched {

/// Caps the CPU share of the process, as far as one busy loop causes it, by resting:
///
///     sched::CpuLoadRegulator regulator(25, 100);  // 25 % of one core, at most 100 ms at a time
///     while (work()) {
///         regulator.getSomeRest();
///     }
///
/// The share is the CPU time of the whole process over the wall time since the last rest. While it
/// stays allowed the measuring window keeps growing: a loop that was idle for a while may be busy
/// for a matching while before it rests. reset() forgets that credit.
///
/// Threads: one object belongs to one loop.
/// Not guaranteed: a cap in spite of a short maximum rest, or while the wall clock is behind the
/// last rest because it was set back: nothing rests then.
class VORN_GW_COMMON_EXPORT CpuLoadRegulator {
  public:
    /// Allows 10 percent, with rests of up to 1000 ms. The window starts now.
    CpuLoadRegulator();

    /// Throws std::out_of_range "Ratio is out of range" unless `ratio`, the allowed percentage of
    /// one core, is 1 to 100; then "Maximum rest time is out of range" unless `maxRestMs`, the
    /// longest single rest in milliseconds, is 0 to 1000.
    CpuLoadRegulator(int ratio, int maxRestMs);

    /// Starts the window anew.
    void reset();

    /// Sleeps until the share is down to the allowed one, at most for the maximum rest, and starts
    /// the window anew; returns at once while the share is allowed, and when no time has passed or
    /// the CPU time cannot be read. Signals do not shorten a rest.
    void getSomeRest();

  private:
    LoadSample last_;
    int ratio_ = 10;
    int maxRestMs_ = 1000;
};

}  // namespace vorn::common::sched
