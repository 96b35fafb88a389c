// SPDX-License-Identifier: MIT
#include "time/TimerThread.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "internal/saturate.h"

namespace vorn::common::internal {

TimerThread::TimerThread(Clock& clock, std::function<void(Lock&)> round)
    : clock_(clock), thread_([this, round = std::move(round)] { loop(round); }) {}

TimerThread::~TimerThread() {
    terminate();
    // Somebody else's terminate() is still about to join it, with an object that goes away.
    if (thread_.joinable()) {
        std::terminate();
    }
}

void TimerThread::arm(std::chrono::steady_clock::time_point deadline) {
    // Nobody would disarm a terminated timer again.
    running_ = !exitLoop_;
    wakeBefore(deadline);
}

void TimerThread::wakeBefore(std::chrono::steady_clock::time_point deadline) {
    if (deadline < sleepsUntil_) {
        changed_.notify_all();
    }
}

void TimerThread::wait(Lock& lock, std::chrono::steady_clock::time_point deadline) {
    sleepsUntil_ = std::min(deadline, saturatingAdd(clock_.steadyNow(), kLongestWait));
    clock_.waitUntil(changed_, lock, sleepsUntil_);
    sleepsUntil_ = kAwake;
}

void TimerThread::terminate() {
    if (terminated_.exchange(true)) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        exitLoop_ = true;
        disarm();
        changed_.notify_all();
    }
    thread_.join();
}

void TimerThread::loop(const std::function<void(Lock&)>& round) {
    Lock lock(mutex_);
    while (!exitLoop_) {
        round(lock);
    }
}

}  // namespace vorn::common::internal
