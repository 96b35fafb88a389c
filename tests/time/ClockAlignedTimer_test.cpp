// SPDX-License-Identifier: MIT
#include <signal.h>

#include <atomic>
#include <latch>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/time/ClockAlignedTimer.h>

#include "helpers/Actor.h"
#include "helpers/leave.h"
#include "helpers/thread_state.h"
#include "helpers/wait_until.h"

namespace {

using namespace std::chrono_literals;
using helpers::waitUntil;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using vorn::common::time::ClockAlignedTimer;
using vorn::common::time::Recurrence;
using TimePoint = ClockAlignedTimer::TimePoint;

constexpr nanoseconds kDay = 24h;
constexpr TimePoint kMidnight(20000 * kDay);

TEST(ClockAlignedTimer, HasTheDocumentedConstants) {
    static_assert(ClockAlignedTimer::MIN_PERIOD == 1ms);
    static_assert(std::has_virtual_destructor_v<ClockAlignedTimer>);
    static_assert(!std::is_copy_constructible_v<ClockAlignedTimer>);
}

TEST(ClockAlignedTimer, MidnightIsTheStartOfTheDay) {
    struct Row {
        nanoseconds time;
        nanoseconds midnight;
    };
    for (const auto& row : {
             Row{0ns, 0ns},
             Row{1ns, 0ns},
             Row{kDay - 1ns, 0ns},
             Row{kDay, kDay},
             Row{20000 * kDay + 5h + 3ns, 20000 * kDay},
             Row{-1ns, -kDay},
             Row{-kDay, -kDay},
             Row{-kDay - 1ns, -2 * kDay},
             Row{49709 * kDay + 23h, 49709 * kDay},
             Row{nanoseconds::max(), 106751 * kDay},
             Row{nanoseconds::min(), nanoseconds::min()},
         }) {
        SCOPED_TRACE(row.time.count());
        EXPECT_EQ(ClockAlignedTimer::Midnight(TimePoint(row.time)), TimePoint(row.midnight));
    }
}

struct Boundary {
    const char* name;
    milliseconds period;
    nanoseconds now;   // after the midnight of the day
    nanoseconds next;  // the same
};

void checkBoundaries(const std::vector<Boundary>& rows, const ClockAlignedTimer::Origin& origin) {
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ClockAlignedTimer timer({}, row.period, origin);
        std::unique_lock lock(timer.mutex());
        EXPECT_EQ(timer.getNextTimePoint(kMidnight + row.now, lock), kMidnight + row.next);
    }
}

TEST(ClockAlignedTimer, CountsPeriodsFromMidnight) {
    checkBoundaries(
        {
            {"quarter of an hour", 15min, 10h + 1ns, 10h + 15min},
            {"on a boundary", 15min, 10h, 10h + 15min},
            {"just before a boundary", 15min, 10h - 1ns, 10h},
            {"half a second before the hour", 1h, 11h - 500ms, 11h},
            {"at midnight", 1h, 0ns, 1h},
            {"seven minutes, before the last", 7min, 23h + 50min, 23h + 55min},
            {"seven minutes, at the last", 7min, 23h + 55min, 24h},
            {"seven minutes, after the last", 7min, 23h + 59min, 24h},
            {"seven minutes, after midnight", 7min, 24h, 24h + 7min},
            {"less than a day", 20h, 21h, 24h},
            {"a day", 24h, 5h, 24h},
            {"more than a day", 36h, 5h, 36h},
            {"shortest", 1ms, 5h + 1ns, 5h + 1ms},
            {"zero counts as the shortest", 0ms, 5h + 1ns, 5h + 1ms},
            {"negative counts as the shortest", -1h, 5h + 1ns, 5h + 1ms},
            {"least counts as the shortest", milliseconds::min(), 5h + 1ns, 5h + 1ms},
            {"without an end", milliseconds::max(), 5h, nanoseconds::max() - 20000 * kDay},
        },
        {});
}

TEST(ClockAlignedTimer, CountsPeriodsFromAnOriginByTheFormulaAlone) {
    checkBoundaries(
        {
            {"not restarted at midnight", 7min, 23h + 59min, 24h + 4min},
            {"before the origin by less than a period", 1h, 90s, 1h + 2min},
            {"before the origin by a period", 1min, 1min, 2min},
            {"before the origin by more", 30s, 10s, 1min},
            {"a fraction of a millisecond before it", 1s, 2min - 1ns, 2min + 1s},
            {"on the origin", 1h, 2min, 1h + 2min},
            {"zero counts as the shortest", 0ms, 2min, 2min + 1ms},
        },
        [](TimePoint) { return kMidnight + 2min; });
}

