// SPDX-License-Identifier: MIT
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <latch>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/time/Timer.h>

#include "helpers/Actor.h"
#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "helpers/leave.h"
#include "helpers/thread_state.h"
#include "helpers/wait_until.h"

namespace {

using namespace std::chrono_literals;
using helpers::waitUntil;
using vorn::common::time::Recurrence;
using vorn::common::time::SecondsDuration;
using vorn::common::time::Timer;
using vorn::common::time::UnixTime;
using Steady = std::chrono::steady_clock;

TEST(Timer, HasTheDocumentedConstants) {
    static_assert(Timer::MIN_PERIOD == 1ms);
    static_assert(static_cast<int>(Recurrence::Recurrent) == 0);
    static_assert(static_cast<int>(Recurrence::OneShot) == 1);
    static_assert(std::has_virtual_destructor_v<Timer>);
    static_assert(!std::is_copy_constructible_v<Timer>);
    const std::chrono::milliseconds& period = Timer::MIN_PERIOD;
    EXPECT_EQ(period.count(), 1);
}

TEST(Timer, FiresNoEarlierThanItsPeriodAndKeepsItsRate) {
    std::atomic<int> calls = 0;
    Timer timer([&] { ++calls; }, 20ms);
    const auto start = Steady::now();
    timer.start();
    EXPECT_TRUE(timer.isRunning());
    ASSERT_TRUE(waitUntil([&] { return calls >= 10; }));
    const auto seen = calls.load();
    EXPECT_GE(Steady::now() - start, seen * 20ms);
    timer.stop();
    EXPECT_FALSE(timer.isRunning());
}

TEST(Timer, OneShotFiresOnce) {
    std::atomic<int> calls = 0;
    Timer timer([&] { ++calls; }, 5ms, Recurrence::OneShot);
    for (int round = 1; round <= 2; ++round) {
        timer.start();
        ASSERT_TRUE(waitUntil([&] { return calls >= round && !timer.isRunning(); }));
        EXPECT_EQ(calls, round);
    }
}

TEST(Timer, SleepsWhileItWaits) {
    std::binary_semaphore fired(0);
    Timer timer([&] { fired.release(); }, 400ms, Recurrence::OneShot);
    timespec before{};
    timespec after{};
    const auto start = Steady::now();
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &before);
    timer.start();
    fired.acquire();
    const auto waited = Steady::now() - start;
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &after);
    const auto used = std::chrono::seconds(after.tv_sec - before.tv_sec) +
                      std::chrono::nanoseconds(after.tv_nsec - before.tv_nsec);
    EXPECT_LT(used, waited / 2);
}

TEST(Timer, CombinesOperationsUnderItsMutex) {
    std::atomic<int> calls = 0;
    Timer timer([&] { ++calls; }, 1h);
    timer.start();
    {
        std::unique_lock lock(timer.mutex());
        timer.setPeriod(0ms, lock);
        timer.reload(lock);
        EXPECT_TRUE(timer.isRunning());
    }
    ASSERT_TRUE(waitUntil([&] { return calls >= 3; }));
    {
        std::unique_lock lock(timer.mutex());
        timer.stop(lock);
        timer.setPeriod(1h, lock);
        timer.start(lock);
    }
    EXPECT_TRUE(timer.isRunning());
    timer.restart();
    EXPECT_TRUE(timer.isRunning());
}

TEST(Timer, CallsWithoutItsMutexSoThatTheCallbackMayControlIt) {
    std::atomic<int> calls = 0;
    Timer* self = nullptr;
    Timer timer(
        [&] {
            if (++calls < 3) {
                self->restart();
            } else {
                self->stop();
            }
        },
        1ms);
    self = &timer;
    timer.start();
    ASSERT_TRUE(waitUntil([&] { return calls >= 3 && !timer.isRunning(); }));
    EXPECT_EQ(calls, 3);
}

TEST(Timer, SchedulesAtAnInstant) {
    std::atomic<bool> fired = false;
    Timer timer([&] { fired = true; }, 1h, Recurrence::OneShot);
    for (const auto& past : {UnixTime::fromSeconds(0), UnixTime::UNDEFINED, UnixTime::now()}) {
        fired = false;
        timer.scheduleAt(past);
        EXPECT_TRUE(waitUntil([&] { return fired.load(); }));
    }
    fired = false;
    auto when = UnixTime::now();
    when += SecondsDuration(2);
    timer.scheduleAt(when);
    ASSERT_TRUE(waitUntil([&] { return fired.load(); }));
    EXPECT_GE(UnixTime::nowWithHighPrecision().seconds(), when.seconds() - 1.1);

    timer.scheduleAt(UnixTime::INFINITE);
    EXPECT_TRUE(timer.isRunning());
    Timer recurrent([] {}, 1h);
    EXPECT_THROW_TEXT(recurrent.scheduleAt(when), std::logic_error,
                      "Can't use scheduleAt() with recurrent timer!");
    EXPECT_FALSE(recurrent.isRunning());
}

