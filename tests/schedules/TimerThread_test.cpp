// SPDX-License-Identifier: MIT

// The thread of a timer wakes when it is due and not a day later, and ends when it is told to. Time
// passes when nobody runs, so "late" is whatever a lost wake-up would make of it.

#include <chrono>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "schedules/expect.h"
#include "time/TimerCore.h"

namespace {

using namespace std::chrono_literals;
using schedules::expectNoFailure;
using schedules::require;
using vorn::common::internal::TimerCore;
using vorn::common::time::Recurrence;
using Clock = std::chrono::steady_clock;

/// A timer that counts its calls.
struct Counted {
    explicit Counted(std::chrono::milliseconds period, Recurrence recurrence = Recurrence::OneShot)
        : timer([this] { call(); }, period, recurrence) {}
    ~Counted() {
        timer.terminate();
        ended = true;
    }

    void call() {
        require(!ended, "a call after the end");
        require(Clock::now() < begin + 1h, "a call comes too late");
        ++calls;
    }
    void start() {
        std::unique_lock lock(timer.mutex());
        timer.start(lock);
    }
    void stop() {
        std::unique_lock lock(timer.mutex());
        timer.stop(lock);
    }
    /// Returns when its call has come.
    void waitForCalls(int count) const {
        while (calls < count) {
            std::this_thread::sleep_for(10s);
            require(Clock::now() < begin + 1h, "a call does not come");
        }
    }

    const Clock::time_point begin = Clock::now();
    int calls = 0;
    bool ended = false;
    TimerCore timer;
};

TEST(TimerThreadSchedules, AStartedTimerIsDueAfterItsPeriod) {
    expectNoFailure([] {
        Counted counted(1s);
        counted.start();
        counted.waitForCalls(1);
        require(Clock::now() >= counted.begin + 1s, "a call comes too early");
        require(!counted.timer.isRunning(), "it stays armed");
    });
}

TEST(TimerThreadSchedules, TwoStartsAreOneCall) {
    expectNoFailure([] {
        Counted counted(1s);
        std::thread other([&] { counted.start(); });
        counted.start();
        other.join();
        counted.waitForCalls(1);
        // The second one may have come after the call of the first.
        require(counted.calls <= 2, "one call too many");
    });
}

TEST(TimerThreadSchedules, AShorterPeriodWakesTheThread) {
    expectNoFailure([] {
        Counted counted(12h);
        counted.start();
        std::thread other([&] {
            std::unique_lock lock(counted.timer.mutex());
            counted.timer.setPeriod(1s, lock);
            counted.timer.reload(lock);
        });
        other.join();
        counted.waitForCalls(1);
    });
}

TEST(TimerThreadSchedules, AStoppedTimerIsSilentAndStartsAgain) {
    expectNoFailure([] {
        Counted counted(1s);
        counted.start();
        bool inTime = false;
        std::thread other([&] {
            counted.stop();
            inTime = Clock::now() < counted.begin + 1s;
        });
        other.join();
        std::this_thread::sleep_for(10s);
        require(!inTime || counted.calls == 0, "a stopped timer calls");
        const int before = counted.calls;
        counted.start();
        counted.waitForCalls(before + 1);
    });
}

TEST(TimerThreadSchedules, ACallbackMayStartItsTimer) {
    expectNoFailure([] {
        int calls = 0;
        TimerCore* own = nullptr;
        TimerCore timer(
            [&] {
                if (++calls < 3) {
                    std::unique_lock lock(own->mutex());
                    own->start(lock);
                }
            },
            1s, Recurrence::OneShot);
        own = &timer;
        {
            std::unique_lock lock(timer.mutex());
            timer.start(lock);
        }
        const auto begin = Clock::now();
        while (calls < 3) {
            std::this_thread::sleep_for(10s);
            require(Clock::now() < begin + 1h, "a call does not come");
        }
        timer.terminate();
    });
}

TEST(TimerThreadSchedules, ItEndsAtOnceWhateverItWaitsFor) {
    for (const auto recurrence : {Recurrence::OneShot, Recurrence::Recurrent}) {
        expectNoFailure([recurrence] {
            const auto begin = Clock::now();
            {
                Counted counted(12h, recurrence);
                std::thread other([&] { counted.start(); });
                counted.timer.terminate();
                require(!counted.timer.isRunning(), "an ended timer is armed");
                other.join();
                require(!counted.timer.isRunning(), "an ended timer is armed again");
            }
            require(Clock::now() < begin + 1h, "the end waits for the timer");
        });
    }
}

TEST(TimerThreadSchedules, TwoMayTerminate) {
    expectNoFailure([] {
        Counted counted(1s, Recurrence::Recurrent);
        counted.start();
        std::thread other([&] { counted.timer.terminate(); });
        counted.timer.terminate();
        other.join();
    });
}

}  // namespace
