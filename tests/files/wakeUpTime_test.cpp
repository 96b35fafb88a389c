// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "fs/wakeUpTime.h"

namespace vorn::common::internal {
namespace {

using namespace std::chrono_literals;
using TimePoint = std::chrono::steady_clock::time_point;

constexpr TimePoint kNow{1000s};

static_assert(wakeUpTime(TimePoint::max(), kNow) == kNow + 1h, "at least once an hour");
static_assert(wakeUpTime(kNow + 3601s, kNow) == kNow + 1h);
static_assert(wakeUpTime(kNow + 1h, kNow) == kNow + 1h);
static_assert(wakeUpTime(kNow + 1ns, kNow) == kNow + 1ns, "a deadline ahead is met");
static_assert(wakeUpTime(kNow, kNow) > kNow, "no spinning on what cannot be served");
static_assert(wakeUpTime(TimePoint::min(), kNow) > kNow);
static_assert(wakeUpTime(kNow - 1h, kNow) <= kNow + 100ms);

TEST(WakeUpTime, StaysInOrder) {
    EXPECT_LE(wakeUpTime(kNow - 1s, kNow), wakeUpTime(kNow + 1min, kNow));
}

}  // namespace
}  // namespace vorn::common::internal
