#include "time/ClockAlignedTimerCore.h"

#include <algorithm>
#include <utility>

#include "internal/saturate.h"

namespace vorn::common::internal {
namespace {

constexpr std::chrono::milliseconds kDay = std::chrono::hours(24);

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
    const auto day = std::chrono::floor<std::chrono::days>(t);
    return TimePoint(saturatingNanoseconds(day.time_since_epoch()));
}

ClockAlignedTimerCore::TimePoint ClockAlignedTimerCore::nextTimePoint(TimePoint now,
                                                                      Lock&) const noexcept {
    const auto origin = origin_ ? origin_(now) : midnight(now);
    const auto period = std::max(period_, time::ClockAlignedTimer::MIN_PERIOD);
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(saturatingDifference(now, origin));
    const auto k = elapsed / period + 1;
    const std::chrono::milliseconds offset(saturatingMultiply(k, period.count()));
    const auto next = saturatingAdd(origin, saturatingNanoseconds(offset));
    if (!origin_ && period < kDay) {
        return std::min(next, saturatingAdd(origin, kDay));
    }
    return next;
}

void ClockAlignedTimerCore::start(Lock& lock) {
    nextTimePoint_ = nextTimePoint(clock_.systemNow(), lock);
    thread_.arm();
}

void ClockAlignedTimerCore::stop(Lock&) {
    thread_.disarm();
}

void ClockAlignedTimerCore::reload(Lock& lock) {
    nextTimePoint_ = nextTimePoint(clock_.systemNow(), lock);
    if (thread_.isRunning()) {
        thread_.wake();
    }
}

void ClockAlignedTimerCore::setPeriod(std::chrono::milliseconds period, Lock&) {
    period_ = std::max(period, time::ClockAlignedTimer::MIN_PERIOD);
}

void ClockAlignedTimerCore::round(Lock& lock) {
    auto systemNow = clock_.systemNow();
    if (!thread_.isRunning()) {
        nextTimePoint_ = saturatingAdd(systemNow, TimerThread::kLongestWait);
    }
    const auto deadline =
        saturatingAdd(clock_.steadyNow(), saturatingDifference(nextTimePoint_, systemNow));
    thread_.wait(lock, deadline);

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
    systemNow = clock_.systemNow();
    if (thread_.isRunning() && nextTimePoint_ <= systemNow) {
        nextTimePoint_ = nextTimePoint(systemNow, lock);
    }
}

}  // namespace vorn::common::internal
