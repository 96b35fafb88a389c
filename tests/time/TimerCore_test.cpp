// SPDX-License-Identifier: MIT
#include <limits>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "CoreFixture.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/FakeClock.h"
#include "helpers/wait_until.h"
#include "time/TimerCore.h"

namespace {

using namespace std::chrono_literals;
using faults::FakeClock;
using std::chrono::milliseconds;
using vorn::common::internal::TimerCore;
using vorn::common::time::Recurrence;
using vorn::common::time::UnixTime;

constexpr auto kDay = std::chrono::nanoseconds(24h);

using Fixture = helpers::CoreFixture<TimerCore>;

TEST(TimerCore, IsCreatedDisarmedAndWakesOnceADay) {
    Fixture fixture(10ms);
    EXPECT_FALSE(fixture.timer.isRunning());
    for (int day = 0; day < 3; ++day) {
        EXPECT_EQ(fixture.clock.waitingFor(), kDay);
        ASSERT_TRUE(fixture.advance(kDay));
    }
    EXPECT_EQ(fixture.calls, 0);
}

TEST(TimerCore, FiresEveryPeriodAfterItsStart) {
    Fixture fixture(1000ms);
    ASSERT_TRUE(fixture.started());
    EXPECT_TRUE(fixture.timer.isRunning());
    EXPECT_EQ(fixture.clock.waitingFor(), 1000ms);
    ASSERT_TRUE(fixture.advance(1000ms - 1ns));
    ASSERT_TRUE(fixture.clock.settledAfterWaking());
    EXPECT_EQ(fixture.calls, 0);
    ASSERT_TRUE(fixture.advance(1ns));
    EXPECT_EQ(fixture.calls, 1);
    EXPECT_EQ(fixture.clock.waitingFor(), 1000ms);
    ASSERT_TRUE(fixture.advance(1000ms));
    EXPECT_EQ(fixture.calls, 2);
    EXPECT_TRUE(fixture.timer.isRunning());
}

TEST(TimerCore, CountsFromTheLastDeadlineNotFromTheCall) {
    Fixture fixture(1000ms);
    ASSERT_TRUE(fixture.started());
    for (int call = 1; call <= 5; ++call) {
        ASSERT_TRUE(fixture.advance(1100ms));
        EXPECT_EQ(fixture.calls, call);
        EXPECT_EQ(fixture.clock.waitingFor(), 1000ms - call * 100ms);
    }
}

TEST(TimerCore, DeliberatelyCatchesUpMissedPeriodsOneByOne) {
    Fixture fixture(1000ms, Recurrence::Recurrent, [](Fixture& self) {
        if (self.calls == 1) {
            self.clock.pass(2500ms);
        }
    });
    ASSERT_TRUE(fixture.started());
    ASSERT_TRUE(fixture.advance(1000ms));
    // Between two calls it may be seen asleep for a moment, until a deadline that has passed.
    EXPECT_TRUE(helpers::waitUntil(
        [&] { return fixture.calls == 3 && fixture.clock.waitingFor() == 500ms; }));
    EXPECT_EQ(fixture.calls, 3);
}

TEST(TimerCore, OneShotFiresOnceForEachStart) {
    Fixture fixture(1000ms, Recurrence::OneShot);
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(fixture.started());
        EXPECT_EQ(fixture.clock.waitingFor(), 1000ms);
        ASSERT_TRUE(fixture.advance(999ms));
        EXPECT_EQ(fixture.calls, round - 1);
        ASSERT_TRUE(fixture.advance(1ms));
        EXPECT_EQ(fixture.calls, round);
        EXPECT_FALSE(fixture.timer.isRunning());
        EXPECT_EQ(fixture.clock.waitingFor(), kDay);
        ASSERT_TRUE(fixture.advance(5000ms));
        EXPECT_EQ(fixture.calls, round);
    }
}

