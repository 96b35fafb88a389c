// SPDX-License-Identifier: MIT
#include "vorn/common/time/Timer.h"

#include <utility>

#include "time/TimerCore.h"

namespace vorn::common::time {

static_assert(Timer::MIN_PERIOD == internal::TimerThread::kShortestPeriod);

Timer::Timer(std::function<void()> callback, std::chrono::milliseconds period,
             Recurrence recurrence)
    : core_(std::make_unique<internal::TimerCore>(std::move(callback), period, recurrence)) {}

Timer::~Timer() {
    // Before the pointer goes: a running callback may still use its timer.
    core_->terminate();
}

void Timer::start() {
    std::unique_lock lock(mutex());
    start(lock);
}

void Timer::start(std::unique_lock<std::mutex>& lock) {
    core_->start(lock);
}

void Timer::restart() {
    start();
}

void Timer::stop() {
    std::unique_lock lock(mutex());
    stop(lock);
}

void Timer::stop(std::unique_lock<std::mutex>& lock) {
    core_->stop(lock);
}

void Timer::reload(std::unique_lock<std::mutex>& lock) {
    core_->reload(lock);
}

void Timer::setPeriod(std::chrono::milliseconds period, std::unique_lock<std::mutex>& lock) {
    core_->setPeriod(period, lock);
}

void Timer::scheduleAt(const UnixTime& when) {
    core_->scheduleAt(when);
}

bool Timer::isRunning() const noexcept {
    return core_->isRunning();
}

void Timer::terminate() {
    core_->terminate();
}

std::mutex& Timer::mutex() const noexcept {
    return core_->mutex();
}

}  // namespace vorn::common::time
