// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include <vorn/common/time/Recurrence.h>
#include <vorn/common/time/UnixTime.h>

#include "time/TimerThread.h"

namespace vorn::common::internal {

/// What time::Timer does, by a clock of the caller's. The operations are described there; those
/// taking no lock lock the mutex themselves.
class TimerCore {
  public:
    using Lock = TimerThread::Lock;

    TimerCore(std::function<void()> callback, std::chrono::milliseconds period,
              time::Recurrence recurrence, Clock& clock = operatingSystemClock());

    void start(Lock& lock);
    void stop(Lock& lock);
    void reload(Lock& lock);
    void setPeriod(std::chrono::milliseconds period, Lock& lock);
    void scheduleAt(const time::UnixTime& when);
    [[nodiscard]] bool isRunning() const noexcept { return thread_.isRunning(); }
    void terminate() { thread_.terminate(); }
    [[nodiscard]] std::mutex& mutex() const noexcept { return thread_.mutex(); }

  private:
    void round(Lock& lock);
    [[nodiscard]] std::chrono::steady_clock::time_point fromNow(std::chrono::nanoseconds duration);
    [[nodiscard]] std::uint32_t secondsUntil(const time::UnixTime& when);
    [[nodiscard]] std::uint32_t wallSeconds();

    Clock& clock_;
    const std::function<void()> callback_;
    const time::Recurrence recurrence_;
    std::chrono::milliseconds period_;                // guarded by mutex()
    std::chrono::steady_clock::time_point deadline_;  // guarded by mutex()
    TimerThread thread_;
};

}  // namespace vorn::common::internal
