// SPDX-License-Identifier: MIT
#include "time/ClockAlignedTimerCore.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "internal/saturate.h"

namespace vorn::common::internal {
namespace {

using TimePoint = ClockAlignedTimerCore::TimePoint;

constexpr std::uint64_t kNanosecondsPerMillisecond = 1'000'000;

/// How far `late` is behind `early`: two instants of the clock can be further apart than its signed
/// count reaches, but never further than the unsigned one.
std::uint64_t nanosecondsBetween(TimePoint early, TimePoint late) noexcept {
    return static_cast<std::uint64_t>(late.time_since_epoch().count()) -
           static_cast<std::uint64_t>(early.time_since_epoch().count());
}

/// A number of milliseconds, given as its size, before or after an instant, where the result is in
/// range. Unsigned for the same reason.
TimePoint before(TimePoint from, std::uint64_t milliseconds) noexcept {
    const auto count = static_cast<std::uint64_t>(from.time_since_epoch().count());
    return TimePoint(std::chrono::nanoseconds(
        static_cast<std::int64_t>(count - milliseconds * kNanosecondsPerMillisecond)));
}

TimePoint after(TimePoint from, std::uint64_t milliseconds) noexcept {
    const auto reachable = nanosecondsBetween(from, TimePoint::max()) / kNanosecondsPerMillisecond;
    if (milliseconds > reachable) {
        return TimePoint::max();
    }
    const auto count = static_cast<std::uint64_t>(from.time_since_epoch().count());
    return TimePoint(std::chrono::nanoseconds(
        static_cast<std::int64_t>(count + milliseconds * kNanosecondsPerMillisecond)));
}

/// origin + k * period with k = (now - origin, in whole milliseconds) / period, rounded toward
/// zero, + 1.
TimePoint boundaryAfter(TimePoint now, TimePoint origin, std::uint64_t periodMs) noexcept {
    if (now >= origin) {
        const auto elapsedMs = nanosecondsBetween(origin, now) / kNanosecondsPerMillisecond;
        return after(origin, elapsedMs / periodMs * periodMs + periodMs);
    }
    const auto aheadMs = nanosecondsBetween(now, origin) / kNanosecondsPerMillisecond;
    const auto periodsAhead = aheadMs / periodMs;
    return periodsAhead == 0 ? after(origin, periodMs)
                             : before(origin, (periodsAhead - 1) * periodMs);
}

TimePoint nextMidnight(TimePoint t) noexcept {
    const auto day = std::chrono::floor<std::chrono::days>(t) + std::chrono::days(1);
    return TimePoint(saturatingNanoseconds(day.time_since_epoch()));
}

}  // namespace

ClockAlignedTimerCore::ClockAlignedTimerCore(Callback callback, std::chrono::milliseconds period,
                                             Origin origin, time::Recurrence recurrence,
                                             Clock& clock)
    : clock_(clock),
      callback_(std::move(callback)),
      origin_(std::move(origin)),
      recurrence_(recurrence),
      period_(period),
      nextTimePoint_(saturatingAdd(clock.systemNow(), TimerThread::kLongestWait)),
      thread_(clock, [this](Lock& lock) { round(lock); }) {}

ClockAlignedTimerCore::TimePoint ClockAlignedTimerCore::midnight(TimePoint t) noexcept {
    // Rounded down before the epoch too, and never by the calendar functions of a 32-bit time_t.
    const auto day = std::chrono::floor<std::chrono::days>(t);
    return TimePoint(saturatingNanoseconds(day.time_since_epoch()));
}

ClockAlignedTimerCore::TimePoint ClockAlignedTimerCore::nextTimePoint(TimePoint now,
                                                                      Lock&) const noexcept {
    const auto origin = origin_ ? origin_(now) : midnight(now);
    // The constructor keeps a period as it is given, and zero would divide.
    const auto period = std::max(period_, TimerThread::kShortestPeriod);
    const auto next = boundaryAfter(now, origin, static_cast<std::uint64_t>(period.count()));
    if (!origin_ && period < std::chrono::days(1)) {
        // 7 minutes do not divide a day: counting restarts with the origin, at midnight.
        return std::min(next, nextMidnight(now));
    }
    return next;
}

void ClockAlignedTimerCore::start(Lock& lock) {
    thread_.arm(schedule(lock));
}

void ClockAlignedTimerCore::stop(Lock&) {
    thread_.disarm();
}

void ClockAlignedTimerCore::reload(Lock& lock) {
    const auto deadline = schedule(lock);
    if (thread_.isRunning()) {
        thread_.wakeBefore(deadline);
    }
}

void ClockAlignedTimerCore::setPeriod(std::chrono::milliseconds period, Lock&) {
    period_ = std::max(period, TimerThread::kShortestPeriod);
}

std::chrono::steady_clock::time_point ClockAlignedTimerCore::schedule(Lock& lock) {
    const auto systemNow = clock_.systemNow();
    nextTimePoint_ = nextTimePoint(systemNow, lock);
    return onMonotonicClock(nextTimePoint_, systemNow);
}

std::chrono::steady_clock::time_point ClockAlignedTimerCore::onMonotonicClock(TimePoint instant,
                                                                              TimePoint systemNow) {
    return saturatingAdd(clock_.steadyNow(), saturatingDifference(instant, systemNow));
}

void ClockAlignedTimerCore::round(Lock& lock) {
    auto systemNow = clock_.systemNow();
    if (!thread_.isRunning()) {
        nextTimePoint_ = saturatingAdd(systemNow, TimerThread::kLongestWait);
    }
    const auto deadline = onMonotonicClock(nextTimePoint_, systemNow);
    thread_.wait(lock, deadline);

    // Both clocks: the monotonic one tells that the wait is over and not just interrupted, the wall
    // clock that it has not been set back meanwhile.
    const auto steadyNow = clock_.steadyNow();
    systemNow = clock_.systemNow();
    if (!thread_.isRunning() || steadyNow < deadline || systemNow < nextTimePoint_) {
        return;
    }
    const auto fired = nextTimePoint_;
    if (recurrence_ == time::Recurrence::Recurrent) {
        nextTimePoint_ = nextTimePoint(systemNow, lock);
    } else {
        thread_.disarm();
    }
    if (!callback_) {
        return;
    }
    lock.unlock();
    callback_(fired);
    lock.lock();
    // Boundaries that passed during the call are skipped, also one that a start() in it awaits.
    systemNow = clock_.systemNow();
    if (thread_.isRunning() && nextTimePoint_ <= systemNow) {
        nextTimePoint_ = nextTimePoint(systemNow, lock);
    }
}

}  // namespace vorn::common::internal
