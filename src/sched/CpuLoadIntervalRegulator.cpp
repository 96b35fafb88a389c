// SPDX-License-Identifier: MIT
#include "vorn/common/sched/CpuLoadIntervalRegulator.h"

#include "sched/CpuLoad.h"

namespace vorn::common::sched {

CpuLoadIntervalRegulator::CpuLoadIntervalRegulator(unsigned int ratio,
                                                   std::chrono::milliseconds interval)
    : last_(internal::processLoadMeter().sample()), ratio_(ratio), interval_(interval) {
    internal::checkRatio(ratio);
    internal::checkRest(interval <= std::chrono::milliseconds(10000));
}

void CpuLoadIntervalRegulator::reset() {
    last_ = internal::processLoadMeter().sample();
}

void CpuLoadIntervalRegulator::getSomeRest() {
    internal::restWithinInterval(internal::processLoadMeter(), last_, ratio_, interval_);
}

}  // namespace vorn::common::sched
