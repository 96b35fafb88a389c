// SPDX-License-Identifier: MIT
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "CoreFixture.h"
#include "helpers/faults/FakeClock.h"
#include "time/ClockAlignedTimerCore.h"

namespace {

using namespace std::chrono_literals;
using faults::FakeClock;
using std::chrono::milliseconds;
using vorn::common::internal::ClockAlignedTimerCore;
using vorn::common::time::Recurrence;
using System = FakeClock::System;

constexpr auto kDay = std::chrono::nanoseconds(24h);
constexpr System kMidnight(20000 * kDay);

using Fixture = helpers::CoreFixture<ClockAlignedTimerCore, System>;
using Boundaries = std::vector<System>;

TEST(ClockAlignedTimerCore, IsCreatedDisarmedAndWakesOnceADay) {
    Fixture fixture(kMidnight + 5h, 10ms);
    EXPECT_FALSE(fixture.timer.isRunning());
    for (int day = 0; day < 3; ++day) {
        EXPECT_EQ(fixture.clock.waitingFor(), kDay);
        ASSERT_TRUE(fixture.advance(kDay));
    }
    EXPECT_EQ(fixture.fired(), Boundaries());
}

TEST(ClockAlignedTimerCore, FiresOnBoundariesAndPassesThem) {
    Fixture fixture(kMidnight + 11h - 500ms, 1h);
    ASSERT_TRUE(fixture.started());
    EXPECT_TRUE(fixture.timer.isRunning());
    EXPECT_EQ(fixture.clock.waitingFor(), 500ms);
    ASSERT_TRUE(fixture.advance(500ms - 1ns));
    ASSERT_TRUE(fixture.clock.settledAfterWaking());
    EXPECT_EQ(fixture.fired(), Boundaries());
    ASSERT_TRUE(fixture.advance(1ns + 20ms));
    EXPECT_EQ(fixture.fired(), Boundaries{kMidnight + 11h});
    EXPECT_EQ(fixture.clock.waitingFor(), 1h - 20ms);
    ASSERT_TRUE(fixture.advance(1h));
    EXPECT_EQ(fixture.fired(), (Boundaries{kMidnight + 11h, kMidnight + 12h}));
}

TEST(ClockAlignedTimerCore, RestartsItsCountAtMidnight) {
    Fixture fixture(kMidnight + kDay - 6min, 7min);
    ASSERT_TRUE(fixture.started());
    for (const auto wait : {1min, 5min, 7min, 7min}) {
        EXPECT_EQ(fixture.clock.waitingFor(), wait);
        ASSERT_TRUE(fixture.advance(wait));
    }
    const auto next = kMidnight + kDay;
    EXPECT_EQ(fixture.fired(), (Boundaries{next - 5min, next, next + 7min, next + 14min}));
}

TEST(ClockAlignedTimerCore, SkipsBoundariesThatPassedDuringTheCallback) {
    Fixture fixture(kMidnight, 10s, Recurrence::Recurrent, [](Fixture& self) {
        if (self.fired().size() == 1) {
            self.clock.pass(25s);
        }
    });
    ASSERT_TRUE(fixture.started());
    ASSERT_TRUE(fixture.advance(10s));
    EXPECT_EQ(fixture.fired(), Boundaries{kMidnight + 10s});
    EXPECT_EQ(fixture.clock.waitingFor(), 5s);
    ASSERT_TRUE(fixture.advance(5s));
    EXPECT_EQ(fixture.fired(), (Boundaries{kMidnight + 10s, kMidnight + 40s}));
}

TEST(ClockAlignedTimerCore, SkipsABoundaryOnWhichTheCallbackEnds) {
    Fixture fixture(kMidnight, 10s, Recurrence::Recurrent, [](Fixture& self) {
        if (self.fired().size() == 1) {
            self.clock.pass(10s);
        }
    });
    ASSERT_TRUE(fixture.started());
    ASSERT_TRUE(fixture.advance(10s));
    EXPECT_EQ(fixture.clock.waitingFor(), 10s);
    ASSERT_TRUE(fixture.advance(10s));
    EXPECT_EQ(fixture.fired(), (Boundaries{kMidnight + 10s, kMidnight + 30s}));
}

TEST(ClockAlignedTimerCore, WaitsForTheSameBoundaryWhenTheWallClockIsSetBack) {
    Fixture fixture(kMidnight + 11h - 30s, 1h);
    ASSERT_TRUE(fixture.started());
    fixture.clock.setWallClock(kMidnight + 10h - 30s);
    ASSERT_TRUE(fixture.advance(30s));
    EXPECT_EQ(fixture.fired(), Boundaries());
    EXPECT_EQ(fixture.clock.waitingFor(), 1h);
    ASSERT_TRUE(fixture.advance(1h));
    EXPECT_EQ(fixture.fired(), Boundaries{kMidnight + 11h});
}

TEST(ClockAlignedTimerCore, DeliberatelyNoticesAClockSetForwardAtTheMonotonicDeadline) {
    Fixture fixture(kMidnight + 11h - 30s, 1h);
    ASSERT_TRUE(fixture.started());
    fixture.clock.setWallClock(kMidnight + kDay + 11h + 1min);
    ASSERT_TRUE(fixture.advance(29s));
    EXPECT_EQ(fixture.fired(), Boundaries());
    ASSERT_TRUE(fixture.advance(1s));
    EXPECT_EQ(fixture.fired(), Boundaries{kMidnight + 11h});
    EXPECT_EQ(fixture.clock.waitingFor(), 59min - 30s);
}

TEST(ClockAlignedTimerCore, OneShotFiresOnceForEachStart) {
    Fixture fixture(kMidnight + 1s, 10s, Recurrence::OneShot);
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(fixture.started());
        EXPECT_EQ(fixture.clock.waitingFor(), 9s);
        ASSERT_TRUE(fixture.advance(9s));
        EXPECT_EQ(fixture.fired().size(), static_cast<std::size_t>(round));
        EXPECT_FALSE(fixture.timer.isRunning());
        EXPECT_EQ(fixture.clock.waitingFor(), kDay);
        ASSERT_TRUE(fixture.advance(21s));
        EXPECT_EQ(fixture.fired().size(), static_cast<std::size_t>(round));
    }
}

