// SPDX-License-Identifier: MIT
#include "vorn/common/sched/CpuLoadRegulator.h"

#include "sched/CpuLoad.h"

namespace vorn::common::sched {

CpuLoadRegulator::CpuLoadRegulator() : last_(internal::processLoadMeter().sample()) {}

CpuLoadRegulator::CpuLoadRegulator(int ratio, int maxRestMs)
    : last_(internal::processLoadMeter().sample()), ratio_(ratio), maxRestMs_(maxRestMs) {
    // After the first sample, and the ratio first: the order in which errors are told.
    internal::checkRatio(ratio);
    internal::checkRest(maxRestMs >= 0 && maxRestMs <= 1000);
}

void CpuLoadRegulator::reset() {
    last_ = internal::processLoadMeter().sample();
}

void CpuLoadRegulator::getSomeRest() {
    internal::restBounded(internal::processLoadMeter(), last_, ratio_, maxRestMs_);
}

}  // namespace vorn::common::sched
