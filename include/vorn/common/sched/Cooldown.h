// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include <vorn/common/export.h>
#include <vorn/common/sched/CpuLoadIntervalRegulator.h>
#include <vorn/common/sched/CpuLoadRegulator.h>

namespace vorn::common::sched {

/// What a busy loop calls once per round, so that somebody else may choose how much it rests:
///
///     void index(sched::Cooldown& cooldown) {
///         while (indexNext()) {
///             cooldown.cooldown();
///         }
///     }
///
/// Threads: one object belongs to one loop.
class VORN_GW_COMMON_EXPORT Cooldown {
  public:
    virtual ~Cooldown();

    /// Forgets what was measured so far.
    virtual void reset() = 0;

    /// Rests when the loop has used more than its share.
    virtual void cooldown() = 0;
};

/// Rests by a CpuLoadRegulator.
class VORN_GW_COMMON_EXPORT CpuLoadCooldown : public Cooldown {
  public:
    /// Throws as CpuLoadRegulator(int, int) does; values beyond an int are out of range too.
    CpuLoadCooldown(unsigned int ratio, unsigned int maxRestMs);

    void reset() override;
    void cooldown() override;

  private:
    CpuLoadRegulator regulator_;
};

/// Rests by a CpuLoadIntervalRegulator.
class VORN_GW_COMMON_EXPORT CpuLoadLoopCooldown : public Cooldown {
  public:
    /// Throws as the regulator's constructor does.
    CpuLoadLoopCooldown(unsigned int ratio, std::chrono::milliseconds interval);

    void reset() override;
    void cooldown() override;

  private:
    CpuLoadIntervalRegulator regulator_;
};

}  // namespace vorn::common::sched
