// SPDX-License-Identifier: MIT
#include "vorn/common/sched/Cooldown.h"

#include <algorithm>
#include <limits>

namespace vorn::common::sched {
namespace {

// Saturated: a value beyond an int shall be refused by the range check, not wrap into its range.
int asInt(unsigned int value) {
    return static_cast<int>(std::min<unsigned int>(value, std::numeric_limits<int>::max()));
}

}  // namespace

Cooldown::~Cooldown() = default;

CpuLoadCooldown::CpuLoadCooldown(unsigned int ratio, unsigned int maxRestMs)
    : regulator_(asInt(ratio), asInt(maxRestMs)) {}

void CpuLoadCooldown::reset() {
    regulator_.reset();
}

void CpuLoadCooldown::cooldown() {
    regulator_.getSomeRest();
}

CpuLoadLoopCooldown::CpuLoadLoopCooldown(unsigned int ratio, std::chrono::milliseconds interval)
    : regulator_(ratio, interval) {}

void CpuLoadLoopCooldown::reset() {
    regulator_.reset();
}

void CpuLoadLoopCooldown::cooldown() {
    regulator_.getSomeRest();
}

}  // namespace vorn::common::sched
