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
    if (thread_.joinable()) {
        std::terminate();
    }
}

void TimerThread::arm() {
    running_ = !exitLoop_;
    wake();
}

void TimerThread::disarm() {
    running_ = false;
    wake();
}

void TimerThread::wait(Lock& lock, std::chrono::steady_clock::time_point deadline) {
    const auto latest = saturatingAdd(clock_.steadyNow(), kLongestWait);
    clock_.waitUntil(changed_, lock, std::min(deadline, latest));
}

void TimerThread::terminate() {
    if (terminated_.exchange(true)) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        exitLoop_ = true;
        disarm();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void TimerThread::loop(const std::function<void(Lock&)>& round) {
    Lock lock(mutex_);
    while (!exitLoop_) {
        round(lock);
    }
}

}  // namespace vorn::common::internal
