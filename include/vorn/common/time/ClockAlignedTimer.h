// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

#include <vorn/common/export.h>
#include <vorn/common/time/Recurrence.h>

namespace vorn::common::internal {
class ClockAlignedTimerCore;
}

namespace vorn::common::time {

/// Calls a function at whole multiples of a period on the wall clock, counted from midnight UTC or
/// from an origin of the caller's; with 15 minutes at :00, :15, :30 and :45 of every hour:
///
///     time::ClockAlignedTimer report([&](auto boundary) { store.closePeriod(boundary); }, 15min);
///     report.start();
///
/// The callback gets the boundary itself, not the instant of the call. Boundaries that passed while
/// it ran, or over which the clock was set forward, are skipped: the next call is at the first
/// boundary after it returned. While the wall clock is set back nothing fires until it reaches the
/// awaited boundary again.
/// @image html timers.svg "The schedules of both timers"
///
/// Deliberate: a wall clock set forward is noticed at the monotonic deadline, when the boundary
/// would have come without the change.
///
/// States are those of Timer: disarmed, armed, terminated; a terminated one stays disarmed.
///
/// Threads: as for Timer. The origin function runs under the timer's mutex, so it must not use the
/// timer. Callback and origin must not throw (that ends the process); the callback must neither
/// terminate nor destroy its own timer.
/// Lifetime: what the functions refer to must live until terminate() or the destructor returns.
/// Not guaranteed: a boundary on which the clock is set back after it fired may fire again.
class VORN_GW_COMMON_EXPORT ClockAlignedTimer {
  public:
    /// An instant of the wall clock.
    using TimePoint = std::chrono::system_clock::time_point;
    /// Called on the timer's thread, without its mutex.
    using Callback = std::function<void(TimePoint boundary)>;
    /// Called under the timer's mutex.
    using Origin = std::function<TimePoint(TimePoint now)>;

    /// The shortest period; a shorter one counts as this.
    static constexpr std::chrono::milliseconds MIN_PERIOD{1};

    /// Creates the timer disarmed, with its thread waiting. `origin` maps the current time to the
    /// instant from which periods are counted; empty means Midnight. An empty callback is never
    /// called. Throws std::system_error when the thread cannot be created.
    ClockAlignedTimer(Callback callback, std::chrono::milliseconds period, Origin origin = {},
                      Recurrence recurrence = Recurrence::Recurrent);

    /// As terminate(). Another thread's terminate() must have returned, else the process ends.
    virtual ~ClockAlignedTimer();

    ClockAlignedTimer(const ClockAlignedTimer&) = delete;
    ClockAlignedTimer& operator=(const ClockAlignedTimer&) = delete;

    /// The start of the UTC day of `t`, before 1970 too. The default origin.
    [[nodiscard]] static TimePoint Midnight(TimePoint t) noexcept;

    /// The boundary for which a timer started at `now` would wait: origin + k * period with
    /// k = (now - origin, in whole milliseconds) / period, rounded toward zero, + 1. That is the
    /// first boundary after `now`; a `now` on a boundary gives the following one. An origin ahead
    /// of `now` by less than a period is skipped itself. With the default origin and a period
    /// shorter than a day the next midnight is a boundary too, so that counting restarts there: 7
    /// minutes give 23:48, 23:55, 00:00, 00:07. A result outside the clock's range is the end of
    /// that range. An exception from the origin ends the process.
    [[nodiscard]] TimePoint getNextTimePoint(TimePoint now,
                                             std::unique_lock<std::mutex>& lock) const noexcept;

    /// Arms the timer for the next boundary.
    /// @{
    void start();
    void start(std::unique_lock<std::mutex>& lock);
    /// @}

    /// Disarms the timer; no barrier, as for Timer.
    /// @{
    void stop();
    void stop(std::unique_lock<std::mutex>& lock);
    /// @}

    /// Computes the boundary of an armed timer anew; a disarmed one stays disarmed.
    void reload(std::unique_lock<std::mutex>& lock);

    /// Stores a period, MIN_PERIOD for anything below it. The awaited boundary stays: follow with
    /// reload() or start().
    void setPeriod(std::chrono::milliseconds period, std::unique_lock<std::mutex>& lock);

    /// Whether the timer is armed. Takes no lock: a caller that holds mutex() may ask too.
    [[nodiscard]] bool isRunning() const noexcept;

    /// Ends the thread for good, after a callback that is running. Later calls do nothing; of two
    /// concurrent calls the second returns at once.
    void terminate();

    /// The mutex that the operations taking a lock expect to be held.
    [[nodiscard]] std::mutex& mutex() const noexcept;

  private:
    std::unique_ptr<internal::ClockAlignedTimerCore> core_;
};

}  // namespace vorn::common::time
