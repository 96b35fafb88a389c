// SPDX-License-Identifier: MIT
#include "time/TimerCore.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "internal/saturate.h"

namespace vorn::common::internal {

TimerCore::TimerCore(std::function<void()> callback, std::chrono::milliseconds period,
                     time::Recurrence recurrence, Clock& clock)
    : clock_(clock),
      callback_(std::move(callback)),
      recurrence_(recurrence),
      period_(period),
      deadline_(saturatingAdd(clock.steadyNow(), TimerThread::kLongestWait)),
      thread_(clock, [this](Lock& lock) { round(lock); }) {}

void TimerCore::start(Lock&) {
    deadline_ = fromNow(saturatingNanoseconds(period_));
    thread_.arm(deadline_);
}

void TimerCore::stop(Lock&) {
    thread_.disarm();
}

void TimerCore::reload(Lock&) {
    deadline_ = fromNow(saturatingNanoseconds(period_));
    if (thread_.isRunning()) {
        thread_.wakeBefore(deadline_);
    }
}

void TimerCore::setPeriod(std::chrono::milliseconds period, Lock&) {
    period_ = std::max(period, TimerThread::kShortestPeriod);
}

void TimerCore::scheduleAt(const time::UnixTime& when) {
    if (recurrence_ == time::Recurrence::Recurrent) {
        throw std::logic_error("Can't use scheduleAt() with recurrent timer!");
    }
    const std::chrono::seconds delay(secondsUntil(when));
    Lock lock(mutex());
    setPeriod(delay, lock);
    start(lock);
}

void TimerCore::round(Lock& lock) {
    if (!thread_.isRunning()) {
        deadline_ = fromNow(TimerThread::kLongestWait);
    }
    thread_.wait(lock, deadline_);
    // Both may have changed while the mutex was free: what counts is what they are now.
    if (!thread_.isRunning() || clock_.steadyNow() < deadline_) {
        return;
    }
    if (recurrence_ == time::Recurrence::Recurrent) {
        // From the old deadline and not from now: a late call does not shift those after it.
        deadline_ = saturatingAdd(deadline_, saturatingNanoseconds(period_));
    } else {
        thread_.disarm();
    }
    if (callback_) {
        // Without the mutex, so that the callback may control its timer.
        lock.unlock();
        callback_();
        lock.lock();
    }
}

std::chrono::steady_clock::time_point TimerCore::fromNow(std::chrono::nanoseconds duration) {
    return saturatingAdd(clock_.steadyNow(), duration);
}

std::uint32_t TimerCore::secondsUntil(const time::UnixTime& when) {
    const double now = wallSeconds();
    // Beyond it the integral value that is subtracted below stands still.
    const double then = std::min(when.seconds(), 4294967295.0);
    const double larger = std::max(std::abs(now), std::abs(then));
    // Relative: a double of today's magnitude has steps of 0.2 microseconds, and none of them
    // counts.
    const bool later =
        larger != 0.0 && (then - now) / larger > std::numeric_limits<double>::epsilon();
    if (!later) {
        return 0;
    }
    // Between the two readings the clock may have passed the instant.
    const std::uint32_t target = when.toIntegralType();
    const std::uint32_t current = wallSeconds();
    return target > current ? target - current : 0;
}

std::uint32_t TimerCore::wallSeconds() {
    const auto sinceEpoch = clock_.systemNow().time_since_epoch();
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch).count());
}

}  // namespace vorn::common::internal