TEST(ClockAlignedTimerCore, LetsItsCallbackStopAndStartIt) {
    Fixture stopping(kMidnight, 10s, Recurrence::Recurrent, [](Fixture& self) { self.stop(); });
    ASSERT_TRUE(stopping.started());
    ASSERT_TRUE(stopping.advance(10s));
    ASSERT_TRUE(stopping.advance(10s));
    EXPECT_EQ(stopping.fired(), Boundaries{kMidnight + 10s});

    Fixture restarting(kMidnight, 10s, Recurrence::OneShot, [](Fixture& self) {
        self.start();
        self.clock.pass(12s);
    });
    ASSERT_TRUE(restarting.started());
    ASSERT_TRUE(restarting.advance(10s));
    EXPECT_EQ(restarting.fired(), Boundaries{kMidnight + 10s});
    EXPECT_EQ(restarting.clock.waitingFor(), 8s);
}

TEST(ClockAlignedTimerCore, StopReloadAndSetPeriodChangeTheAwaitedBoundary) {
    Fixture fixture(kMidnight + 1s, 10s);
    fixture.reload();
    EXPECT_FALSE(fixture.timer.isRunning());
    ASSERT_TRUE(fixture.started());
    fixture.setPeriod(4s);
    ASSERT_TRUE(fixture.clock.settledAfterWaking());
    EXPECT_EQ(fixture.clock.waitingFor(), 9s);
    ASSERT_TRUE(fixture.settledAfter([&] { fixture.reload(); }));
    EXPECT_EQ(fixture.clock.waitingFor(), 3s);
    for (const auto period : {0ms, -5ms, milliseconds::min()}) {
        fixture.setPeriod(period);
        ASSERT_TRUE(fixture.settledAfter([&] { fixture.reload(); }));
        EXPECT_EQ(fixture.clock.waitingFor(), 1ms);
    }
    ASSERT_TRUE(fixture.settledAfter([&] { fixture.stop(); }));
    EXPECT_FALSE(fixture.timer.isRunning());
    ASSERT_TRUE(fixture.advance(1min));
    EXPECT_EQ(fixture.fired(), Boundaries());
}

