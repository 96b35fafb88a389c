// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

#include <vorn/common/export.h>
#include <vorn/common/time/Recurrence.h>
#include <vorn/common/time/UnixTime.h>

namespace vorn::common::internal {
class TimerCore;
}

namespace vorn::common::time {

/// Calls a function after a period, once or again and again, on a thread of its own:
///
///     time::Timer heartbeat([&] { link.sendHeartbeat(); }, 30s);
///     heartbeat.start();
///
/// The thread lives as long as the object; starting and stopping only arm and disarm it. Deadlines
/// are kept on the monotonic clock, so a change of the wall clock does not disturb a period. A
/// deadline beyond the clock's range is the end of that range: it does not come.
///
/// The average rate of a recurrent timer is exact: each deadline is the one before plus the period.
/// Deliberate: periods missed while the callback ran are caught up by one call each, at once;
/// ClockAlignedTimer skips them instead.
///
/// @image html timers.svg "The schedules of both timers"
///
/// | State      | start, restart, scheduleAt | stop      | reload          | deadline passes |
/// |------------|----------------------------|-----------|-----------------|-----------------|
/// | disarmed   | armed                      | disarmed  | disarmed        | -               |
/// | armed      | armed, anew from now       | disarmed  | armed, from now | callback        |
/// | terminated | no effect                  | no effect | no effect       | -               |
///
/// A one-shot timer is disarmed before its callback. A terminated timer stays disarmed: isRunning()
/// is false, also after start().
///
/// Threads: everything may be called from any thread, and start, stop, restart and scheduleAt from
/// the callback too. The callback runs without the timer's mutex. It must not throw (that ends the
/// process), and must neither terminate nor destroy its own timer (that would wait for itself).
/// Lifetime: what the callback refers to must live until terminate() or the destructor returns.
/// Each timer costs a thread with a stack of the default size (often 8 MB of address space).
class VORN_GW_COMMON_EXPORT Timer {
  public:
    /// The shortest period that setPeriod stores.
    static constexpr std::chrono::milliseconds MIN_PERIOD{1};

    /// Creates the timer disarmed, with its thread waiting. An empty callback is never called.
    /// Throws std::system_error when the thread cannot be created.
    /// Deliberate: `period` is kept as given; with zero or less a started recurrent timer calls for
    /// ever without a pause.
    Timer(std::function<void()> callback, std::chrono::milliseconds period,
          Recurrence recurrence = Recurrence::Recurrent);

    /// As terminate(). Another thread's terminate() must have returned, else the process ends.
    virtual ~Timer();

    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Arms the timer: it fires one period from now. An armed timer is armed anew.
    /// @{
    void start();
    void start(std::unique_lock<std::mutex>& lock);
    /// @}

    /// The same as start().
    void restart();

    /// Disarms the timer.
    /// Deliberate: not a barrier. A callback that is running goes on, and one whose deadline has
    /// been seen may still start; terminate() is a barrier.
    /// @{
    void stop();
    void stop(std::unique_lock<std::mutex>& lock);
    /// @}

    /// Moves the deadline of an armed timer to one period from now; a disarmed one stays disarmed.
    void reload(std::unique_lock<std::mutex>& lock);

    /// Stores a period, MIN_PERIOD for anything below it. The current deadline stays: follow with
    /// reload() or start().
    void setPeriod(std::chrono::milliseconds period, std::unique_lock<std::mutex>& lock);

    /// Arms a one-shot timer for an instant of the wall clock, to the whole second; an instant that
    /// is not in the future (an undefined one too) fires after MIN_PERIOD. The delay is measured
    /// now: a later change of the wall clock does not move it.
    /// Throws std::logic_error "Can't use scheduleAt() with recurrent timer!", nothing changed.
    /// Deliberate: the delay replaces the period, and stays after the timer has fired.
    void scheduleAt(const UnixTime& when);

    /// Whether the timer is armed. Takes no lock: a caller that holds mutex() may ask too.
    [[nodiscard]] bool isRunning() const noexcept;

    /// Ends the thread for good, after a callback that is running. Later calls do nothing.
    /// Deliberate: of two concurrent calls the second returns at once, before the thread has ended.
    void terminate();

    /// The mutex that the operations taking a lock expect to be held, so that several of them can
    /// be one step: `std::unique_lock lock(timer.mutex()); timer.setPeriod(5s, lock);
    /// timer.reload(lock);`
    [[nodiscard]] std::mutex& mutex() const noexcept;

  private:
    std::unique_ptr<internal::TimerCore> core_;
};

}  // namespace vorn::common::time
