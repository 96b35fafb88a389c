// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <limits>

#include "helpers/faults/reach.h"

/// operator new of the test program, which the library under test uses too: counted, and failing on
/// request. See "How to make the system fail" in CONTRIBUTING.md.
namespace faults {

/// Calls of operator new so far.
[[nodiscard]] std::size_t allocations(Threads threads = Threads::This);

/// How many bytes this thread has asked operator new for so far.
[[nodiscard]] std::size_t allocatedBytes();

/// Blocks of this process that were allocated and not released yet.
[[nodiscard]] std::ptrdiff_t blocksAlive();

/// Their bytes, as malloc counts them, now and at most since the last restart.
[[nodiscard]] std::ptrdiff_t bytesAlive();
[[nodiscard]] std::ptrdiff_t mostBytesAlive();
void restartMostBytesAlive();

/// While it lives, operator new throws std::bad_alloc at chosen calls.
///
///     const faults::NoMemory shortage;              // at every call of this thread
///     const faults::NoMemory third(3, Times::Once)  // at the third call from here
///
/// One at a time for all threads, and one for each thread.
class NoMemory {
  public:
    enum class Times { Once, FromThereOn };

    explicit NoMemory(std::size_t firstFailure = 1, Times times = Times::FromThereOn,
                      Threads threads = Threads::This);
    ~NoMemory();
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;

    /// How many calls have failed: 0 when there were fewer calls than that.
    [[nodiscard]] std::size_t failures() const;

    /// What is counted by the place where it is counted.
    struct State;

  private:
    State& state_;
};

/// While it lives, new blocks are filled with zeros and each block is shown before it is released.
/// One at a time, for all threads.
class ReleaseWatch {
  public:
    using Look = void (*)(const void* block, std::size_t size);

    explicit ReleaseWatch(Look look);
    ~ReleaseWatch();
    ReleaseWatch(const ReleaseWatch&) = delete;
    ReleaseWatch& operator=(const ReleaseWatch&) = delete;
};

}  // namespace faults
