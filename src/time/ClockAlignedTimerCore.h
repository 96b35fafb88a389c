// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

#include <vorn/common/time/Recurrence.h>

#include "time/TimerThread.h"

namespace vorn::common::internal {

/// What time::ClockAlignedTimer does, by a clock of the caller's. The operations are described
/// there.
class ClockAlignedTimerCore {
  public:
    using Lock = TimerThread::Lock;
    using TimePoint = std::chrono::system_clock::time_point;
    using Callback = std::function<void(TimePoint boundary)>;
    using Origin = std::function<TimePoint(TimePoint now)>;

    ClockAlignedTimerCore(Callback callback, std::chrono::milliseconds period, Origin origin,
                          time::Recurrence recurrence, Clock& clock = operatingSystemClock());

    [[nodiscard]] static TimePoint midnight(TimePoint t) noexcept;
    [[nodiscard]] TimePoint nextTimePoint(TimePoint now, Lock& lock) const noexcept;
    void start(Lock& lock);
    void stop(Lock& lock);
    void reload(Lock& lock);
    void setPeriod(std::chrono::milliseconds period, Lock& lock);
    [[nodiscard]] bool isRunning() const noexcept { return thread_.isRunning(); }
    void terminate() { thread_.terminate(); }
    [[nodiscard]] std::mutex& mutex() const noexcept { return thread_.mutex(); }

  private:
    void round(Lock& lock);
    /// Computes the next boundary anew and returns its instant on the monotonic clock.
    [[nodiscard]] std::chrono::steady_clock::time_point schedule(Lock& lock);
    [[nodiscard]] std::chrono::steady_clock::time_point onMonotonicClock(TimePoint instant,
                                                                         TimePoint systemNow);

    Clock& clock_;
    const Callback callback_;
    const Origin origin_;
    const time::Recurrence recurrence_;
    std::chrono::milliseconds period_;  // guarded by mutex()
    TimePoint nextTimePoint_;           // guarded by mutex()
    TimerThread thread_;
};

}  // namespace vorn::common::internal
