// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "time/Clock.h"

namespace vorn::common::internal {

/// The thread of a timer, with what arms and ends it. To be the last member of its owner: `round`
/// uses the others from the moment on at which the constructor has started the thread.
class TimerThread {
  public:
    using Lock = std::unique_lock<std::mutex>;

    /// What setPeriod of the timers stores for anything shorter.
    static constexpr std::chrono::milliseconds kShortestPeriod{1};

    /// No single wait is longer, so that a deadline far ahead fits a 32-bit time_t.
    static constexpr std::chrono::hours kLongestWait{24};

    /// Runs `round` on a new thread, with the mutex held, again and again until terminate().
    TimerThread(Clock& clock, std::function<void(Lock&)> round);
    ~TimerThread();
    TimerThread(const TimerThread&) = delete;
    TimerThread& operator=(const TimerThread&) = delete;

    [[nodiscard]] std::mutex& mutex() const noexcept { return mutex_; }

    [[nodiscard]] bool isRunning() const noexcept { return running_; }

    /// The rest is for callers that hold the mutex, except terminate().
    ///
    /// Marks the timer as armed for `deadline`. The thread is woken only when it would come too
    /// late by itself: one that wakes too early looks, and waits again.
    void arm(std::chrono::steady_clock::time_point deadline);
    /// Leaves the thread asleep.
    void disarm() { running_ = false; }
    /// Makes sure that the thread looks at `deadline` or before.
    void wakeBefore(std::chrono::steady_clock::time_point deadline);
    /// Of the thread itself. May return early.
    void wait(Lock& lock, std::chrono::steady_clock::time_point deadline);

    void terminate();

  private:
    static constexpr auto kAwake = std::chrono::steady_clock::time_point::min();

    void loop(const std::function<void(Lock&)>& round);

    Clock& clock_;
    std::atomic<bool> terminated_ = false;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<bool> running_ = false;  // written under mutex_
    bool exitLoop_ = false;              // guarded by mutex_
    // Until when the thread sleeps, or the beginning of time while it is awake: it looks again then
    // before it sleeps. Guarded by mutex_.
    std::chrono::steady_clock::time_point sleepsUntil_ = kAwake;
    std::thread thread_;
};

}  // namespace vorn::common::internal
