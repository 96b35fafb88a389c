#pragma once

#include <chrono>
#include <vector>

/// Replacements of process-wide functions that count or fail on request.
namespace interposed {

/// Calls of operator new in this process so far.
[[nodiscard]] long allocations();

/// While it lives, this thread gets no memory from its `firstFailure`th allocation on.
class NoMemory {
  public:
    explicit NoMemory(long firstFailure = 1);
    ~NoMemory();
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;

    /// Whether an allocation failed.
    [[nodiscard]] bool struck() const;
};

/// Calls of sched_yield in this process so far.
[[nodiscard]] long yields();

/// Lets the next `successes` thread creations succeed and those after them fail with EAGAIN.
void failThreadCreationAfter(int successes);

/// Lets all thread creations succeed again.
void allowThreadCreation();

/// Lets the next `times` attempts of this thread to lock a read/write lock fail with `error`.
void failReadWriteLocks(int error, int times);

/// How many of those failures are still to come.
[[nodiscard]] int readWriteLockFailuresLeft();

/// While it lives this thread has that number for pthread_self, so that one thread can act for
/// many.
class ThreadNumber {
  public:
    explicit ThreadNumber(unsigned long number);
    ~ThreadNumber();
    ThreadNumber(const ThreadNumber&) = delete;
    ThreadNumber& operator=(const ThreadNumber&) = delete;
};

/// While it lives this thread's CPU time stands still but for advance(), and its sleeps are only
/// written down.
class CpuClock {
  public:
    CpuClock();
    ~CpuClock();
    CpuClock(const CpuClock&) = delete;
    CpuClock& operator=(const CpuClock&) = delete;

    void advance(std::chrono::milliseconds duration);

    /// The sleeps since the last call.
    [[nodiscard]] std::vector<std::chrono::nanoseconds> takeSleeps();
};

}  // namespace interposed