TEST(TimerCore, StartsAnewFromTheMomentOfStart) {
    Fixture fixture(1000ms);
    ASSERT_TRUE(fixture.started());
    ASSERT_TRUE(fixture.advance(600ms));
    ASSERT_TRUE(fixture.started());
    EXPECT_EQ(fixture.clock.waitingFor(), 1000ms);
    ASSERT_TRUE(fixture.advance(600ms));
    ASSERT_TRUE(fixture.settledAfter([&] { fixture.stop(); }));
    EXPECT_FALSE(fixture.timer.isRunning());
    EXPECT_EQ(fixture.clock.waitingFor(), kDay);
    ASSERT_TRUE(fixture.advance(600ms));
    EXPECT_EQ(fixture.calls, 0);
    ASSERT_TRUE(fixture.started());
    EXPECT_EQ(fixture.clock.waitingFor(), 1000ms);
    ASSERT_TRUE(fixture.advance(1000ms));
    EXPECT_EQ(fixture.calls, 1);
}

TEST(TimerCore, ReloadMovesTheDeadlineOfAnArmedTimerOnly) {
    Fixture fixture(1000ms);
    fixture.reload();
    EXPECT_FALSE(fixture.timer.isRunning());
    ASSERT_TRUE(fixture.started());
    ASSERT_TRUE(fixture.advance(700ms));
    ASSERT_TRUE(fixture.settledAfter([&] { fixture.reload(); }));
    EXPECT_EQ(fixture.clock.waitingFor(), 1000ms);
    EXPECT_TRUE(fixture.timer.isRunning());
    ASSERT_TRUE(fixture.settledAfter([&] { fixture.stop(); }));
    fixture.reload();
    ASSERT_TRUE(fixture.advance(2000ms));
    EXPECT_EQ(fixture.calls, 0);
    EXPECT_FALSE(fixture.timer.isRunning());
}

TEST(TimerCore, SetPeriodStoresAtLeastTheMinimumAndDoesNotRearm) {
    struct Row {
        milliseconds given;
        milliseconds stored;
    };
    for (const auto& row : {Row{milliseconds::min(), 1ms}, Row{-1ms, 1ms}, Row{0ms, 1ms},
                            Row{1ms, 1ms}, Row{2ms, 2ms}, Row{5000ms, 5000ms}}) {
        SCOPED_TRACE(row.given.count());
        Fixture fixture(1000ms);
        ASSERT_TRUE(fixture.started());
        fixture.setPeriod(row.given);
        ASSERT_TRUE(fixture.clock.settledAfterWaking());
        EXPECT_EQ(fixture.clock.waitingFor(), 1000ms);
        ASSERT_TRUE(fixture.settledAfter([&] { fixture.reload(); }));
        EXPECT_EQ(fixture.clock.waitingFor(), row.stored);
    }
}

TEST(TimerCore, WakesItsThreadOnlyForAnEarlierDeadline) {
    Fixture fixture(1000ms);
    ASSERT_TRUE(fixture.started());
    const int before = fixture.clock.waits();
    for (int i = 0; i < 200; ++i) {
        fixture.start();
        fixture.stop();
        fixture.reload();
        fixture.start();
        std::this_thread::yield();
    }
    fixture.setPeriod(999ms);
    ASSERT_TRUE(fixture.clock.settledAfter([&] { fixture.reload(); }));
    EXPECT_EQ(fixture.clock.waits(), before + 1);
    EXPECT_EQ(fixture.clock.waitingFor(), 999ms);
    ASSERT_TRUE(fixture.advance(999ms));
    EXPECT_EQ(fixture.calls, 1);
}

TEST(TimerCore, FiresByTheLatestStartAlthoughItsThreadSleptForAnEarlierOne) {
    Fixture fixture(1000ms, Recurrence::OneShot);
    ASSERT_TRUE(fixture.started());
    ASSERT_TRUE(fixture.advance(600ms));
    fixture.stop();
    fixture.start();
    ASSERT_TRUE(fixture.advance(400ms));
    EXPECT_EQ(fixture.calls, 0);
    EXPECT_EQ(fixture.clock.waitingFor(), 600ms);
    ASSERT_TRUE(fixture.advance(600ms));
    EXPECT_EQ(fixture.calls, 1);
}

