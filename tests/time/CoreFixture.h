// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/time/Recurrence.h>

#include "helpers/faults/FakeClock.h"

namespace helpers {

/// A timer's core by a clock of the test's: counts its calls, keeps the boundaries that came with
/// them (`Given`: nothing, or the boundary), and offers the locked operations as single steps.
template <class Core, class... Given>
class CoreFixture {
  public:
    using FakeClock = faults::FakeClock;
    using System = FakeClock::System;
    using Recurrence = vorn::common::time::Recurrence;
    using DuringCall = std::function<void(CoreFixture&)>;

    explicit CoreFixture(std::chrono::milliseconds period,
                         Recurrence recurrence = Recurrence::Recurrent,
                         DuringCall duringCall = {}) requires(sizeof...(Given) == 0)
        : duringCall_(std::move(duringCall)), timer(callback(), period, recurrence, clock) {
        EXPECT_TRUE(clock.settled());
    }

    CoreFixture(System now, std::chrono::milliseconds period,
                Recurrence recurrence = Recurrence::Recurrent, DuringCall duringCall = {},
                std::function<System(System)> origin = {}) requires(sizeof...(Given) == 1)
        : duringCall_(std::move(duringCall)),
          clock(now),
          timer(callback(), period, std::move(origin), recurrence, clock) {
        EXPECT_TRUE(clock.settled());
    }

    void start() {
        typename Core::Lock lock(timer.mutex());
        timer.start(lock);
    }
    void stop() {
        typename Core::Lock lock(timer.mutex());
        timer.stop(lock);
    }
    void reload() {
        typename Core::Lock lock(timer.mutex());
        timer.reload(lock);
    }
    void setPeriod(std::chrono::milliseconds period) {
        typename Core::Lock lock(timer.mutex());
        timer.setPeriod(period, lock);
    }

    /// Does something that moves the deadline and lets the timer's thread look, which need not be
    /// woken by it; waits until it sleeps again.
    template <class Action>
    [[nodiscard]] bool settledAfter(Action action) {
        action();
        return clock.settledAfterWaking();
    }
    [[nodiscard]] bool started() {
        return settledAfter([&] { start(); });
    }
    [[nodiscard]] bool advance(std::chrono::nanoseconds duration) {
        return clock.settledAfterAdvancing(duration);
    }

    [[nodiscard]] std::vector<System> fired() {
        const std::lock_guard lock(mutex_);
        return fired_;
    }

  private:
    auto callback() {
        return [this](Given... boundary) {
            {
                const std::lock_guard lock(mutex_);
                (fired_.push_back(boundary), ...);
            }
            ++calls;
            if (duringCall_) {
                duringCall_(*this);
            }
        };
    }

    DuringCall duringCall_;
    std::mutex mutex_;
    std::vector<System> fired_;  // guarded by mutex_

  public:
    std::atomic<int> calls = 0;
    FakeClock clock;
    Core timer;  // last: its thread uses everything above
};

}  // namespace helpers