TEST(ClockAlignedTimer, GivesItsOriginTheCurrentTime) {
    TimePoint given;
    ClockAlignedTimer timer({}, 10s, [&](TimePoint now) {
        given = now;
        return now - 3s;
    });
    std::unique_lock lock(timer.mutex());
    EXPECT_EQ(timer.getNextTimePoint(kMidnight + 1h, lock), kMidnight + 1h + 7s);
    EXPECT_EQ(given, kMidnight + 1h);
}

TEST(ClockAlignedTimer, FiresOnBoundariesOfTheWallClock) {
    struct Call {
        TimePoint boundary;
        TimePoint at;
    };
    std::mutex mutex;
    std::vector<Call> calls;
    ClockAlignedTimer timer(
        [&](TimePoint boundary) {
            const std::lock_guard lock(mutex);
            calls.push_back({boundary, std::chrono::system_clock::now()});
        },
        20ms);
    EXPECT_FALSE(timer.isRunning());
    timer.start();
    EXPECT_TRUE(timer.isRunning());
    ASSERT_TRUE(waitUntil([&] {
        const std::lock_guard lock(mutex);
        return calls.size() >= 5;
    }));
    timer.terminate();
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ((calls[i].boundary - ClockAlignedTimer::Midnight(calls[i].boundary)) % 20ms, 0ns);
        EXPECT_GE(calls[i].at, calls[i].boundary);
        if (i > 0) {
            EXPECT_GT(calls[i].boundary, calls[i - 1].boundary);
        }
    }
}

TEST(ClockAlignedTimer, OneShotFiresOnceAndItsOperationsCombineUnderItsMutex) {
    std::atomic<int> calls = 0;
    ClockAlignedTimer timer([&](TimePoint) { ++calls; }, 24h, {}, Recurrence::OneShot);
    timer.start();
    timer.stop();
    EXPECT_FALSE(timer.isRunning());
    {
        std::unique_lock lock(timer.mutex());
        timer.start(lock);
        EXPECT_TRUE(timer.isRunning());
        timer.setPeriod(5ms, lock);
        timer.reload(lock);
    }
    ASSERT_TRUE(waitUntil([&] { return calls == 1 && !timer.isRunning(); }));
    {
        std::unique_lock lock(timer.mutex());
        timer.start(lock);
        timer.stop(lock);
    }
    EXPECT_FALSE(timer.isRunning());
}

TEST(ClockAlignedTimer, DestructionWaitsForTheCallback) {
    std::latch called(1);
    std::latch released(1);
    helpers::Actor owner;
    auto timer = std::make_unique<ClockAlignedTimer>(
        [&](TimePoint) {
            called.count_down();
            released.wait();
        },
        1ms, ClockAlignedTimer::Origin(), Recurrence::OneShot);
    timer->start();
    called.wait();
    auto destroyed = owner.post([&] { timer.reset(); });
    ASSERT_TRUE(helpers::waitUntilAsleep(owner.tid()));
    EXPECT_EQ(destroyed.wait_for(0s), std::future_status::timeout);
    released.count_down();
    destroyed.get();
}

TEST(ClockAlignedTimer, MayBeUsedByItsCallbackWhileItIsBeingDestroyed) {
    std::latch called(1);
    bool armedAgain = true;
    ClockAlignedTimer* self = nullptr;
    {
        ClockAlignedTimer timer(
            [&](TimePoint) {
                called.count_down();
                while (self->isRunning()) {
                    std::this_thread::yield();
                }
                self->start();
                armedAgain = self->isRunning();
            },
            1ms);
        self = &timer;
        timer.start();
        called.wait();
    }
    EXPECT_FALSE(armedAgain);
}

TEST(ClockAlignedTimer, MayBeDestroyedRightAfterItsConstruction) {
    for (int round = 0; round < 200; ++round) {
        ClockAlignedTimer timer([](TimePoint) {}, 1ms);
        if (round % 2 == 1) {
            timer.start();
        }
    }
}

void askForABoundary() {
    ClockAlignedTimer timer({}, 1h,
                            [](TimePoint) -> TimePoint { throw std::runtime_error("no origin"); });
    std::unique_lock lock(timer.mutex());
    static_cast<void>(timer.getNextTimePoint(kMidnight, lock));
}

void callBack() {
    ClockAlignedTimer timer([](TimePoint) { throw std::runtime_error("from the callback"); }, 1ms);
    timer.start();
    static_cast<void>(waitUntil([] { return false; }));
}

TEST(ClockAlignedTimerDeathTest, EndsTheProcessWhenOriginOrCallbackThrows) {
    EXPECT_EXIT(
        try { askForABoundary(); } catch (const std::runtime_error&) { helpers::leave(0); },
        testing::KilledBySignal(SIGABRT), "no origin");
    EXPECT_EXIT(callBack(), testing::KilledBySignal(SIGABRT), "from the callback");
}

}  // namespace