TEST(TimerCore, IsNotDisturbedByTheWallClock) {
    for (const auto change : {std::chrono::nanoseconds(-1h), kDay}) {
        Fixture fixture(1000ms);
        ASSERT_TRUE(fixture.started());
        fixture.clock.setWallClock(fixture.clock.systemNow() + change);
        ASSERT_TRUE(fixture.advance(999ms));
        EXPECT_EQ(fixture.calls, 0);
        ASSERT_TRUE(fixture.advance(1ms));
        EXPECT_EQ(fixture.calls, 1);
    }
}

TEST(TimerCore, DoesNotFireOnASpuriousWakeUp) {
    Fixture fixture(1000ms);
    ASSERT_TRUE(fixture.started());
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(fixture.clock.settledAfterWaking());
    }
    EXPECT_EQ(fixture.calls, 0);
    EXPECT_EQ(fixture.clock.waitingFor(), 1000ms);
}

TEST(TimerCore, NeverWaitsLongerThanADayAtOnce) {
    Fixture fixture(milliseconds(30 * 24h), Recurrence::OneShot);
    ASSERT_TRUE(fixture.started());
    for (int day = 0; day < 30; ++day) {
        EXPECT_EQ(fixture.calls, 0);
        EXPECT_EQ(fixture.clock.waitingFor(), kDay);
        ASSERT_TRUE(fixture.advance(kDay));
    }
    EXPECT_EQ(fixture.calls, 1);
}

TEST(TimerCore, SaturatesDeadlines) {
    for (const auto period : {milliseconds::max(), milliseconds(10'000'000'000'000)}) {
        Fixture fixture(period);
        ASSERT_TRUE(fixture.started());
        for (int day = 0; day < 3; ++day) {
            EXPECT_EQ(fixture.clock.waitingFor(), kDay);
            ASSERT_TRUE(fixture.advance(kDay));
        }
        EXPECT_EQ(fixture.calls, 0);
    }
}

TEST(TimerCore, DeliberatelyCallsForEverWithAPeriodOfZeroOrLess) {
    for (const auto period : {0ms, -1ms, milliseconds::min()}) {
        Fixture fixture(period, Recurrence::Recurrent, [](Fixture& self) {
            if (self.calls == 1000) {
                self.stop();
            }
        });
        ASSERT_TRUE(fixture.started());
        EXPECT_EQ(fixture.calls, 1000);
        EXPECT_EQ(fixture.clock.waitingFor(), kDay);
    }
}

TEST(TimerCore, LetsItsCallbackStopAndStartIt) {
    Fixture stopping(1000ms, Recurrence::Recurrent, [](Fixture& self) { self.stop(); });
    ASSERT_TRUE(stopping.started());
    ASSERT_TRUE(stopping.advance(1000ms));
    ASSERT_TRUE(stopping.advance(1000ms));
    EXPECT_EQ(stopping.calls, 1);
    EXPECT_FALSE(stopping.timer.isRunning());

    Fixture restarting(1000ms, Recurrence::OneShot, [](Fixture& self) {
        self.clock.pass(300ms);
        self.start();
    });
    ASSERT_TRUE(restarting.started());
    for (int call = 1; call <= 3; ++call) {
        ASSERT_TRUE(restarting.advance(1000ms));
        EXPECT_EQ(restarting.calls, call);
        EXPECT_EQ(restarting.clock.waitingFor(), 1000ms);
    }
}

TEST(TimerCore, GoesOnWithoutACallback) {
    FakeClock clock;
    TimerCore timer({}, 1000ms, Recurrence::OneShot, clock);
    ASSERT_TRUE(clock.settled());
    ASSERT_TRUE(clock.settledAfter([&] {
        TimerCore::Lock lock(timer.mutex());
        timer.start(lock);
    }));
    ASSERT_TRUE(clock.settledAfterAdvancing(1000ms));
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(clock.waitingFor(), kDay);
}

TEST(TimerCore, TerminatedTimersDoNotFire) {
    Fixture fixture(1000ms);
    ASSERT_TRUE(fixture.started());
    fixture.timer.terminate();
    fixture.start();
    EXPECT_FALSE(fixture.timer.isRunning());
    fixture.clock.advance(5000ms);
    EXPECT_EQ(fixture.calls, 0);
    fixture.timer.terminate();
}

constexpr double kNow = 20000.0 * 86400;  // the fake wall clock's first reading

