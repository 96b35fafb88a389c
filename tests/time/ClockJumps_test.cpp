// SPDX-License-Identifier: MIT

// What the timers make of a wall clock that is set, by an operator or a time server, while they
// wait.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "CoreFixture.h"
#include "time/ClockAlignedTimerCore.h"
#include "time/TimerCore.h"

namespace {

using namespace std::chrono_literals;
using vorn::common::internal::ClockAlignedTimerCore;
using vorn::common::internal::TimerCore;
using System = std::chrono::system_clock::time_point;
using AlignedFixture = helpers::CoreFixture<ClockAlignedTimerCore, System>;
using TimerFixture = helpers::CoreFixture<TimerCore>;

constexpr auto kYear = 24h * 365;
constexpr System kNow{std::chrono::sys_days{std::chrono::year(2025) / 6 / 15} + 10h + 30min};

struct Jump {
    const char* name;
    System to;
};

const Jump kJumps[] = {
    {"ASecondForward", kNow + 1s},
    {"ASecondBack", kNow - 1s},
    {"AnHourForward", kNow + 1h},
    {"AnHourBack", kNow - 1h},
    {"TenYearsForward", kNow + 10 * kYear},
    {"TenYearsBack", kNow - 10 * kYear},
    {"To1970", System{}},
    {"To2038", System{std::chrono::seconds(2147483647)} - 30min},
    {"To2106", System{std::chrono::seconds(4294967295)} - 30min},
};

class ClockJumps : public ::testing::TestWithParam<Jump> {};

TEST_P(ClockJumps, DoNotDisturbATimer) {
    TimerFixture fixture(10s);
    ASSERT_TRUE(fixture.started());
    fixture.clock.setWallClock(GetParam().to);
    const int waits = fixture.clock.waits();
    ASSERT_TRUE(fixture.advance(9999ms));
    EXPECT_EQ(fixture.calls, 0);
    ASSERT_TRUE(fixture.advance(1ms));
    EXPECT_EQ(fixture.calls, 1);
    fixture.clock.setWallClock(kNow);
    ASSERT_TRUE(fixture.advance(10s));
    EXPECT_EQ(fixture.calls, 2);
    // Each wait is one turn of the thread: a clock that jumps must not make it spin.
    EXPECT_EQ(fixture.clock.waits(), waits + 2);
}

/// A clock set forward is noticed at the deadline that was awaited, and from then on the boundaries
/// are those of the new clock, one call each. While it is set back, nothing fires until it reaches
/// the boundary that was awaited, however long that takes.
TEST_P(ClockJumps, LeaveAnAlignedTimerOnTheBoundariesOfTheClock) {
    AlignedFixture fixture(kNow, 1h);
    const System awaited = kNow + 30min;
    ASSERT_TRUE(fixture.started());
    ASSERT_EQ(fixture.clock.waitingFor(), 30min);
    fixture.clock.setWallClock(GetParam().to);
    const int waits = fixture.clock.waits();
    std::size_t calls = 0;
    for (int turn = 1; turn <= 4; ++turn) {
        SCOPED_TRACE(testing::Message() << "turn " << turn);
        ASSERT_TRUE(fixture.advance(fixture.clock.waitingFor()));
        const System now = fixture.clock.systemNow();
        const auto fired = fixture.fired();
        const std::chrono::nanoseconds wait = fixture.clock.waitingFor();
        if (now < awaited) {
            EXPECT_EQ(fired.size(), 0U);
            EXPECT_EQ(wait, std::min<std::chrono::nanoseconds>(24h, awaited - now));
            continue;
        }
        ASSERT_EQ(fired.size(), ++calls);
        EXPECT_LE(fired.back(), now);
        EXPECT_TRUE(calls == 1 || fired[calls - 1] > fired[calls - 2]) << "no boundary twice";
        EXPECT_EQ((now + wait).time_since_epoch() % 1h, 0h);
        EXPECT_GT(wait, 0s);
        EXPECT_LE(wait, 1h);
    }
    EXPECT_EQ(fixture.clock.waits(), waits + 4) << "each wait is one turn of the thread";
}

INSTANTIATE_TEST_SUITE_P(OfTheWallClock, ClockJumps, ::testing::ValuesIn(kJumps),
                         [](const auto& jump) { return std::string(jump.param.name); });

}  // namespace