TEST(Timer, TerminateAndDestructionWaitForTheCallback) {
    for (const bool terminate : {true, false}) {
        std::latch called(1);
        std::latch released(1);
        helpers::Actor ender;
        auto timer = std::make_unique<Timer>(
            [&] {
                called.count_down();
                released.wait();
            },
            1ms, Recurrence::OneShot);
        timer->start();
        called.wait();
        auto ended = ender.post([&] {
            if (terminate) {
                timer->terminate();
            } else {
                timer.reset();
            }
        });
        ASSERT_TRUE(helpers::waitUntilAsleep(ender.tid()));
        EXPECT_EQ(ended.wait_for(0s), std::future_status::timeout);
        released.count_down();
        ended.get();
    }
}

TEST(Timer, MayBeUsedByItsCallbackWhileItIsBeingDestroyed) {
    std::latch called(1);
    bool armedAgain = true;
    Timer* self = nullptr;
    {
        Timer timer(
            [&] {
                called.count_down();
                while (self->isRunning()) {
                    std::this_thread::yield();
                }
                self->restart();
                armedAgain = self->isRunning();
            },
            1ms);
        self = &timer;
        timer.start();
        called.wait();
    }
    EXPECT_FALSE(armedAgain);
}

TEST(Timer, DoesNothingOnceTerminated) {
    std::atomic<int> calls = 0;
    Timer timer([&] { ++calls; }, 1ms);
    timer.start();
    ASSERT_TRUE(waitUntil([&] { return calls > 0; }));
    timer.terminate();
    const int before = calls;
    timer.terminate();
    timer.start();
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(calls, before);
}

TEST(Timer, DeliberatelyReturnsAtOnceFromASecondConcurrentTerminate) {
    std::latch called(1);
    std::latch release(1);
    Timer timer(
        [&] {
            called.count_down();
            release.wait();
        },
        1ms, Recurrence::OneShot);
    timer.start();
    called.wait();
    helpers::Actor first;
    auto terminated = first.post([&] { timer.terminate(); });
    ASSERT_TRUE(helpers::waitUntilAsleep(first.tid()));
    timer.terminate();
    EXPECT_EQ(terminated.wait_for(0s), std::future_status::timeout);
    release.count_down();
    terminated.get();
}

TEST(Timer, DeliberatelyStopsWithoutWaitingForTheCallback) {
    std::latch called(1);
    std::latch release(1);
    Timer timer(
        [&] {
            called.count_down();
            release.wait();
        },
        1ms);
    timer.start();
    called.wait();
    timer.stop();
    EXPECT_FALSE(timer.isRunning());
    release.count_down();
}

TEST(Timer, DeliberatelyCallsForEverWithAPeriodOfZero) {
    std::atomic<int> calls = 0;
    Timer timer([&] { ++calls; }, 0ms);
    timer.start();
    EXPECT_TRUE(waitUntil([&] { return calls > 1000; }));
}

TEST(Timer, MayBeDestroyedRightAfterItsConstruction) {
    for (int round = 0; round < 200; ++round) {
        Timer timer([] {}, 1ms);
        if (round % 2 == 1) {
            timer.start();
        }
    }
}

TEST(Timer, WorksAThousandTimesAtOnce) {
    // Each one has a stack of 8 MB: 32 bits do not have the address space.
    const int count = sizeof(void*) == 8 && !helpers::kThreadSanitizer ? 1000 : 100;
    std::atomic<int> calls = 0;
    std::vector<std::unique_ptr<Timer>> timers;
    for (int i = 0; i < count; ++i) {
        timers.push_back(std::make_unique<Timer>([&] { ++calls; }, 1ms, Recurrence::OneShot));
    }
    for (auto& timer : timers) {
        timer->start();
    }
    EXPECT_TRUE(waitUntil([&] { return calls == count; }));
}

TEST(Timer, StandsControlFromManyThreads) {
    std::atomic<int> calls = 0;
    Timer timer([&] { ++calls; }, 1ms);
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([&, id] {
            for (int i = 0; i < 200; ++i) {
                switch ((i + id) % 4) {
                    case 0:
                        timer.start();
                        break;
                    case 1:
                        timer.stop();
                        break;
                    case 2:
                        timer.restart();
                        break;
                    default: {
                        std::unique_lock lock(timer.mutex());
                        timer.setPeriod(std::chrono::milliseconds(i % 3), lock);
                        timer.reload(lock);
                    }
                }
            }
            if (id == 0) {
                timer.terminate();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

void runCallback(const std::function<void(Timer&)>& action) {
    Timer* self = nullptr;
    Timer timer([&] { action(*self); }, 1ms, Recurrence::OneShot);
    self = &timer;
    timer.start();
    static_cast<void>(waitUntil([] { return false; }));
}

TEST(TimerDeathTest, CanBeEndedWithDeadlinesBeforeTheBeginningOfItsClock) {
    const auto armAndDestroy = [] {
        ::alarm(60);
        {
            Timer timer({}, -24h * 36500);
            for (const auto end = Steady::now() + 100ms; Steady::now() < end;) {
                timer.start();
            }
        }
        helpers::leave(0);
    };
    EXPECT_EXIT(armAndDestroy(), testing::ExitedWithCode(0), "");
}

TEST(TimerDeathTest, EndsTheProcessWhenItsCallbackThrowsOrTerminatesIt) {
    EXPECT_EXIT(runCallback([](Timer&) { throw std::runtime_error("from the callback"); }),
                testing::KilledBySignal(SIGABRT), "from the callback");
    EXPECT_EXIT(runCallback([](Timer& timer) { timer.terminate(); }),
                testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