TEST(TimerCore, SchedulesAtAnInstantByWholeSeconds) {
    struct Row {
        const char* name;
        UnixTime when;
        milliseconds delay;
    };
    const auto in = [](double seconds) { return UnixTime::fromSeconds(kNow + seconds); };
    const Row rows[] = {
        {"in five seconds", in(5), 5000ms},
        {"in a second and a half", in(1.5), 1000ms},
        {"within this second", in(0.9), 1ms},
        {"a rounding error ahead", in(0.0000003), 1ms},
        {"now", in(0), 1ms},
        {"a second ago", in(-1), 1ms},
        {"at the epoch", UnixTime::fromSeconds(0), 1ms},
        {"undefined", UnixTime::UNDEFINED, 1ms},
        {"far below the epoch", UnixTime::fromSeconds(-1e300), 1ms},
        {"in a year", in(31536000), 31536000000ms},
        {"infinite", UnixTime::INFINITE, (4294967295ll - 1728000000ll) * 1000ms},
        {"beyond infinite", UnixTime::fromSeconds(1e300), (4294967295ll - 1728000000ll) * 1000ms},
        {"infinity", UnixTime::fromSeconds(std::numeric_limits<double>::infinity()),
         (4294967295ll - 1728000000ll) * 1000ms},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Fixture fixture(123ms, Recurrence::OneShot);
        ASSERT_TRUE(fixture.settledAfter([&] { fixture.timer.scheduleAt(row.when); }));
        EXPECT_TRUE(fixture.timer.isRunning());
        std::chrono::nanoseconds left = row.delay;
        for (int day = 0; left > kDay && day < 400; ++day, left -= kDay) {
            EXPECT_EQ(fixture.clock.waitingFor(), kDay);
            ASSERT_TRUE(fixture.advance(kDay));
        }
        if (left <= kDay) {
            EXPECT_EQ(fixture.clock.waitingFor(), left);
            ASSERT_TRUE(fixture.advance(left));
            EXPECT_EQ(fixture.calls, 1);
        } else {
            EXPECT_EQ(fixture.calls, 0);
        }
    }
}

TEST(TimerCore, SchedulesAtOnceAtTheEpochItself) {
    Fixture fixture(1000ms, Recurrence::OneShot);
    fixture.clock.setWallClock(FakeClock::System());
    ASSERT_TRUE(fixture.settledAfter([&] { fixture.timer.scheduleAt(UnixTime::fromSeconds(0)); }));
    EXPECT_EQ(fixture.clock.waitingFor(), 1ms);
}

TEST(TimerCore, SchedulesWithoutDelayWhenTheClockPassesTheInstantMeanwhile) {
    Fixture fixture(1000ms, Recurrence::OneShot);
    int readings = 0;
    fixture.clock.onWallReading([&](FakeClock::System& wall) {
        if (++readings == 2) {
            wall += 10s;
        }
    });
    ASSERT_TRUE(
        fixture.settledAfter([&] { fixture.timer.scheduleAt(UnixTime::fromSeconds(kNow + 5)); }));
    EXPECT_EQ(readings, 2);
    EXPECT_EQ(fixture.clock.waitingFor(), 1ms);
}

TEST(TimerCore, DeliberatelyKeepsTheDelayOfScheduleAtAsItsPeriod) {
    Fixture fixture(1000ms, Recurrence::OneShot);
    ASSERT_TRUE(
        fixture.settledAfter([&] { fixture.timer.scheduleAt(UnixTime::fromSeconds(kNow + 5)); }));
    ASSERT_TRUE(fixture.advance(5000ms));
    ASSERT_TRUE(fixture.started());
    EXPECT_EQ(fixture.clock.waitingFor(), 5000ms);
}

TEST(TimerCore, RefusesToScheduleARecurrentTimer) {
    Fixture fixture(1000ms);
    EXPECT_THROW_TEXT(fixture.timer.scheduleAt(UnixTime::fromSeconds(kNow + 5)), std::logic_error,
                      "Can't use scheduleAt() with recurrent timer!");
    EXPECT_FALSE(fixture.timer.isRunning());
    ASSERT_TRUE(fixture.started());
    EXPECT_EQ(fixture.clock.waitingFor(), 1000ms);
}

}  // namespace
