// SPDX-License-Identifier: MIT
#include "vorn/common/time/ClockAlignedTimer.h"

#include <utility>

#include "time/ClockAlignedTimerCore.h"

namespace vorn::common::time {

static_assert(ClockAlignedTimer::MIN_PERIOD == internal::TimerThread::kShortestPeriod);

ClockAlignedTimer::ClockAlignedTimer(Callback callback, std::chrono::milliseconds period,
                                     Origin origin, Recurrence recurrence)
    : core_(std::make_unique<internal::ClockAlignedTimerCore>(std::move(callback), period,
                                                              std::move(origin), recurrence)) {}

ClockAlignedTimer::~ClockAlignedTimer() {
    // Before the pointer goes: a running callback may still use its timer.
    core_->terminate();
}

ClockAlignedTimer::TimePoint ClockAlignedTimer::Midnight(TimePoint t) noexcept {
    return internal::ClockAlignedTimerCore::midnight(t);
}

ClockAlignedTimer::TimePoint ClockAlignedTimer::getNextTimePoint(
    TimePoint now, std::unique_lock<std::mutex>& lock) const noexcept {
    return core_->nextTimePoint(now, lock);
}

void ClockAlignedTimer::start() {
    std::unique_lock lock(mutex());
    start(lock);
}

void ClockAlignedTimer::start(std::unique_lock<std::mutex>& lock) {
    core_->start(lock);
}

void ClockAlignedTimer::stop() {
    std::unique_lock lock(mutex());
    stop(lock);
}

void ClockAlignedTimer::stop(std::unique_lock<std::mutex>& lock) {
    core_->stop(lock);
}

void ClockAlignedTimer::reload(std::unique_lock<std::mutex>& lock) {
    core_->reload(lock);
}

void ClockAlignedTimer::setPeriod(std::chrono::milliseconds period,
                                  std::unique_lock<std::mutex>& lock) {
    core_->setPeriod(period, lock);
}

bool ClockAlignedTimer::isRunning() const noexcept {
    return core_->isRunning();
}

void ClockAlignedTimer::terminate() {
    core_->terminate();
}

std::mutex& ClockAlignedTimer::mutex() const noexcept {
    return core_->mutex();
}

}  // namespace vorn::common::time
