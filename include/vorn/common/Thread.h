// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <limits>
#include <memory>

#include <vorn/common/export.h>

namespace vorn::common {

/// Something that a Thread can run.
class VORN_GW_COMMON_EXPORT IRunnable {
  public:
    virtual ~IRunnable();
    /// Called on the new thread with the argument given to Thread::start.
    virtual void run(void* arg) = 0;
};

/// Runs one function on one operating-system thread and lets its owner wait for it, at most so
/// long.
///
///     Thread thread;
///     thread.start([](void* arg) { *static_cast<int*>(arg) = 42; }, &answer);
///     if (thread.wait(500) == 1) { ... it still runs after half a second ... }
///
/// State x operation:
///
/// | State                | start   | wait(finite)        | wait(kNoTimeout) | ~Thread      |
/// |----------------------|---------|---------------------|------------------|--------------|
/// | Idle, never started  | Running | 0                   | 0                | nothing      |
/// | Running              | ignored | 1, or 2 and Joined  | 2 and Joined     | waits, joins |
/// | Finished, not joined | ignored | 2 and Joined        | 2 and Joined     | joins        |
/// | Joined               | Running | std::system_error   | std::system_error| nothing      |
/// | start failed         | ignored | std::system_error   | std::system_error| nothing      |
///
/// Threads: no lock inside; start, wait and destruction belong to one owning thread.
/// Lifetime: the runnable and whatever `arg` points to must outlive the run. A function is
/// destroyed on the new thread before wait() can return 2. Neither copyable nor movable.
///
/// Deliberate: an exception that leaves the function is discarded; wait() returns 2 as usual.
class VORN_GW_COMMON_EXPORT Thread {
  public:
    /// The limit of wait() that means "without limit".
    static constexpr long long kNoTimeout = std::numeric_limits<long long>::max();

    Thread();
    /// Blocks without limit until the function has returned. A failure to join ends the process.
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Starts a thread that calls `function(arg)`; `arg` is passed through unchanged.
    ///
    /// Deliberate: ignored silently while a started thread has not been joined by a wait() that
    /// returned 2, even when its function has finished.
    ///
    /// Throws std::system_error when the system has no further thread.
    /// Deliberate: the object then stays marked as started, so later starts are ignored.
    /// Throws std::bad_alloc when out of memory, nothing changed: it may be started again.
    void start(std::function<void(void*)> function, void* arg);

    /// The same with `runnable.run(arg)`. The runnable is referenced, not copied.
    void start(IRunnable& runnable, void* arg);

    /// Waits for the function to finish and joins its thread. `timeoutMs` is in milliseconds of the
    /// monotonic clock; zero and less only look; kNoTimeout waits without limit.
    ///
    /// Returns 0 when no thread was ever started, 1 when the function still runs (wait may be
    /// called again), 2 when it has finished and its thread was joined (start may be called again).
    ///
    /// Deliberate: a further call after 2 throws std::system_error (invalid argument), because
    /// there is nothing left to join.
    unsigned int wait(long long timeoutMs);

  private:
    struct VORN_GW_COMMON_HIDDEN Run;

    bool started_ = false;
    std::unique_ptr<Run> run_;
};

}  // namespace vorn::common