TEST(ClockAlignedTimerCore, WakesItsThreadOnlyForAnEarlierBoundary) {
    Fixture fixture(kMidnight + 1s, 10s);
    ASSERT_TRUE(fixture.started());
    const int before = fixture.clock.waits();
    for (int i = 0; i < 200; ++i) {
        fixture.start();
        fixture.stop();
        fixture.reload();
        fixture.start();
        std::this_thread::yield();
    }
    fixture.setPeriod(9s);
    ASSERT_TRUE(fixture.clock.settledAfter([&] { fixture.reload(); }));
    EXPECT_EQ(fixture.clock.waits(), before + 1);
    EXPECT_EQ(fixture.clock.waitingFor(), 8s);
}

TEST(ClockAlignedTimerCore, FollowsAnOriginOfTheCallers) {
    Fixture fixture(kMidnight + 10s, 1min, Recurrence::Recurrent, {},
                    [](System) { return kMidnight + 25s; });
    ASSERT_TRUE(fixture.started());
    // An origin ahead by less than a period is skipped itself.
    EXPECT_EQ(fixture.clock.waitingFor(), 75s);
    ASSERT_TRUE(fixture.advance(75s));
    ASSERT_TRUE(fixture.advance(1min));
    EXPECT_EQ(fixture.fired(), (Boundaries{kMidnight + 85s, kMidnight + 145s}));
}

TEST(ClockAlignedTimerCore, NeverWaitsLongerThanADayAtOnce) {
    Fixture fixture(kMidnight + 1h, 72h);
    ASSERT_TRUE(fixture.started());
    for (const auto wait : {kDay, kDay, std::chrono::nanoseconds(23h)}) {
        EXPECT_EQ(fixture.clock.waitingFor(), wait);
        ASSERT_TRUE(fixture.advance(wait));
    }
    EXPECT_EQ(fixture.fired(), Boundaries{kMidnight + 3 * kDay});

    Fixture endless(kMidnight, milliseconds::max());
    ASSERT_TRUE(endless.started());
    for (int day = 0; day < 3; ++day) {
        EXPECT_EQ(endless.clock.waitingFor(), kDay);
        ASSERT_TRUE(endless.advance(kDay));
    }
    EXPECT_EQ(endless.fired(), Boundaries());
}

TEST(ClockAlignedTimerCore, PausesBetweenBoundariesOfAnOriginOfAnyAge) {
    for (const auto origin : {System::min(), System() - 200 * 365 * kDay}) {
        Fixture fixture(
            kMidnight + 1h, 10s, Recurrence::Recurrent,
            [](Fixture& self) {
                if (self.calls == 100) {
                    self.stop();
                }
            },
            [origin](System) { return origin; });
        ASSERT_TRUE(fixture.started());
        const auto wait = fixture.clock.waitingFor();
        EXPECT_GT(wait, 0s);
        EXPECT_LE(wait, 10s);
        ASSERT_TRUE(fixture.advance(wait));
        EXPECT_EQ(fixture.calls, 1);
        EXPECT_EQ(fixture.clock.waitingFor(), 10s);
    }
}

TEST(ClockAlignedTimerCore, GoesOnWithoutACallbackAndEndsWhenTerminated) {
    FakeClock clock(kMidnight);
    ClockAlignedTimerCore timer({}, 10s, {}, Recurrence::Recurrent, clock);
    ASSERT_TRUE(clock.settled());
    ASSERT_TRUE(clock.settledAfter([&] {
        ClockAlignedTimerCore::Lock lock(timer.mutex());
        timer.start(lock);
    }));
    ASSERT_TRUE(clock.settledAfterAdvancing(12s));
    EXPECT_TRUE(timer.isRunning());
    EXPECT_EQ(clock.waitingFor(), 8s);
    timer.terminate();
    EXPECT_FALSE(timer.isRunning());
    timer.terminate();
}

}  // namespace
