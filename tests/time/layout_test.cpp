// SPDX-License-Identifier: MIT
#include <type_traits>

#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/Timer.h>
#include <vorn/common/time/UnixTime.h>

#include "helpers/layout.h"

using namespace vorn::common::time;

template struct helpers::Fields<UnixTime, &UnixTime::seconds_, &UnixTime::highPrecision_>;
static_assert(sizeof(SecondsDuration) == sizeof(std::uint32_t));

TEST(TimeLayout, FieldsStandInOrder) {
    helpers::expectFieldsInOrder(1);
}

// A table with nothing but the destructor, before one pointer.
static_assert(std::has_virtual_destructor_v<Timer> && sizeof(Timer) == 2 * sizeof(void*));
static_assert(std::has_virtual_destructor_v<ClockAlignedTimer> &&
              sizeof(ClockAlignedTimer) == 2 * sizeof(void*));
