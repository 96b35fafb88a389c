// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>

#include "helpers/wait_until.h"
#include "time/Clock.h"

namespace faults {

/// Clocks for the timers that stand still until the test moves them.
class FakeClock final : public vorn::common::internal::Clock {
  public:
    using Steady = std::chrono::steady_clock::time_point;
    using System = std::chrono::system_clock::time_point;

    explicit FakeClock(System wall = System(std::chrono::hours(24 * 20000))) : wall_(wall) {}

    Steady steadyNow() override {
        const std::lock_guard lock(mutex_);
        return steady_;
    }

    System systemNow() override {
        const std::lock_guard lock(mutex_);
        if (onWallReading_) {
            onWallReading_(wall_);
        }
        return wall_;
    }

    void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& timerLock,
                   Steady deadline) override {
        {
            const std::lock_guard lock(mutex_);
            changed_ = &changed;
            timerMutex_ = timerLock.mutex();
            deadline_ = deadline;
            if (steady_ >= deadline) {
                return;
            }
            ++waits_;
            sleptSince_ = wakeUps_;
        }
        // The test moves the time under the timer's mutex, so that this wait sees the notification.
        changed.wait(timerLock);
    }

    /// Moves both clocks; wakes the timer's thread when its deadline is reached.
    void advance(std::chrono::nanoseconds duration) { static_cast<void>(move(duration, false)); }

    /// Moves the wall clock alone, as an operator or a time server does: nobody is told.
    void setWallClock(System wall) {
        const std::lock_guard lock(mutex_);
        wall_ = wall;
    }

    /// Moves both clocks without telling anybody, as if time passed while the callback runs.
    void pass(std::chrono::nanoseconds duration) {
        const std::lock_guard lock(mutex_);
        steady_ += duration;
        wall_ += duration;
    }

    /// Calls that at every reading of the wall clock; it may change what is read.
    void onWallReading(std::function<void(System&)> action) {
        const std::lock_guard lock(mutex_);
        onWallReading_ = std::move(action);
    }

    /// How far ahead the deadline of the latest wait is.
    [[nodiscard]] std::chrono::nanoseconds waitingFor() {
        const std::lock_guard lock(mutex_);
        return deadline_ - steady_;
    }

    /// Waits until the timer's thread sleeps for the first time.
    [[nodiscard]] bool settled() {
        return helpers::waitUntil([&] { return waits() > 0; });
    }

    /// Does something that wakes the timer's thread, and waits until it sleeps again.
    template <class Action>
    [[nodiscard]] bool settledAfter(Action action) {
        const int before = waits();
        action();
        return helpers::waitUntil([&] { return waits() > before; });
    }

    /// Wakes the timer's thread without a reason and waits until it sleeps again, also when it is
    /// on its way through another wake-up: counting its waits could then be content with the wait
    /// that comes before the one for this wake-up, and the test would run ahead of the thread.
    [[nodiscard]] bool settledAfterWaking() {
        const int wakeUp = move({}, true).wakeUp;
        return helpers::waitUntil([&] {
            const std::lock_guard lock(mutex_);
            return sleptSince_ >= wakeUp;
        });
    }

    /// Moves both clocks and, when that wakes the timer's thread, waits until it sleeps again.
    [[nodiscard]] bool settledAfterAdvancing(std::chrono::nanoseconds duration) {
        const int before = waits();
        return !move(duration, false).wakes || helpers::waitUntil([&] { return waits() > before; });
    }

    /// How often the timer's thread has gone to sleep.
    [[nodiscard]] int waits() {
        const std::lock_guard lock(mutex_);
        return waits_;
    }

  private:
    struct Moved {
        bool wakes;
        int wakeUp;  // its number
    };

    Moved move(std::chrono::nanoseconds duration, bool wakeAnyway) {
        std::condition_variable* changed = nullptr;
        std::mutex* timerMutex = nullptr;
        {
            const std::lock_guard lock(mutex_);
            changed = changed_;
            timerMutex = timerMutex_;
        }
        // Taken in the order of the timer's thread.
        const std::lock_guard timerLock(*timerMutex);
        const std::lock_guard lock(mutex_);
        steady_ += duration;
        wall_ += duration;
        const bool wakes = wakeAnyway || steady_ >= deadline_;
        if (wakes) {
            ++wakeUps_;
            changed->notify_all();
        }
        return {wakes, wakeUps_};
    }

    std::mutex mutex_;
    Steady steady_{std::chrono::hours(5)};
    System wall_;
    Steady deadline_;
    int waits_ = 0;  // those that slept
    int wakeUps_ = 0;
    int sleptSince_ = 0;  // the latest wake-up when the thread last went to sleep
    std::function<void(System&)> onWallReading_;
    std::condition_variable* changed_ = nullptr;
    std::mutex* timerMutex_ = nullptr;
};

}  // namespace faults
